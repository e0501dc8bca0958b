#!/usr/bin/env bash
# Resident memory of the application on a large music folder: a first launch (empty store, the
# folder read and synced) and a relaunch (library current), each measured once the process has
# been idle (no CPU time used) for a while. Then the same two as a user has them, in a window on
# an X server of their own (Xvfb, driven by xdotool): a first launch in a new home with the Songs
# pane opened once the import has settled, and a relaunch of that home with the Songs pane opened
# at once and scrolled to the middle; after it, how long a quit (SIGTERM) takes.
#
#   bench/memory-at-scale.sh FOLDER [BINARY] [RUNS]
#
# FOLDER is the kept folder of LibraryScanBench (LUMEVAR_BENCH_KEEP=1); BINARY defaults to
# build/default/src/Lumevar/lumevar. Each run uses a new, empty home. Prints, per launch, the
# resident size split into anonymous and file-backed pages (smaps_rollup), the peak (VmHWM) and
# how long the launch took to settle; and for the launches with the list, the lines
# first_list_rss_mb=, first_list_peak_mb=, relaunch_list_rss_mb=, relaunch_list_peak_mb= and
# relaunch_list_quit_s=.
set -euo pipefail

# The launches with the window need an X server: the script runs itself again under Xvfb.
if [[ -z ${LUMEVAR_MEMORY_XVFB:-} ]]; then
    LUMEVAR_MEMORY_XVFB=1 exec xvfb-run -a -s "-screen 0 1280x800x24" "$0" "$@"
fi

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

# Starts the application in home; $3 is the Qt platform (offscreen, or xcb for a window).
launch() {
    local label=$1 home=$2 platform=$3
    HOME=$home XDG_CONFIG_HOME=$home/config XDG_DATA_HOME=$home/data XDG_CACHE_HOME=$home/cache \
        XDG_STATE_HOME=$home/state QT_QPA_PLATFORM=$platform \
        "$binary" --library "$folder" --audio-output null >"$home/$label.log" 2>&1 &
    pid=$!
}

# Waits until the process has used no CPU time for idleSeconds in a row (and at least 5 s since
# $1, a start in SECONDS); sets quiet to the idle seconds counted.
settle() {
    local start=$1 last=-1
    quiet=0
    while kill -0 "$pid" 2>/dev/null; do
        sleep 1
        local now
        now=$(cpuTicks "$pid")
        if [[ $now == "$last" ]]; then quiet=$((quiet + 1)); else quiet=0; fi
        last=$now
        if ((quiet >= idleSeconds && SECONDS - start >= 5)); then break; fi
    done
}

# The Songs pane chosen in the root list, then its scroll bar clicked with the middle button at
# half its height (a jump to the middle of the list). The window is 600 x 500 at the top left of
# the screen (no window manager): Songs is the root list's fourth row.
openSongsInMiddle() {
    local window=""
    for _ in $(seq 1 100); do
        window=$(xdotool search --pid "$pid" --onlyvisible 2>/dev/null | head -1) && [[ -n $window ]] && break
        sleep 0.1
    done
    [[ -n $window ]] || { echo "no window" >&2; return 1; }
    xdotool mousemove --window "$window" 70 212 click 1
    sleep 2
    xdotool mousemove --window "$window" 596 280 click 2
}

measure() {
    local label=$1 home=$2
    local start=$SECONDS
    launch "$label" "$home" offscreen
    settle "$start"
    local rollup=/proc/$pid/smaps_rollup status=/proc/$pid/status
    printf '%-10s resident %4d MB  anonymous %4d MB  file-backed %4d MB (store map %3d MB)  peak %4d MB  settled in %d s\n' \
        "$label" "$(field "$status" VmRSS)" "$(field "$rollup" Anonymous)" \
        "$(( $(field "$status" RssFile) + $(field "$status" RssShmem) ))" "$(mappedRss "$pid" 'local[.]db$')" \
        "$(field "$status" VmHWM)" $((SECONDS - start - quiet))
    kill "$pid"
    wait "$pid" 2>/dev/null || true
}

# A first launch with the Songs pane opened once the import has settled, and a relaunch with it
# opened at once and scrolled to the middle, then quit.
measureWithList() {
    local home=$1 start=$SECONDS
    launch first_list "$home" xcb
    settle "$start"
    openSongsInMiddle
    settle "$SECONDS"
    echo "first_list_rss_mb=$(field "/proc/$pid/status" VmRSS)"
    echo "first_list_peak_mb=$(field "/proc/$pid/status" VmHWM)"
    kill "$pid"
    wait "$pid" 2>/dev/null || true
    start=$SECONDS
    launch relaunch_list "$home" xcb
    openSongsInMiddle
    settle "$start"
    echo "relaunch_list_rss_mb=$(field "/proc/$pid/status" VmRSS)"
    echo "relaunch_list_peak_mb=$(field "/proc/$pid/status" VmHWM)"
    local quitStart
    quitStart=$(date +%s.%N)
    kill "$pid"
    wait "$pid" 2>/dev/null || true
    echo "relaunch_list_quit_s=$(echo "$(date +%s.%N) - $quitStart" | bc -l | xargs printf '%.2f')"
}

# LUMEVAR_MEMORY_LIST_ONLY=1 measures only the launches with the list.
# LUMEVAR_MEMORY_HOME=DIR runs in DIR (and DIR-list) and keeps them (a relaunch can then be profiled).
for ((run = 1; run <= runs; ++run)); do
    home=${LUMEVAR_MEMORY_HOME:-$(mktemp -d)}
    mkdir -p "$home"
    if [[ -z ${LUMEVAR_MEMORY_LIST_ONLY:-} ]]; then
        measure first "$home"
        measure relaunch "$home"
    fi
    [[ -n ${LUMEVAR_MEMORY_HOME:-} ]] || rm -rf "$home"
    home=${LUMEVAR_MEMORY_HOME:+$LUMEVAR_MEMORY_HOME-list}
    home=${home:-$(mktemp -d)}
    mkdir -p "$home"
    measureWithList "$home"
    [[ -n ${LUMEVAR_MEMORY_HOME:-} ]] || rm -rf "$home"
done
