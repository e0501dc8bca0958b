#!/usr/bin/env bash
# Starts a Subsonic-API server (Debian's supysonic) on the loopback interface over a music folder,
# with one user, for trying Lumevar's server backend:
#
#   scripts/supysonic-demo.sh [MUSIC_FOLDER] [PORT]
#
# MUSIC_FOLDER defaults to the demo library in the build tree (written by scripts/run.sh), PORT to
# 4040. The user is "demo" with the password "demo". The server's database and configuration live
# in build/default/supysonic-demo; the server runs in the foreground until interrupted.
# scripts/run.sh --server starts it in the background and points Lumevar at it.
set -euo pipefail
cd "$(dirname "$0")/.."

music="$(realpath "${1:-build/default/demo-library}")"
port="${2:-4040}"
state="$(realpath -m build/default/supysonic-demo)"

if ! command -v supysonic-server >/dev/null; then
  echo "supysonic-demo: supysonic is not installed (scripts/setup.sh installs it)" >&2
  exit 1
fi
if [ ! -d "$music" ]; then
  echo "supysonic-demo: no music folder at $music (scripts/run.sh writes the demo library)" >&2
  exit 1
fi

source scripts/supysonic-config.sh
write_supysonic_config "$state"

cd "$state"
if ! supysonic-cli user list 2>/dev/null | grep -qw demo; then
  supysonic-cli user add demo -p demo >/dev/null
fi
if ! supysonic-cli folder list 2>/dev/null | grep -qw demo; then
  supysonic-cli folder add demo "$music" >/dev/null
fi
supysonic-cli folder scan demo >/dev/null
echo "supysonic-demo: serving $music at http://127.0.0.1:$port (user demo, password demo)"
exec supysonic-server -S waitress -h 127.0.0.1 -p "$port"
