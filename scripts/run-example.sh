#!/usr/bin/env bash
# Builds the library (Linux, default preset) and runs the money-value example.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset default >/dev/null
cmake --build --preset default --target tqge_exemplo_moeda
./build/default/examples/tqge_exemplo_moeda
