#!/usr/bin/env bash
# Builds tqcalc (Linux, default preset) and bills the bundled example: a waste-collection
# contract in March 2024, both calculations, every line explained.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset default >/dev/null
cmake --build --preset default --target tqcalc
./build/default/tools/tqcalc/tqcalc examples/coleta-residuos.json --mes 03/2024
