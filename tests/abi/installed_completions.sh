#!/bin/sh
# Holds the installed completion scripts, each where its shell looks for it, against what the
# installed command prints.
#
#   installed_completions.sh PREFIX DATADIR
set -eu
data=$1/$2

check() {
    "$prefix/bin/vor" completion "$1" | cmp - "$data/$2"
}

prefix=$1
check bash bash-completion/completions/vor
check zsh zsh/site-functions/_vor
check fish fish/vendor_completions.d/vor.fish
