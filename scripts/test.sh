#!/usr/bin/env bash
# Installs what is missing, builds Lumevar with the given preset (default: "default") and runs
# every test through CTest.
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-default}"

bash scripts/setup.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset"
