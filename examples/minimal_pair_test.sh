#!/usr/bin/env bash
# minimal_client against minimal_server on a free loopback port: the client
# must exit 0 and print what the server's handler answers.
# usage: minimal_pair_test.sh SERVER CLIENT
set -uo pipefail
server=$1
client=$2
out=$(mktemp)
"$server" 0 >"$out" &
pid=$!
trap 'kill "$pid" 2>/dev/null; rm -f "$out"' EXIT

port=
for _ in $(seq 200); do
  port=$(sed -n 's/^listening on 127\.0\.0\.1:\([0-9]*\)$/\1/p' "$out")
  [ -n "$port" ] && break
  kill -0 "$pid" 2>/dev/null || break
  sleep 0.1
done
if [ -z "$port" ]; then
  echo "minimal_server did not start" >&2
  exit 1
fi

answer=$("$client" 127.0.0.1 "$port") || exit 1
printf '%s\n' "$answer"
for expected in "status(7): 7" "getModemId: MDM-0001" "GetModemInfo: stCellularInfo(model=, "; do
  if ! grep -qF -- "$expected" <<<"$answer"; then
    echo "missing from the client's output: $expected" >&2
    exit 1
  fi
done
