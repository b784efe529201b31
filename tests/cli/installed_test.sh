#!/usr/bin/env bash
# Installs the build into a temporary prefix and runs the installed `pathwright` from an unrelated folder:
# the tour, `serve --demo` and `map --demo` must find the demo store beside the executable.
set -euo pipefail
build="$1"
prefix="$(mktemp -d)"
trap 'kill "${map_pid:-}" 2>/dev/null || true; rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null
cd "$prefix/.."
"$prefix/bin/pathwright" tour >/dev/null
answer="$(echo '{"jsonrpc":"2.0","id":1,"method":"actors"}' | "$prefix/bin/pathwright" serve --demo)"
grep -q '"gate_guard"' <<<"$answer" || { echo "serve --demo answered: $answer"; exit 1; }
"$prefix/bin/pathwright" map --demo --port 0 >"$prefix/map.out" 2>"$prefix/map.err" &
map_pid=$!
for _ in $(seq 100); do [ -s "$prefix/map.out" ] && break; sleep 0.1; done
line="$(head -n 1 "$prefix/map.out")"
[[ "$line" =~ ^Pathwright\ map:\ http://127\.0\.0\.1:([0-9]+)/#token=([0-9a-f]{32})$ ]] ||
  { echo "map printed: $line"; cat "$prefix/map.err"; exit 1; }
kill -TERM "$map_pid"
wait "$map_pid"
