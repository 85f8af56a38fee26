#!/usr/bin/env bash
# Runs the two commands of the README in a bare root of each distribution: from a copy of the tree without its history,
# in a folder with a blank in its name, as a user with sudo, without a terminal. Prints passed or FAILED and the seconds
# of each. Needs root, debootstrap and, for jammy and noble, ubuntu-archive-keyring; takes up to half an hour a suite.
#
#   scripts/try_on_bare_root.sh SUITE...     bookworm, trixie, jammy, noble
#
# MIRROR        the archive to install from (default: the suite's own)
# ROOTS         where the roots are made and the logs stay (default: a new folder in the temporary directory)
# BASES         a folder with fresh roots to copy in place of making new ones
# COMMANDS      which commands (default "demo test")
set -euo pipefail
tree="$(cd "$(dirname "$0")/.." && pwd)"
if [ $# -eq 0 ] || [ "$(id -u)" -ne 0 ] || ! command -v debootstrap >/dev/null; then
    sed -n '2,/^[^#]/ s/^# \{0,1\}//p' "$0" >&2
    exit 2
fi
roots="${ROOTS:-$(mktemp -d)}"
mkdir -p "$roots"

# The scripts of debootstrap that all suites of a family share.
make_root() { # SUITE
    local components=main script=sid keyring=debian-archive-keyring
    case "$1" in
        jammy | noble) components=main,universe script=gutsy keyring=ubuntu-archive-keyring ;;
    esac
    debootstrap --variant=minbase "--components=$components" "--keyring=/usr/share/keyrings/$keyring.gpg" \
        "$1" "$roots/$1" "${MIRROR:-}" "/usr/share/debootstrap/scripts/$script"
}

inside() { # SUITE COMMAND...
    chroot "$roots/$1" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C HOME=/home/newcomer "${@:2}" </dev/null
}

# Each command's failure is asked for, because the caller's question switches the shell's own stop off.
prepare() { # SUITE
    local home="$roots/$1/home/newcomer"
    if [ -n "${BASES:-}" ]; then
        cp -a "$BASES/$1" "$roots/$1" || return
    else
        make_root "$1" || return
    fi
    cp /etc/resolv.conf "$roots/$1/etc/resolv.conf" && inside "$1" apt-get update -qq || return
    inside "$1" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends sudo || return
    inside "$1" useradd --create-home --shell /bin/bash newcomer || return
    echo 'newcomer ALL=(ALL) NOPASSWD: ALL' >"$roots/$1/etc/sudoers.d/newcomer" || return
    mkdir "$home/a tree" && tar -C "$tree" --exclude=./build --exclude=./.git -cf - . | tar -C "$home/a tree" -xf - ||
        return
    inside "$1" chown -R newcomer: /home/newcomer
}

mounted=()
mount_in() { # SUITE
    mount -t proc proc "$roots/$1/proc"
    mounted=("$roots/$1/proc" "${mounted[@]}")
    local folder
    for folder in /dev /dev/pts; do # terminals are a file system of their own
        mount --bind "$folder" "$roots/$1$folder"
        mounted=("$roots/$1$folder" "${mounted[@]}")
    done
}
unmount_all() { # the last one first
    local place
    for place in "${mounted[@]}"; do
        umount -l "$place"
    done
    mounted=()
}
trap unmount_all EXIT

report=()
attempt() { # SUITE NAME COMMAND...
    local start=$SECONDS result=passed log="$roots/$1_$2.log"
    "${@:3}" >"$log" 2>&1 || result=FAILED
    report+=("$(printf '%-10s %-8s %-7s %5d s' "$1" "$2" "$result" $((SECONDS - start)))")
    echo "${report[-1]}"
    [ "$result" = passed ] || tail -n 20 "$log"
    [ "$result" = passed ]
}

as_newcomer() { # SUITE SCRIPT
    inside "$1" su newcomer -c "cd '/home/newcomer/a tree' && LC_ALL=C scripts/$2.sh"
}

status=0
for suite in "$@"; do
    attempt "$suite" root prepare "$suite" || { status=1 && continue; }
    mount_in "$suite"
    for command in ${COMMANDS:-demo test}; do
        attempt "$suite" "$command" as_newcomer "$suite" "$command" || status=1
    done
    unmount_all
done
printf '\nLogs: %s\n' "$roots"
printf '%s\n' "${report[@]}"
exit "$status"
