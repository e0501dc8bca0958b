#!/usr/bin/env bash
# Kills the library's mirror with SIGKILL at random moments and checks what the next launch finds:
#
#   bench/crash-safety.sh [KILLS] [FILES] [BINARY]
#
# KILLS (default 1000) kills, taken in turn during a first sync (an empty store), a change being
# applied (500 songs come) and a clean quit (the log folded back, the song records saved beside
# the store), on a folder of FILES small MP3s (default 20,000). After each kill bench/CrashSafety's
# check runs PRAGMA integrity_check, reads the first list (from the snapshot beside the store when
# the open accepts it) against the table, and launches once more: the store must hold every song
# of the folder. Prints a line per kill and the counts at the end; exits 1 if any check failed.
# BINARY defaults to build/default/bench/CrashSafety. LUMEVAR_CRASH_SECONDS stops early after
# that many seconds (the counts then say how far it got). Not a CI test: it takes hours at 1,000.
set -euo pipefail
cd "$(dirname "$0")/.."
kills=${1:-1000}
files=${2:-20000}
binary=${3:-build/default/bench/CrashSafety}
budget=${LUMEVAR_CRASH_SECONDS:-0}

work=$(mktemp -d "${TMPDIR:-/tmp}/lumevar-crash.XXXXXX")
trap 'rm -rf "$work"' EXIT
export QT_QPA_PLATFORM=offscreen LC_ALL=C.UTF-8
music=$work/music base=$work/base

echo "writing $files files"
"$binary" library "$music" "$files"
# A home whose store holds the whole library, for the change and the quit; its scan cache also
# spares each first sync a full read of the folder's tags (what is killed is the mirror).
timeOf() { local s; s=$(date +%s.%N); "$@" >/dev/null; awk -v a="$s" -v b="$(date +%s.%N)" 'BEGIN { printf "%.2f", b - a }'; }
firstSync=$(timeOf "$binary" sync "$base" "$music")
home=$work/home
reset() { rm -rf "$home"; cp -a "$base" "$home"; [[ -d $music/Extra ]] && mv "$music/Extra" "$music/.Extra"; true; }
reset; rm -f "$home"/local.db*; sync=$(timeOf "$binary" sync "$home" "$music")
reset; change=$(timeOf "$binary" change "$home" "$music")
reset; quit=$(timeOf "$binary" quit "$home" "$music")
echo "a whole run takes: first sync ${sync}s (with the folder unread ${firstSync}s), change ${change}s, quit ${quit}s"

declare -A done=([sync]=0 [change]=0 [quit]=0) failed=([sync]=0 [change]=0 [quit]=0) finished=([sync]=0 [change]=0 [quit]=0)
began=$SECONDS
for ((i = 0; i < kills; ++i)); do
  if ((budget > 0 && SECONDS - began >= budget)); then
    echo "stopped after $budget s"
    break
  fi
  phases=(sync change quit)
  phase=${phases[i % 3]}
  reset
  [[ $phase == sync ]] && rm -f "$home"/local.db*
  whole=${!phase}
  # A moment anywhere in the run, its start and end included.
  delay=$(awk -v w="$whole" -v r="$RANDOM" 'BEGIN { printf "%.3f", w * 1.1 * r / 32767 }')
  "$binary" "$phase" "$home" "$music" >/dev/null 2>&1 &
  pid=$!
  sleep "$delay"
  if kill -KILL "$pid" 2>/dev/null; then wait "$pid" 2>/dev/null || true; else finished[$phase]=$((finished[$phase] + 1)); wait "$pid" 2>/dev/null || true; fi
  done[$phase]=$((done[$phase] + 1))
  if result=$("$binary" check "$home" "$music" 2>"$work/check.log"); then :; else
    status=$?
    failed[$phase]=$((failed[$phase] + 1))
    # A check that died says nothing on its standard output: its status and last lines instead.
    result="FAIL (check exited with status $status) ${result:-$(tail -n 3 "$work/check.log" | tr '\n' ' ')}"
  fi
  echo "$((i + 1)) $phase killed at ${delay}s: $result"
done
total=$((done[sync] + done[change] + done[quit]))
bad=$((failed[sync] + failed[change] + failed[quit]))
for phase in sync change quit; do
  echo "$phase: ${done[$phase]} kills (${finished[$phase]} came after the run ended), ${failed[$phase]} failed checks"
done
echo "$((total - bad)) of $total kills: integrity ok, snapshot refused or current, next launch converged ($((SECONDS - began)) s, $(awk -v n="$total" -v s="$((SECONDS - began + 1))" 'BEGIN { printf "%.1f", n * 60 / s }') kills a minute)"
((bad == 0))
