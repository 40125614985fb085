#!/bin/bash
# Installs the Debian packages that building, testing and checking need; prints nothing when all are
# there. With --coverage, also what scripts/coverage.sh needs.
. "$(dirname "$0")/lib.sh"

packages=(
    # to build
    g++ clang clang-14 cmake ninja-build pkg-config binutils git
    # the library, the format modules and the command
    zlib1g-dev libtiff-dev libpng-dev libcli11-dev nlohmann-json3-dev
    # tests and checks
    libgtest-dev libbenchmark-dev libclang-rt-14-dev clang-format clang-tidy python3 locales
    python3-jsonschema groff-base mandoc zsh fish
    # the demonstration
    ghostscript fonts-urw-base35 libtiff-tools
)
case "${1:-}" in
'') ;;
--coverage) packages+=(gcovr) ;;
*) die "unknown argument '$1'; usage: setup.sh [--coverage]" ;;
esac

is_installed() {
    [ "$(dpkg-query --show --showformat='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

missing=()
for package in "${packages[@]}"; do
    is_installed "$package" || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    need sudo
    as_root=(sudo)
fi
say "installing: ${missing[*]}"
quietly "${as_root[@]}" apt-get -q update
quietly "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get -q -y --no-install-recommends install "${missing[@]}"
