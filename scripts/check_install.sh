#!/usr/bin/env bash
# Checks the installation of a build: the installed tree, moved to another place, and the Debian packages. In both the
# command converts a file, the example programs are built with the CMake package and with pkg-config and read it, and
# what people are told about the command (manual page, completions) is what it offers.
#
#   scripts/check_install.sh BUILD      BUILD: a build directory without sanitizers in which everything is built
set -euo pipefail
cd "$(dirname "$0")/.."

if [ $# -ne 1 ] || [ ! -f "$1/CMakeCache.txt" ]; then
    echo "usage: scripts/check_install.sh BUILD" >&2
    exit 2
fi
source="$PWD"
build="$(cd "$1" && pwd)"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
unset VORDTA_MODULE PKG_CONFIG_PATH CMAKE_PREFIX_PATH

fail() {
    echo "check_install: $*" >&2
    exit 1
}
quietly() { # COMMAND...: its output only when it fails
    "$@" >"$work/output" 2>&1 || {
        cat "$work/output" >&2
        fail "failed: $*"
    }
}
sample="$source/examples/stations.dta" # without line feeds in its texts, so that lines are observations
observations() { # VORDTA
    "$1" describe --quiet --json "$sample" | sed -nE 's/.*"observations": ?([0-9]+).*/\1/p'
}

check_command() { # PREFIX: the command there converts the sample with the module there
    local vordta="$1/bin/vordta" rows
    [ "$("$vordta" --version)" = "vordta $version" ] || fail "$vordta says another version than $version"
    rows="$(observations "$vordta")"
    rm -f "$work/rows.csv" "$work/rows.db"
    quietly "$vordta" import "$sample" "$work/rows.csv"
    [ "$(wc -l <"$work/rows.csv")" -eq $((rows + 1)) ] || fail "rows.csv does not have $rows observations"
    quietly "$vordta" import "$sample" "$work/rows.db:rows"
    quietly "$vordta" export "$work/rows.db:rows" "$work/back.dta"
    "$vordta" import --quiet "$work/back.dta" - | cmp - "$work/rows.csv" || fail "rows change on the way back"
    LD_DEBUG=files "$vordta" head "$sample" >/dev/null 2>"$work/output"
    grep -qF "calling init: $1/lib/vordta/vorimdta.so" "$work/output" ||
        fail "$vordta does not take the module beside it"
    [ ! -e "$prefix/lib/vordta/vorimdta.so" ] || return 0 # it would be taken in place of one that is missing
    mv "$1/lib/vordta" "$1/lib/away"
    "$vordta" head "$sample" >"$work/output" 2>&1 && fail "$vordta works without the module beside it"
    grep -q '^ERROR: The module is not there' "$work/output" || fail "$vordta does not say what is missing"
    mv "$1/lib/away" "$1/lib/vordta"
}

check_program() { # PROGRAM: read_rows or drive_module, wherever it was built
    "$1" "$sample" >"$work/output" 2>"$work/notes" || fail "$1 failed: $(cat "$work/notes")"
    case "$1" in
        */drive_module) grep -q "^$rows observations of " "$work/output" || fail "$1 does not find $rows observations" ;;
        *) [ "$(wc -l <"$work/output")" -eq "$variables" ] || fail "$1 does not tell of $variables variables" ;;
    esac
}

check_development() { # PREFIX
    rm -rf "$work/consumer"
    mkdir -p "$work/consumer"
    cat >"$work/consumer/CMakeLists.txt" <<CMAKE
cmake_minimum_required(VERSION 3.22)
project(consumer LANGUAGES CXX)
find_package(vorhost $version REQUIRED)
if(NOT EXISTS \${vorhost_MODULE})
  message(FATAL_ERROR "vorhost_MODULE: there is no \${vorhost_MODULE}")
endif()
set(examples [==[$source/examples]==])
foreach(program read_rows drive_module)
  add_executable(\${program} "\${examples}/\${program}.cpp")
  target_link_libraries(\${program} PRIVATE vorhost::vorhost)
endforeach()
# All of the library, so that it misses nothing that it needs.
add_executable(whole "\${examples}/read_rows.cpp")
target_link_libraries(whole PRIVATE -Wl,--whole-archive vorhost::vorhost -Wl,--no-whole-archive)
CMAKE
    quietly cmake -S "$work/consumer" -B "$work/consumer/build" -DCMAKE_PREFIX_PATH="$1"
    grep -qF "vorhost_DIR:PATH=$1/" "$work/consumer/build/CMakeCache.txt" || fail "another package than that of $1 is found"
    quietly cmake --build "$work/consumer/build"
    check_program "$work/consumer/build/read_rows"
    check_program "$work/consumer/build/drive_module"

    export PKG_CONFIG_PATH="$1/lib/pkgconfig"
    [ "$(pkg-config --modversion vorhost)" = "$version" ] || fail "pkg-config says another version than $version"
    [ -f "$(pkg-config --variable=module vorhost)" ] || fail "pkg-config names a module that is not there"
    local flags # written for a shell: a blank in a path stands behind a backslash
    eval "flags=($(pkg-config --cflags --libs --static vorhost))"
    quietly c++ -std=c++20 -o "$work/consumer/read_rows" examples/read_rows.cpp "${flags[@]}"
    check_program "$work/consumer/read_rows"
    quietly c++ -std=c++20 -o "$work/consumer/whole" examples/read_rows.cpp -Wl,--whole-archive \
        "$1/lib/libvorhost.a" -Wl,--no-whole-archive "${flags[@]}"
    unset PKG_CONFIG_PATH
}

