#!/usr/bin/env bash
# Runs every fuzz target for SECONDS each (default 60), one after the other:
#
#   scripts/fuzz.sh [SECONDS]
#
# Builds the fuzz preset (clang, libFuzzer, AddressSanitizer and UndefinedBehaviorSanitizer),
# writes the seed corpora with the project's own writers (make-fuzz-seeds), then runs each target
# on its corpus (build/fuzz/corpus/<target>, kept and grown from run to run), its seeds and the
# regression inputs in tests/fuzz/<target>. An input slower than LUMEVAR_FUZZ_TIMEOUT seconds
# (default 1) counts as a hang. A crash, hang or sanitizer report leaves the input in
# build/fuzz/findings/<target>/ and makes the script fail once every target has run; keep such an
# input in tests/fuzz/<target>/ once the fault is fixed, so CTest replays it. LUMEVAR_FUZZ_TARGETS
# (names separated by spaces) runs only some. The counts of each run go to build/fuzz/summary.txt.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
timeout=${LUMEVAR_FUZZ_TIMEOUT:-1}
targets=(${LUMEVAR_FUZZ_TARGETS:-track_reader playlist scan_cache song_snapshot store_open store_search telemetry_cache subsonic_reply})

bash scripts/setup.sh
if command -v ccache >/dev/null; then
  export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
fi
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target fuzz-all

build=build/fuzz
# The seed writer needs no instrumentation: the default preset's build is taken when there is one
# (CI has just built it), which spares compiling the demo library's encoders again.
seedPreset=fuzz
[[ -f build/default/CMakeCache.txt ]] && seedPreset=default
cmake --build --preset "$seedPreset" --target make-fuzz-seeds
rm -rf "$build/seeds"
QT_QPA_PLATFORM=offscreen ASAN_OPTIONS=detect_leaks=0 "build/$seedPreset/fuzz/make-fuzz-seeds" "$build/seeds" >/dev/null

scratchBase=/dev/shm
[[ -d $scratchBase && -w $scratchBase ]] || scratchBase=${TMPDIR:-/tmp}
summary=$build/summary.txt
: >"$summary"
failed=()
for target in "${targets[@]}"; do
  corpus=$build/corpus/$target findings=$build/findings/$target
  mkdir -p "$corpus" "$findings" "$build/seeds/$target" "tests/fuzz/$target"
  scratch=$(mktemp -d "$scratchBase/lumevar-fuzz-$target.XXXXXX")
  log=$build/fuzz-$target.log
  echo "== fuzz $target for $seconds s"
  status=0
  # Leaks are not checked: Qt keeps caches for the process's life, which would drown real reports.
  LUMEVAR_FUZZ_SCRATCH=$scratch QT_QPA_PLATFORM=offscreen LC_ALL=C.UTF-8 \
    ASAN_OPTIONS=detect_leaks=0:abort_on_error=1:allocator_may_return_null=0 \
    UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    "$build/fuzz/fuzz-$target" "$corpus" "$build/seeds/$target" "tests/fuzz/$target" \
    -max_total_time="$seconds" -timeout="$timeout" -rss_limit_mb=2048 -malloc_limit_mb=1024 \
    -artifact_prefix="$findings/" -print_final_stats=1 </dev/null >"$log" 2>&1 || status=$?
  rm -rf "$scratch"
  runs=$(awk '/stat::number_of_executed_units/ { print $2 }' "$log")
  cov=$(grep -Eo 'cov: [0-9]+ ft: [0-9]+ corp: [0-9]+/[0-9a-zA-Z]+' "$log" | tail -1)
  line="$target: ${runs:-?} executions in $seconds s, $cov, corpus $(ls "$corpus" | wc -l) files"
  if ((status != 0)); then
    failed+=("$target")
    line="$line, FAILED (status $status; see $log and $findings)"
    grep -E '^(==[0-9]+==ERROR|SUMMARY|.*runtime error)' "$log" | head -5 || true
  fi
  echo "$line" | tee -a "$summary"
done

if ((${#failed[@]} > 0)); then
  echo "fuzz: faults found by ${failed[*]}"
  exit 1
fi
echo "fuzz: no fault found"
