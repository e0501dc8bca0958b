#!/usr/bin/env bash
# Installs what is missing, builds Lumevar, writes the demo library into the build tree (once) and
# starts Lumevar on it; with --server first, on a local Subsonic-API server over the same library.
# Extra arguments go to Lumevar.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake --preset default >/dev/null
cmake --build --preset default

build=build/default
demo="$build/demo-library"
if [ -x "$build/tools/make-demo-library" ] && [ ! -f "$demo/.complete" ]; then
  "$build/tools/make-demo-library" "$demo"
fi

# --server: the same demo library served by a local supysonic (scripts/supysonic-demo.sh), and
# Lumevar signed in to it.
if [ "${1:-}" = "--server" ]; then
  shift
  port=4040
  bash scripts/supysonic-demo.sh "$demo" "$port" &
  server=$!
  trap 'kill "$server" 2>/dev/null' EXIT
  for _ in $(seq 100); do
    (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null && break
    sleep 0.2
  done
  LUMEVAR_SERVER_PASSWORD=demo "$build/src/Lumevar/lumevar" --server "http://127.0.0.1:$port" --user demo "$@"
  exit
fi

if [ -x "$build/src/Lumevar/lumevar" ]; then
  exec "$build/src/Lumevar/lumevar" --library "$demo" "$@"
fi
exec "$build/src/Lumevar/lumevar" "$@"
