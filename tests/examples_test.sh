#!/bin/bash
# Runs the recipes as a user would: tests/examples_test.sh FOLDER-OF-PROGRAMS [EMULATOR...]
set -euo pipefail
programs=$1
shift
root=$(mktemp -d)/
trap 'rm -rf "$root"' EXIT
mkdir -p "${root}data/config"

for key in a b c; do
    "$@" "$programs/shared_writers" "$root" "$key" 50 &
done
wait
counted=$(tr -d ' \t\n' <"${root}data/config/counters.json")
[ "$counted" = '{"a":50,"all":150,"b":50,"c":50}' ] || { echo "changes were lost: $counted"; exit 1; }

for start in 1 2 3; do
    told=$("$@" "$programs/crash_safe_overlay" "$root")
    [ "$told" = "start number $start" ] || { echo "start $start lost: $told"; exit 1; }
    printf '{"sta' >"${root}data/config/starts.json" # as a power cut leaves it
done

# A full disk is noticed, and what was there stays.
if (trap '' XFSZ && ulimit -f 0 && "$@" "$programs/crash_safe_overlay" "$root"); then exit 1; fi
[ "$("$@" "$programs/crash_safe_overlay" "$root")" = "start number 4" ]

"$@" "$programs/kill_writers" "$root" 150
