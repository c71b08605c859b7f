#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# tamselctl_test.sh LIBRARY-DIRECTORY [EMULATOR...] TOOL: runs every command of tamselctl.txt against the
# tool and compares the results.
#
# A line beginning with --- begins a section in an empty root directory; words in brackets are what
# it needs of the machine. Sections run side by side. A command is followed by its standard output,
# by its standard error behind "! ", and by its exit code behind "= ", if not 0.
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

# An empty root is the working directory, so that messages do not contain its path.
tamselctl() { timeout 20 "${prefix[@]}" "${tool[@]}" --root "" "$@"; }
plain() { timeout 20 "${tool[@]}" "$@"; }
as_nobody() (prefix=("${dropped[@]}"); "$@")
on_terminal() {
    script -qec "$(printf '%q ' "${tool[@]}" --root "" "$@")" /dev/null </dev/null | tr -d '\r' | cat -v
}
# Prints the exit code and the last line that a command prints.
brief() {
    local text code=0
    text=$("$@" 2>&1) || code=$?
    echo "$code ${text##*$'\n'}"
}
one() { paste -sd ' '; }
# until_seen TEXT [FILE]: waits until a file, "seen" if none is given, has a text.
until_seen() { timeout 20 sh -c 'until grep -q "$1" "$2"; do sleep 0.02; done' - "$1" "${2:-seen}" 2>/dev/null; }
# begin TEXT COMMAND...: runs a command in the background, and returns when it has printed a text. The
# file is emptied first: what an earlier command printed must not end the wait.
begin() { : >seen; "${@:2}" >seen 2>errors & until_seen "$1"; }
# Another process locks the overlay, until release.
hold() { begin '[0-9]' flock "$1" data/config/n.json sh -c 'echo $$; exec sleep 20'; }
release() { kill "$(cat seen)"; }
# Runs the tool such that a signal to $! reaches it, and SIGHUP ends it even if this test runs under
# nohup. Without --foreground, timeout passes a signal on twice, and the second can kill a tool that
# is about to exit.
hung_up() { exec env --default-signal=HUP timeout --foreground 60 "${tool[@]}" --root "" "$@"; }
# Watches in the background from now on: follow [OPTION...]
follow() { begin unit hung_up watch n --initial "$@"; }
check() { printf "$1" >data/config/n.json && tamselctl check n "${@:2}"; }

has() {
    case $1 in
        terminal) [[ $(script -qec 'echo yes' /dev/null </dev/null 2>/dev/null) == yes* ]] ;;
        users) ((${#dropped[@]} == 0)) || "${dropped[@]}" true 2>/dev/null ;;
        locks) [[ -r /proc/locks ]] && command -v flock >/dev/null ;;
        schema) { plain check --help; plain import --help; } | grep -e --schema >/dev/null ;;
    esac
}
run() {
    local code=0
    (eval "$1") >"$2.out" 2>"$2.err" </dev/null || code=$?
    sed '$a\' "$2.out"
    sed 's/^/! /' "$2.err"
    ((code == 0)) || echo "= $code"
}
# run_section NUMBER-OF-ITS-FIRST-LINE FILE: writes the differences to FILE.diff.
run_section() {
    local line
    mkdir -p "$2.root/etc/config" "$2.root/data/config" && cd "$2.root" || exit
    # After empty lines, so that line numbers are those of the transcript.
    for ((line = 1; line < $1; ++line)); do echo; done | tee "$2.expected" >"$2.actual"
    cat "$2" >>"$2.expected"
    while IFS= read -r line; do
        case $line in
            '$ '*) echo "$line"; run "${line#'$ '}" "$2" ;;
            ---* | '#'* | '') echo "$line" ;;
        esac
    done <"$2" >>"$2.actual"
    diff --unchanged-line-format= --old-line-format='tamselctl.txt:%dn expected: %L' \
        --new-line-format='        actual: %L' "$2.expected" "$2.actual" >"$2.diff"
}

awk -v work="$work" '/^---/ {close(file); file = work "/section" NR} {print > file}' "$transcript"
for section in "$work"/section*; do
    for need in $(sed -n '1s/.*\[\(.*\)\]/\1/p' "$section"); do
        has "$need" || { echo "Skipped, the machine has no $need: $(head -n 1 "$section")"; continue 2; }
    done
    run_section "${section##*section}" "$section" &
    (($(jobs -r | wc -l) < 4)) || wait -n
done
wait
cat "$work"/*.diff
! grep -q . "$work"/*.diff
