#!/bin/sh
# Builds the example and the program that README.md shows with the flags that pkg-config gives for
# an installed library. The second must read what the first wrote.
#
# usage: pkg_config_example.sh PREFIX ROOT SCRATCH [FLAGS]
set -eu
prefix=$1
root=$2
scratch=$3
flags=${4:-}

PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name vor-6.0.pc)")
export PKG_CONFIG_PATH
LD_LIBRARY_PATH=$(pkg-config --variable=libdir vor-6.0)
export LD_LIBRARY_PATH

# The flags are lists of words.
# shellcheck disable=SC2046,SC2086
build() {
    "${CC:-cc}" -std=c11 -Wall -Wextra -Wpedantic -Werror $flags "$1.c" -o "$1" \
        $(pkg-config --cflags --libs vor-6.0)
}

expect() {
    [ "$1" = "$2" ] && return
    printf 'expected "%s", found "%s"\n' "$2" "$1" >&2
    exit 1
}

rm -rf "$scratch"
mkdir -p "$scratch"
cd "$scratch"
expect "$(pkg-config --modversion vor-6.0)" 6.0

cp "$root/docs/examples/make_testimage.c" .
build make_testimage
./make_testimage image.vor >written
expect "$(grep -c '^track ' written)" 8
expect "$(grep '^track 2:' written)" 'track 2: 3x255 13x0'

sed -n '/^```c$/,/^```$/{/^```/!p}' "$root/README.md" >read_tracks.c
build read_tracks
./read_tracks image.vor >read
expect "$(grep -c '^track ' read)" 8
expect "$(tail -n 1 read)" 'track 7: 2 runs'
