#!/usr/bin/env bash
# Installs everything the project needs on Debian 12 (as root; non-interactive; safe to repeat):
# compilers for every preset, wine for the Windows tests, qemu-user for the 32-bit tests on
# kernels that cannot run 32-bit programs, GoogleTest, Google Benchmark (and its
# sources, for the Windows benchmark build), CLI11, nlohmann-json, clang-format, clang with
# libFuzzer and llvm-symbolizer for the fuzz targets, and Chromium with poppler's tools to print
# tqcalc's statement the way a customer sees it (in Arial's metrics) and read the PDF back.
set -euo pipefail

packages=(
    g++ g++-multilib cmake ninja-build make git python3 pkg-config dpkg-dev
    googletest libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev nlohmann-json3-dev
    clang-format
    clang libclang-rt-14-dev llvm
    g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix mingw-w64-tools
    wine wine64 libwine-dev
    qemu-user
    chromium poppler-utils fonts-liberation
)

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "setup: installing ${missing[*]}"
    apt-get update -qq
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

# Google Benchmark for the Windows build comes from Debian's source package of the same version
# as the native one. Its absence only skips the Windows benchmark, so it warns rather than fails.
bench_dir=/usr/local/src/tqge/benchmark
if [ ! -f "$bench_dir/CMakeLists.txt" ]; then
    (
        set -e
        if ! grep -rqs '^Types:.*deb-src' /etc/apt/sources.list.d/ && ! grep -qs '^deb-src' /etc/apt/sources.list; then
            # The machine's own mirrors, for sources.
            for f in /etc/apt/sources.list.d/*.sources; do
                [ -f "$f" ] || continue
                sed 's/^Types: deb$/Types: deb-src/' "$f" > "/etc/apt/sources.list.d/tqge-src-$(basename "$f")"
            done
            apt-get update -qq
        fi
        work=$(mktemp -d)
        trap 'rm -rf "$work"' EXIT
        cd "$work"
        apt-get source -qq --download-only benchmark >/dev/null 2>&1
        mkdir -p "$bench_dir"
        tar -xzf benchmark_*.orig.tar.gz -C "$bench_dir" --strip-components=1
    ) || echo "setup: warning: Google Benchmark sources unavailable; the Windows benchmark is skipped" >&2
fi
echo "setup: ready"
