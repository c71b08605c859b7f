#!/bin/bash
# Runs the examples as a user would: tests/examples_test.sh DIRECTORY-OF-PROGRAMS [EMULATOR...]
set -euo pipefail
programs=$1 root=$(mktemp -d)/ run=("${@:2}")
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$root"' EXIT
mkdir -p "${root}data/config" && cd "${root}data/config"
start() { "${run[@]}" "$programs/$1" "$root" "${@:2}" >>printed 2>&1 & }
expect() {
    for _ in {1..400}; do grep -qF -- "$1" "${2:-printed}" && return || sleep 0.05; done
    echo "never printed: $1"; cat printed; exit 1
}

for key in a b c; do start shared_writers $key 50; done && wait
for count in '"a" : 50' '"b" : 50' '"c" : 50' '"all" : 150'; do expect "$count" counters.json; done
# The crash state of a kill inside a change, with the overlay as a power cut would leave it.
until [ -s counters.json.journal ]; do
    start shared_writers a 1000000
    sleep 0.$((RANDOM % 9)) && kill -KILL $! && wait $! 2>/dev/null || true
done
cp counters.json.journal network.json.journal && printf '{"al' >network.json

start settings_daemon && daemon=$! && expect 'localhost, mtu 1500'
expect '"all"' network.json && expect '"starts" : 1' network.json
printf '[1]' >network.json && expect 'must be objectValue'
echo '{"mtu": 9000}' >new && mv new network.json && expect 'localhost, mtu 9000'
start quick_start && follower=$! && expect 'attic' network.json && expect 'attic, mtu 9000'
start change_settings set mtu 70000 && wait $follower && expect "'mtu' is not a Uint16"
kill $daemon && printf '{"mtu": 9' >network.json && : >printed
start settings_daemon && expect 'localhost, mtu 1500' && grep -q '"mtu": 9' network.json.broken
"${run[@]}" "$programs/kill_writers" . 150