# Every option of every sub-command stands in the manual page.
check_options_are_told() { # PREFIX
    local vordta="$1/bin/vordta" command option page
    page="$(sed 's/\\-/-/g' "$source/cli/vordta.1")"
    for command in $("$vordta" --help | sed -nE '/^Subcommands:/,$ s/^  ([a-z]+) .*/\1/p'); do
        grep -qw "vordta $command" <<<"$page" || fail "vordta.1 does not tell of $command"
        for option in $("$vordta" help "$command" | grep -oE -- '^ +(-[a-z],)?--[a-z-]+' | grep -oE -- '--[a-z-]+'); do
            grep -qF -- "$option" <<<"$page" || fail "vordta.1 does not tell of $option"
        done
    done
}

check_python() { # PREFIX: where the package vordta is below it, which finds the module there
    local folder
    for folder in "$1"/lib/python3*/*-packages; do
        [ "$(PYTHONPATH="$folder" "$python" -c "import sys, vordta; print(len(vordta.describe(sys.argv[1])['variables']))" \
            "$sample")" = "$variables" ] || fail "the Python package in $folder does not tell of $variables variables"
    done
}

# What each shell that is there makes of a line: a variable of the file, and a file after a folder.
check_completions() { # PREFIX
    local shared="$1/share"
    [ "$(bash -c 'source "$1"; COMP_WORDS=("$2" head "$3" --keep id,mo) COMP_CWORD=4; _vordta; echo "${COMPREPLY[*]}"' \
        bash "$shared/bash-completion/completions/vordta" "$1/bin/vordta" "$sample")" = id,month ] ||
        fail "bash does not complete a variable"
    [ "$(bash -c 'source "$1"; COMP_WORDS=("$2" head "$3") COMP_CWORD=2; _vordta; echo "${COMPREPLY[*]}"' \
        bash "$shared/bash-completion/completions/vordta" "$1/bin/vordta" "${sample%.dta}")" = "$sample" ] ||
        fail "bash does not complete a file"
    if [ -n "$(command -v fish)" ]; then
        [ "$(PATH="$1/bin:$PATH" fish --no-config -c "source $shared/fish/vendor_completions.d/vordta.fish
            complete -C 'vordta head $sample --keep mo'; complete -C 'vordta head ${sample%.dta}'")" = \
            "month"$'\n'"$sample" ] || fail "fish does not complete a variable or a file"
    else
        echo "check_install: there is no fish here; its completion is not tried"
    fi
}

check_packages() {
    local package
    mkdir "$work/packages"
    (cd "$build" && quietly cpack -G DEB -B "$work/packages")
    for package in vordta libvorhost-dev ${python:+python3-vordta}; do
        quietly dpkg-deb --info "$work/packages/${package}_${version}_"*.deb
        dpkg-deb -x "$work/packages/${package}_${version}_"*.deb "$work/unpacked"
    done
    local field
    for field in libsqlite3-0 libicu libfmt libcsv3 libarchive13 zlib1g libc6; do
        dpkg-deb -f "$work/packages/vordta_"*.deb Depends | grep -q "$field" || fail "vordta does not depend on $field"
    done
    (cd "$work/unpacked/usr" && find . ! -type d | sed 's/^..//' | sort) >"$work/files"
    local file
    for file in bin/vordta lib/vordta/vorimdta.so share/man/man1/vordta.1.gz share/doc/vordta/copyright \
        share/bash-completion/completions/vordta share/zsh/vendor-completions/_vordta share/fish/vendor_completions.d/vordta.fish \
        lib/libvorhost.a \
        include/vorhost/host.h include/vor/imglue.h lib/cmake/vorhost/vorhost-config.cmake lib/pkgconfig/vorhost.pc; do
        grep -qx "$file" "$work/files" || fail "the packages have no $file"
    done
    grep -rlIF -e "$source" -e "$build" "$work/unpacked" && fail "these files of the packages name a path of this machine"
    check_command "$work/unpacked/usr"
    check_development "$work/unpacked/usr"
    [ -z "$python" ] || check_python "$work/unpacked/usr"
}

prefix="$(sed -nE 's/^CMAKE_INSTALL_PREFIX:PATH=//p' "$build/CMakeCache.txt")"
version="$(sed -nE 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")"
quietly cmake --install "$build" --prefix "$work/first"
mv "$work/first" "$work/moved"
rows="$(observations "$work/moved/bin/vordta")"
variables="$("$work/moved/bin/vordta" import --quiet "$sample" - | head -n 1 | awk -F, '{ print NF }')"
check_command "$work/moved"
check_development "$work/moved"
check_options_are_told "$work/moved"
python=
if [ -d "$build/python/vordta" ]; then
    python="$(sed -nE 's/^_Python3_EXECUTABLE:INTERNAL=//p' "$build/CMakeCache.txt")"
    check_python "$work/moved"
fi
check_completions "$work/moved"
check_packages
echo "check_install: the installed tree and the packages work"
