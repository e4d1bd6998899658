#!/usr/bin/env bash
# Starts an echo_server on a free port, lets an echo_client talk to it, stops the
# server, and shows what both printed. Fails unless that is conversation.txt: of
# the lines there, those in parentheses are the server's.
#
#   talk.sh ECHO_SERVER ECHO_CLIENT
set -euo pipefail

if [[ $# -ne 2 ]]; then
  echo "usage: talk.sh ECHO_SERVER ECHO_CLIENT" >&2
  exit 2
fi
conversation="$(dirname "${BASH_SOURCE[0]}")/conversation.txt"
logs=$(mktemp -d)
server=
clean_up() {
  if [[ -n "$server" ]]; then
    kill "$server" 2>/dev/null || true
  fi
  rm -rf "$logs"
}
trap clean_up EXIT

: >"$logs/server" # it may take a moment until the server runs
"$1" >"$logs/server" &
server=$!
port=
for _ in $(seq 100); do
  port=$(sed -n 's/^listening on port //p' "$logs/server")
  if [[ -n "$port" ]] || ! kill -0 "$server" 2>/dev/null; then
    break
  fi
  sleep 0.1
done
if [[ -z "$port" ]]; then
  echo "talk.sh: the server did not say on which port it listens" >&2
  exit 1
fi

echo "The client, which calls port $port:"
echo
"$2" "$port" | tee "$logs/client"

kill "$server"
wait "$server" || {
  echo "talk.sh: the server failed when it was stopped" >&2
  exit 1
}
server=
echo
echo "The server:"
echo
cat "$logs/server"

diff -u <(grep -v '^  (server: ' "$conversation") "$logs/client"
diff -u <(
  echo "listening on port $port"
  grep '^  (server: ' "$conversation"
  echo "stopped"
) "$logs/server"
