#!/usr/bin/env bash
# Builds every preset and runs every test that can run on this machine:
#   asan (ASan + UBSan): every Linux test; tsan: the threaded tests (COM access with its
#     keep-alive threads, the calculations billed from several threads, exit with a live thread,
#     the month's run with several workers over one sample server);
#   x86 (gcc -m32): every Linux test natively, under qemu-i386 where the kernel cannot run 32-bit
#     programs, and skipped (saying so) where neither can;
#   mingw64: the Windows x64 build, its tests under wine (its benchmark is not built here);
#   mingw32: the Windows x86 build (library and tools), built only: there is no 32-bit wine here;
#   release: the library, tools and benchmark, optimised, and the soak run;
#   fuzz: each libFuzzer target briefly over its committed corpus (clang, ASan + UBSan);
#   the example's customer statement printed by headless Chromium and read back (scripts/extrato.sh);
# then checks the formatting and builds a consumer against the installed package. The default
# preset (the same tests without sanitizers) is the everyday build; nothing here needs it.
# TQGE_SEM_32_BITS=1 takes the path of a kernel that cannot run 32-bit programs, and
# TQGE_SEM_QEMU=1 that of a machine without qemu-i386 as well.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
inicio=$SECONDS
jobs=$(nproc)

step() { printf '\n=== %s (%d s)\n' "$*" $((SECONDS - inicio)); }

# ctest, with its counts added to the closing tally.
passed=0
failed=0
skipped=()
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

# Cloud kernels are often built without 32-bit support: gcc -m32 links, but the program cannot
# be started ("Exec format error"). Then the x86 tests run under qemu-i386 (user-mode emulation of
# the same binaries), or, without it, the x86 preset is only built (its layout assertions hold at
# compile time) and its tests are skipped, saying why.
x86_emulador=
x86_roda=1
sonda=$(mktemp -d)
if ! printf 'int main(void) { return 0; }\n' | gcc -m32 -x c - -o "$sonda/p" 2>/dev/null; then
    echo "gcc -m32 cannot link a program here; run scripts/setup.sh" >&2
    exit 1
fi
if [ -n "${TQGE_SEM_32_BITS:-}" ] || ! "$sonda/p" 2>/dev/null; then
    if [ -z "${TQGE_SEM_QEMU:-}" ] && command -v qemu-i386 >/dev/null &&
        qemu-i386 "$sonda/p" 2>/dev/null; then
        x86_emulador=$(command -v qemu-i386)
    else
        x86_roda=0
    fi
fi
rm -rf "$sonda"

step "formatting"
git ls-files -z '*.h' '*.cpp' | xargs -0 clang-format --dry-run --Werror

declare -A extra=(
    [x86]="-DCMAKE_CROSSCOMPILING_EMULATOR=$x86_emulador"
    [mingw64]="-DTQGE_BUILD_BENCH=OFF"
)
for preset in asan tsan x86 mingw64 mingw32 release; do
    step "build: $preset"
    # shellcheck disable=SC2086
    cmake --preset "$preset" ${extra[$preset]:-} >/dev/null
    cmake --build --preset "$preset"
done

for preset in asan tsan; do
    step "tests: $preset"
    run_ctest --preset "$preset" -j "$jobs"
done
if [ "$x86_roda" = 1 ]; then
    step "tests: x86${x86_emulador:+ under qemu-i386}"
    run_ctest --preset x86 -j "$jobs"
    [ -z "$x86_emulador" ] ||
        skipped+=("x86: tests run under qemu-i386: this kernel cannot run 32-bit x86 programs")
else
    skipped+=("x86: built, tests not run: this machine cannot run 32-bit x86 programs")
fi
skipped+=("mingw32: built, tests not run: there is no 32-bit wine here")

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
run_ctest --preset mingw64 -j "$jobs"
wineserver -k 2>/dev/null || true
trap - EXIT

step "soak: 100,000 billings on one object and on fresh objects (release)"
./build/release/bench/tqge_soak | grep -E '^(one object|fresh objects):'
passed=$((passed + 1))

step "fuzz: every target over its corpus, 20 s each"
bash scripts/fuzz.sh 20 | grep -E '^fuzz'
passed=$((passed + 1))

step "statement: the example's page printed by headless Chromium, read back"
bash scripts/extrato.sh build/release/tools/tqcalc/tqcalc
passed=$((passed + 1))

step "installed package: consumer build"
rm -rf build/consumer build/stage
cmake --install build/release --prefix build/stage >/dev/null
cmake -S tests/consumer -B build/consumer -G Ninja -DCMAKE_PREFIX_PATH="$root/build/stage" >/dev/null
cmake --build build/consumer
./build/consumer/tqge_consumer

step "all presets built"
for s in "${skipped[@]}"; do
    echo "note: $s"
done
echo "tests: $passed passed, $failed failed ($((SECONDS - inicio)) s)"
