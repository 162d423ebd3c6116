#!/usr/bin/env bash
# Builds every preset and runs every test that can run on this machine:
#   default, asan (ASan + UBSan), tsan, x86 (gcc -m32): natively;
#   mingw64: the Windows x64 build, its tests under wine;
#   mingw32: the Windows x86 build, built only (no 32-bit wine here);
#   release: the benchmark build;
# then checks the formatting and builds a consumer against the installed package.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

step() { printf '\n=== %s\n' "$*"; }

# ctest, with its counts added to the closing tally.
passed=0
failed=0
run_ctest() {
    local log
    log=$(mktemp)
    local rc=0
    ctest "$@" 2>&1 | tee "$log" || rc=$?
    local line
    line=$(grep -E '[0-9]+ tests failed out of [0-9]+' "$log" | tail -n 1 || true)
    rm -f "$log"
    if [[ $line =~ ([0-9]+)\ tests\ failed\ out\ of\ ([0-9]+) ]]; then
        failed=$((failed + BASH_REMATCH[1]))
        passed=$((passed + BASH_REMATCH[2] - BASH_REMATCH[1]))
    fi
    return $rc
}

step "formatting"
git ls-files -z '*.h' '*.cpp' | xargs -0 clang-format --dry-run --Werror

for preset in default asan tsan x86 mingw64 mingw32 release; do
    step "build: $preset"
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset"
done

for preset in default asan tsan x86; do
    step "tests: $preset"
    run_ctest --preset "$preset"
done

step "tests: mingw64 under wine"
export WINEPREFIX=$root/build/mingw64/wineprefix WINEDEBUG=-all
wineserver -k 2>/dev/null || true
if [ ! -f "$WINEPREFIX/system.reg" ]; then
    wineboot -i >/dev/null 2>&1
    wineserver -k 2>/dev/null || true
fi
wineserver -p
trap 'wineserver -k 2>/dev/null || true' EXIT
# Wine's services start detached from the test runner's pipes.
wine cmd /c exit </dev/null >/dev/null 2>&1
run_ctest --preset mingw64
wineserver -k 2>/dev/null || true
trap - EXIT

step "installed package: consumer build"
rm -rf build/consumer build/stage
cmake --install build/default --prefix build/stage >/dev/null
cmake -S tests/consumer -B build/consumer -G Ninja -DCMAKE_PREFIX_PATH="$root/build/stage" >/dev/null
cmake --build build/consumer
./build/consumer/tqge_consumer

step "all presets built"
echo "tests: $passed passed, $failed failed"
