#!/usr/bin/env bash
# Installs what building, testing and checking needs, on Debian 12 or Ubuntu: only the packages that are missing, with
# sudo when not root, without questions. Says nothing when there is nothing to do.
#
#   scripts/install_dependencies.sh
set -euo pipefail

packages=(
    g++ cmake ninja-build ccache pkg-config
    libsqlite3-dev libicu-dev libcli11-dev nlohmann-json3-dev libfmt-dev libcsv-dev libarchive-dev zlib1g-dev
    libgtest-dev libbenchmark-dev sqlite3 dpkg-dev file
    clang clang-tidy clang-format
)

if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
    echo "install_dependencies: no apt-get here; install these by hand: ${packages[*]}" >&2
    exit 2
fi

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        env DEBIAN_FRONTEND=noninteractive "$@"
    elif command -v sudo >/dev/null; then
        sudo env DEBIAN_FRONTEND=noninteractive "$@"
    else
        echo "install_dependencies: neither root nor sudo; missing: ${missing[*]}" >&2
        exit 2
    fi
}

is_installed() {
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

lists_are_new=no
install_missing() { # PACKAGE...
    missing=()
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    if [ "${#missing[@]}" -eq 0 ]; then
        return
    fi
    if [ "$lists_are_new" = no ]; then
        as_root apt-get update -qq >/dev/null
        lists_are_new=yes
    fi
    echo "Installing ${missing[*]}"
    as_root apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

install_missing "${packages[@]}"

# libFuzzer and the sanitizers of clang lie in a package named after its version; older distributions keep them in
# clang's common files.
version="$(clang -dumpversion | cut -d. -f1)"
if ! is_installed "libclang-rt-$version-dev"; then
    if apt-cache show "libclang-rt-$version-dev" >/dev/null 2>&1; then
        install_missing "libclang-rt-$version-dev"
    else
        install_missing "libclang-common-$version-dev"
    fi
fi
