#!/usr/bin/env bash
# The first sync of a real Subsonic-API server (Debian's supysonic) holding about SONGS songs,
# against the same pages fetched raw from it, as SubsonicSyncBench's BM_FirstSyncOfServer:
#
#   bench/server-sync.sh FOLDER [SONGS] [BENCH_BINARY]
#
# FOLDER is the kept folder of LibraryScanBench (LUMEVAR_BENCH_KEEP=1); its first artists' folders,
# enough for SONGS (default 10000) songs, are hard-linked into a folder of their own beside it, which
# the server scans once (about a minute for 10,000 songs) and keeps with its database for later runs.
# The server listens on a free loopback port for the length of the run.
set -euo pipefail
cd "$(dirname "$0")/.."

folder=$(realpath "${1:?usage: server-sync.sh FOLDER [SONGS] [BENCH_BINARY]}")
songs=${2:-10000}
binary=${3:-build/default/bench/SubsonicSyncBench}
state="${folder%/}-server-$songs"
music="$state/music"

if [[ ! -f $state/supysonic.db ]]; then
    rm -rf "$state"
    mkdir -p "$music"
    count=0
    for artist in "$folder"/*/; do
        cp -al "$artist" "$music/"
        count=$((count + $(find "$artist" -type f -name '*.mp3' -o -type f -name '*.flac' -o -type f -name '*.ogg' | wc -l)))
        ((count >= songs)) && break
    done
    source scripts/supysonic-config.sh
    write_supysonic_config "$state"
    echo "server-sync: scanning $count songs into $state"
    (cd "$state" && supysonic-cli user add bench -p bench >/dev/null && supysonic-cli folder add bench "$music" >/dev/null &&
        supysonic-cli folder scan bench >/dev/null)
fi

port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
(cd "$state" && exec supysonic-server -S waitress -h 127.0.0.1 -p "$port") >"$state/server.log" 2>&1 &
server=$!
trap 'kill $server 2>/dev/null; wait $server 2>/dev/null || true' EXIT
for _ in $(seq 100); do
    python3 -c "import urllib.request as r; r.urlopen('http://127.0.0.1:$port/rest/ping.view?u=bench&p=bench&v=1.16.1&c=bench&f=json')" \
        2>/dev/null && break
    sleep 0.2
done

LUMEVAR_BENCH_SERVER="http://127.0.0.1:$port" LUMEVAR_BENCH_USER=bench LUMEVAR_SERVER_PASSWORD=bench \
    "$binary" --benchmark_filter=BM_FirstSyncOfServer
