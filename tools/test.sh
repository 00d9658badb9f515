#!/usr/bin/env bash
# Sets up, builds and runs every test: a warnings-as-errors build, then the same
# suite under AddressSanitizer and UndefinedBehaviorSanitizer, then the threaded
# tests under ThreadSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/setup.sh
jobs="$(nproc)"

echo "== build and test (warnings are errors)"
# Line tables only: stack traces keep their file and line, and the compiler saves a third.
cmake -S . -B build/test -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCADENZOID_WERROR=ON \
  -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O2 -g1 -DNDEBUG" >/dev/null
cmake --build build/test -j"$jobs"
ctest --test-dir build/test -j"$jobs" --output-on-failure --timeout 600 -LE x11
# The editor's window in a virtual X server of its own; -noreset keeps it accepting
# connections between the tests' processes.
xvfb-run -a -s "-screen 0 1280x1024x24 -noreset" \
  ctest --test-dir build/test --output-on-failure --timeout 300 -L x11

echo "== address and undefined-behaviour sanitizers"
# -O1, as the sanitizers advise: it compiles in less than half the time of -O2 here.
cmake -S . -B build/asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCADENZOID_WERROR=ON \
  -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O1 -g1 -DNDEBUG" \
  -DCADENZOID_SANITIZE=address -DCADENZOID_BENCH=OFF >/dev/null
cmake --build build/asan -j"$jobs"
ASAN_OPTIONS=detect_leaks=1 ctest --test-dir build/asan -j"$jobs" --output-on-failure --timeout 900 -LE x11
ASAN_OPTIONS=detect_leaks=1 xvfb-run -a -s "-screen 0 1280x1024x24 -noreset" \
  ctest --test-dir build/asan --output-on-failure --timeout 600 -L x11

if [ -d tests/pattern ]; then
  echo "== thread sanitizer (pattern data shared between the editor and audio threads)"
  cmake -S . -B build/tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCADENZOID_WERROR=ON \
    -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O1 -g1 -DNDEBUG" \
    -DCADENZOID_SANITIZE=thread -DCADENZOID_BENCH=OFF >/dev/null
  cmake --build build/tsan -j"$jobs" --target test_pattern
  CADENZOID_SOURCE="$PWD" TSAN_OPTIONS=halt_on_error=1 ./build/tsan/tests/test_pattern --gtest_brief=1
fi

if [ -f tests/engine/SequencerConcurrencyTest.cpp ]; then
  echo "== thread sanitizer (host automation, editor, state loads and audio at once)"
  cmake -S . -B build/tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCADENZOID_WERROR=ON \
    -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O1 -g1 -DNDEBUG" \
    -DCADENZOID_SANITIZE=thread -DCADENZOID_BENCH=OFF >/dev/null
  cmake --build build/tsan -j"$jobs" --target test_engine
  # The plug-in reads and writes its settings: a home inside the build tree.
  CADENZOID_SOURCE="$PWD" XDG_CONFIG_HOME="$PWD/build/tsan/test-home/config" \
    XDG_DATA_HOME="$PWD/build/tsan/test-home/data" TSAN_OPTIONS=halt_on_error=1 \
    ./build/tsan/tests/test_engine --gtest_brief=1 --gtest_filter='SequencerConcurrency.*'
fi
