#!/usr/bin/env bash
# Resident memory of the application on a large music folder: a first launch (empty store, the
# folder read and synced) and a relaunch (library current), each measured once the process has
# been idle (no CPU time used) for a while.
#
#   bench/memory-at-scale.sh FOLDER [BINARY] [RUNS]
#
# FOLDER is the kept folder of LibraryScanBench (LUMEVAR_BENCH_KEEP=1); BINARY defaults to
# build/default/src/Lumevar/lumevar. Each run uses a new, empty home. Prints, per launch, the
# resident size split into anonymous and file-backed pages (smaps_rollup), the peak (VmHWM) and
# how long the launch took to settle.
set -euo pipefail

folder=${1:?usage: memory-at-scale.sh FOLDER [BINARY] [RUNS]}
binary=${2:-build/default/src/Lumevar/lumevar}
runs=${3:-1}
idleSeconds=${LUMEVAR_IDLE_SECONDS:-8}

cpuTicks() { awk '{ print $14 + $15 }' "/proc/$1/stat"; }
field() { awk -v key="$2:" '$1 == key { print int($2 / 1024) }' "$1"; }
# Resident pages of the mappings of files whose name matches $2 (the store's memory map).
mappedRss() {
    awk -v name="$2" '/^[0-9a-f]+-[0-9a-f]+ / { inside = ($NF ~ name) } inside && $1 == "Rss:" { kb += $2 }
                      END { print int(kb / 1024) }' "/proc/$1/smaps"
}

measure() {
    local label=$1 home=$2
    local start=$SECONDS
    HOME=$home XDG_CONFIG_HOME=$home/config XDG_DATA_HOME=$home/data XDG_CACHE_HOME=$home/cache \
        XDG_STATE_HOME=$home/state QT_QPA_PLATFORM=offscreen \
        "$binary" --library "$folder" --audio-output null >"$home/$label.log" 2>&1 &
    local pid=$!
    local last=-1 quiet=0
    # Settled: no CPU time used for idleSeconds in a row (after at least 5 s).
    while kill -0 "$pid" 2>/dev/null; do
        sleep 1
        local now
        now=$(cpuTicks "$pid")
        if [[ $now == "$last" ]]; then quiet=$((quiet + 1)); else quiet=0; fi
        last=$now
        if ((quiet >= idleSeconds && SECONDS - start >= 5)); then break; fi
    done
    local rollup=/proc/$pid/smaps_rollup status=/proc/$pid/status
    printf '%-10s resident %4d MB  anonymous %4d MB  file-backed %4d MB (store map %3d MB)  peak %4d MB  settled in %d s\n' \
        "$label" "$(field "$status" VmRSS)" "$(field "$rollup" Anonymous)" \
        "$(( $(field "$status" RssFile) + $(field "$status" RssShmem) ))" "$(mappedRss "$pid" 'local[.]db$')" \
        "$(field "$status" VmHWM)" $((SECONDS - start - quiet))
    kill "$pid"
    wait "$pid" 2>/dev/null || true
}

# LUMEVAR_MEMORY_HOME=DIR runs in DIR and keeps it (a relaunch of it can then be profiled).
for ((run = 1; run <= runs; ++run)); do
    home=${LUMEVAR_MEMORY_HOME:-$(mktemp -d)}
    mkdir -p "$home"
    measure first "$home"
    measure relaunch "$home"
    [[ -n ${LUMEVAR_MEMORY_HOME:-} ]] || rm -rf "$home"
done
