#!/usr/bin/env bash
# Installs what is missing of the packages that a task needs, on Debian or Ubuntu, with sudo when not root, without
# questions. Says nothing when there is nothing to do. Where it cannot, it says why in one sentence, and which command
# would do it.
#
#   scripts/install_dependencies.sh build            what building the command and showing it needs
#   scripts/install_dependencies.sh build test       and what the tests need
#   scripts/install_dependencies.sh build test check and what the benchmarks, the linters and the fuzzers need
set -euo pipefail

lock_seconds=600 # how long another package manager may hold the lock

build_packages=(
    g++ cmake ninja-build
    libsqlite3-dev libicu-dev libcli11-dev nlohmann-json3-dev libfmt-dev libcsv-dev libarchive-dev zlib1g-dev
    sqlite3
)
test_packages=(libgtest-dev pkg-config dpkg-dev file python3-dev pybind11-dev python3-pandas python3-pytest)
check_packages=(libbenchmark-dev clang)
# Only their version 14 is asked; a distribution without it does without the checks that need them.
optional_packages=(clang-format-14 clang-tidy-14)

wanted=()
optional=()
for task in "$@"; do
    case "$task" in
        build) wanted+=("${build_packages[@]}") ;;
        test)
            wanted+=("${test_packages[@]}")
            # Tests of what is not there say that they were skipped.
            optional+=(python3-dask python3-distributed python3-selenium chromium chromium-driver)
            ;;
        check)
            wanted+=("${check_packages[@]}")
            optional+=("${optional_packages[@]}")
            ;;
        *) wanted=() && break ;;
    esac
done
if [ "${#wanted[@]}" -eq 0 ]; then
    echo "usage: scripts/install_dependencies.sh build|test|check..." >&2
    exit 2
fi

give_up() { # REASON: what is still missing is in `missing`
    echo "install_dependencies: $1 As root, run: apt-get install -y --no-install-recommends ${missing[*]}" >&2
    exit 2
}

is_installed() {
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

missing_of() { # PACKAGE...: sets missing
    missing=()
    local package
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
}

if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
    echo "install_dependencies: there is no apt-get here; install by other means: ${wanted[*]}" >&2
    exit 2
fi

as_root=()
become_root() {
    if [ "$(id -u)" -eq 0 ]; then
        as_root=(env DEBIAN_FRONTEND=noninteractive)
    elif ! command -v sudo >/dev/null; then
        give_up "Packages are missing, and you are neither root nor is there sudo."
    elif [ ! -t 0 ] && ! sudo -n true 2>/dev/null; then
        give_up "Packages are missing, and sudo asks for a password, which nobody can type here."
    else
        as_root=(sudo env DEBIAN_FRONTEND=noninteractive)
    fi
}

# The lists have a lock of their own, for which apt-get does not wait. A source that cannot be reached is not an end:
# what is needed may come from the others.
lists_are_new=no
refresh_lists() {
    [ "$lists_are_new" = no ] || return 0
    lists_are_new=yes
    local waited=0
    local said
    until said="$("${as_root[@]}" apt-get update -qq 2>&1)"; do
        grep -qiE 'could not get lock|unable to lock' <<<"$said" || return 0
        [ "$waited" -lt "$lock_seconds" ] || return 0
        [ "$waited" -ne 0 ] || echo "Waiting for another package manager"
        sleep 5
        waited=$((waited + 5))
    done
}

install_missing() { # PACKAGE...
    missing_of "$@"
    [ "${#missing[@]}" -ne 0 ] || return 0
    [ "${#as_root[@]}" -ne 0 ] || become_root
    refresh_lists
    echo "Installing ${missing[*]}"
    local said
    if ! said="$("${as_root[@]}" apt-get -o "DPkg::Lock::Timeout=$lock_seconds" install -y -qq \
        --no-install-recommends "${missing[@]}" 2>&1)"; then
        missing_of "$@"
        local reason
        reason="$(sed -n '/^E: /{s///p;q}' <<<"$said")"
        give_up "The packages could not be installed: ${reason:-${said##*$'\n'}}."
    fi
}

install_missing "${wanted[@]}"

is_offered() {
    apt-cache show "$1" >/dev/null 2>&1
}
if [ "${#optional[@]}" -ne 0 ]; then
    missing_of "${optional[@]}"
    if [ "${#missing[@]}" -ne 0 ]; then
        become_root
        refresh_lists
    fi
    for package in "${optional[@]}"; do
        if is_offered "$package"; then
            install_missing "$package"
        fi
    done
    # libFuzzer and the sanitizers of clang lie in a package named after its version; older distributions keep them in
    # clang's common files.
    version="$(clang -dumpversion | cut -d. -f1)"
    if is_offered "libclang-rt-$version-dev"; then
        install_missing "libclang-rt-$version-dev"
    else
        install_missing "libclang-common-$version-dev"
    fi
fi
