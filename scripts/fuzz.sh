#!/usr/bin/env bash
# Builds the fuzz preset and runs every libFuzzer target in fuzz/ for SECONDS each (default 30),
# two at a time. Each run starts from the committed corpus (fuzz/corpus/<target>, read only) and
# writes what it learns to a scratch directory, so the repository is never touched. Anything a
# target finds (a crash, a leak, a sanitizer report, a result other than the promised one) fails
# the script, naming the input kept under build/fuzz/achados/.
#   bash scripts/fuzz.sh [SECONDS] [TARGET...]      e.g. bash scripts/fuzz.sh 600 oleaut
set -euo pipefail
cd "$(dirname "$0")/.."
segundos=${1:-30}
shift || true
alvos=("$@")
if [ ${#alvos[@]} -eq 0 ]; then
    alvos=(apontamento cenario faixa moeda oleaut registro relogio)
fi

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --parallel "$(nproc)"

achados=$PWD/build/fuzz/achados
rascunho=$(mktemp -d)
trap 'rm -rf "$rascunho"' EXIT
mkdir -p "$achados"
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

roda() {
    local alvo=$1
    mkdir -p "$rascunho/$alvo"
    local rc=0 dicionario=()
    [ -f "fuzz/$alvo.dict" ] && dicionario=(-dict="fuzz/$alvo.dict")
    "build/fuzz/fuzz/fuzz_$alvo" -max_total_time="$segundos" -timeout=30 -print_final_stats=1 \
        "${dicionario[@]}" -artifact_prefix="$achados/$alvo-" "$rascunho/$alvo" \
        "fuzz/corpus/$alvo" >"$rascunho/$alvo.log" 2>&1 || rc=$?
    echo "$rc" >"$rascunho/$alvo.rc"
}

for alvo in "${alvos[@]}"; do
    roda "$alvo" &
    while [ "$(jobs -rp | wc -l)" -ge 2 ]; do
        wait -n || true
    done
done
wait

falhas=0
for alvo in "${alvos[@]}"; do
    log=$rascunho/$alvo.log
    resumo=$(grep -E '^#[0-9]+[[:space:]]+DONE' "$log" | tail -n 1 | grep -oE 'cov: [0-9]+|exec/s: [0-9]+' |
        paste -sd ' ' || true)
    if [ "$(cat "$rascunho/$alvo.rc")" = 0 ]; then
        printf 'fuzz_%s: %s s, %s\n' "$alvo" "$segundos" "$resumo"
    else
        falhas=$((falhas + 1))
        tail -n 40 "$log" >&2
        entrada=$(grep -oE 'Test unit written to .*' "$log" | sed 's/^Test unit written to //' || true)
        echo "fuzz_$alvo FOUND SOMETHING: input kept at ${entrada:-(none: see the log above)}" >&2
    fi
done
if [ "$falhas" -gt 0 ]; then
    echo "fuzz: $falhas of ${#alvos[@]} targets found something" >&2
    exit 1
fi
echo "fuzz: ${#alvos[@]} targets, $segundos s each, nothing found"
