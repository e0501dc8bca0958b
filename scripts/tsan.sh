#!/usr/bin/env bash
# Builds the tsan preset (gcc, ThreadSanitizer, -O1) and runs the tests of the code that works on
# several threads: Support (hand-offs between threads, pools), the store and its sync
# (LumevarCoreTests), the folder scan and the player (PlatformTests). Only those test targets are
# built. A report fails the run; tests/tsan.supp lists the suppressions, each with its reason.
# Extra arguments go to every test binary (e.g. --gtest_filter=StoreTest.*).
#
# Not in CI yet: Qt here is not built with ThreadSanitizer, so every hand-over through Qt's own
# locks (QThreadPool and QtConcurrent jobs, QFuture results, queued events) is invisible to it,
# and the scan and sync tests report hundreds of races on data those locks do order. The store's
# own hand-overs (its job queue, HandBack) go through std::mutex and are seen. Making the run
# meaningful needs a Qt built with -fsanitize=thread, or annotations at each Qt hand-over.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
if command -v ccache >/dev/null; then
  export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
fi
start=$(date +%s)
cmake --preset tsan >/dev/null
cmake --build --preset tsan
built=$(date +%s)

export TSAN_OPTIONS="suppressions=$PWD/tests/tsan.supp halt_on_error=1 second_deadlock_stack=1 history_size=4 die_after_fork=0"
export QT_QPA_PLATFORM=offscreen LC_ALL=C.UTF-8
status=0
for test in tests/Support/SupportTests tests/LumevarCore/LumevarCoreTests tests/Platform/PlatformTests; do
  echo "== $test"
  build/tsan/$test --gtest_brief=1 "$@" || status=1
done
echo "== tsan: build $(( built - start )) s, tests $(( $(date +%s) - built )) s"
exit $status
