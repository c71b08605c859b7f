#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# tamselctl_test.sh LIBRARY-FOLDER [EMULATOR...] TOOL: runs every command of tamselctl.txt against the
# tool and compares the transcript with the one written there. What differs is printed.
#
# Each command runs in the root folder that the last line beginning with --- made. It is followed by
# its standard output, by its standard error behind "! ", and by its exit code behind "= ", if not 0.
set -u
transcript=$(dirname "$(realpath "$0")")/tamselctl.txt
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work" # for nobody, who may not come to where the tool was built
cp "$1"/libtamsel.so.* "${@: -1}" "$work"
export LD_LIBRARY_PATH=$work
tool=("${@:2:$#-2}" "$work/tamselctl")
unset NO_COLOR
umask 022

dropped=() # what runs the tool as someone whom file modes bind
((EUID != 0)) || dropped=(setpriv --reuid 65534 --regid 65534 --clear-groups)
prefix=()

# An empty root stands for the working directory, so that messages do not tell where we are.
tamselctl() { "${prefix[@]}" "${tool[@]}" --root "" "$@"; }
plain() { "${tool[@]}" "$@"; }

as_nobody() {
    local prefix=("${dropped[@]}")
    "$@"
}

on_terminal() {
    script -qec "$(printf '%q ' "${tool[@]}" --root "" "$@")" /dev/null </dev/null | tr -d '\r' | cat -v
}

# follow SIGNAL [OPTION...]: changes mtu until a follower tells of it, then sends the follower SIGNAL.
# Ends with its exit code.
follow() {
    local signal=$1 value=0
    shift
    : >seen
    (exec "${tool[@]}" --root "" watch n --timeout 30 "$@" >seen) &
    while [[ ! -s seen ]] && ((++value < 300)); do
        tamselctl set n mtu "$value"
        sleep 0.1
    done
    [[ $signal == none ]] || kill -s "$signal" $!
    head -n 1 seen | tr -s 0-9 N
    wait $!
}

run() {
    local code=0
    (eval "$1") >"$work/out" 2>"$work/err" </dev/null || code=$?
    sed '$a\' "$work/out"
    sed 's/^/! /' "$work/err"
    ((code == 0)) || echo "= $code"
}

begin_root() {
    root=$(mktemp -d "$work/root.XXXXXX")
    chmod 755 "$root"
    cd "$root" && mkdir -p etc/config data/config
}

while IFS= read -r line; do
    case $line in
        '$ '*) echo "$line"; run "${line#'$ '}" ;;
        ---*) echo "$line"; begin_root ;;
        '#'* | '') echo "$line" ;;
    esac
done <"$transcript" >"$work/transcript"
diff --unified=5 --show-function-line='^[$] ' "$transcript" "$work/transcript"
