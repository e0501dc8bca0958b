#!/usr/bin/env bash
# Installs what is missing, builds Lumevar, writes the demo library into the build tree (once) and
# starts Lumevar on it. Extra arguments go to Lumevar.
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

if [ -x "$build/src/Lumevar/lumevar" ]; then
  exec "$build/src/Lumevar/lumevar" --library "$demo" "$@"
fi
exec "$build/src/Lumevar/lumevar" "$@"
