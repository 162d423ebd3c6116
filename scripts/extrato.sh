#!/usr/bin/env bash
# The bundled example's customer statement, checked the way a customer meets it: tqcalc writes the
# page, headless Chromium prints it to PDF and takes a screenshot of it, and poppler reads the PDF
# back. It must be one A4 page holding the invoice total in figures and in words and every line
# of the month.
#   bash scripts/extrato.sh [TQCALC] [--png FILE]
# TQCALC defaults to the default preset's build; --png keeps the screenshot (the README shows
# docs/extrato-exemplo.png). Needs chromium and poppler-utils (scripts/setup.sh).
set -euo pipefail
cd "$(dirname "$0")/.."
tqcalc=build/default/tools/tqcalc/tqcalc
png=
while [ $# -gt 0 ]; do
    case $1 in
        --png) png=$2; shift 2 ;;
        *) tqcalc=$1; shift ;;
    esac
done
for p in chromium pdfinfo pdftotext; do
    command -v "$p" >/dev/null || { echo "extrato: $p is missing; run scripts/setup.sh" >&2; exit 1; }
done
[ -x "$tqcalc" ] || { echo "extrato: $tqcalc is not built" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
falha() {
    echo "extrato: $*" >&2
    exit 1
}

# The page's date comes from the library's clock, shifted to a fixed day here (the day the month
# would be billed), so that the screenshot is the same from run to run.
agora=$(date '+%d/%m/%Y;%H:%M:%S')
printf '%s\r\n\r\n%s\r\n"TQ_DATETIME"="1;02/04/2024;09:00:00:0000;%s:0000"\r\n' \
    'Windows Registry Editor Version 5.00' \
    '[HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\Session Manager\Environment]' \
    "$agora" >"$work/relogio.reg"
TQ_REGISTRY_FILE=$work/relogio.reg "$tqcalc" examples/coleta-residuos.json --mes 03/2024 \
    --extrato "$work/extrato.html" >/dev/null

# A profile of its own each time; nothing reaches the network (the page has no outside file).
navegador() {
    local perfil
    perfil=$(mktemp -d "$work/perfil.XXXXXX")
    timeout 120 chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
        --disable-background-networking --disable-component-update --disable-sync \
        --user-data-dir="$perfil" "$@" "file://$work/extrato.html" >>"$work/chromium.log" 2>&1 ||
        { cat "$work/chromium.log" >&2; falha "chromium failed"; }
}
# Without header and footer; a Chromium that does not know the flag prints the file's URL in
# them, which the check below catches.
navegador --no-pdf-header-footer --print-to-pdf="$work/extrato.pdf"
navegador --hide-scrollbars --window-size=794,1123 --screenshot="$work/extrato.png"

info=$(pdfinfo "$work/extrato.pdf")
paginas=$(sed -n 's/^Pages: *//p' <<<"$info")
[ "$paginas" = 1 ] || falha "the statement takes $paginas pages, not one"
grep -q '^Page size:.*(A4)' <<<"$info" || falha "not A4: $(grep '^Page size' <<<"$info")"

# Each line as pdftotext lays it out; the words of the total, wherever the page wraps them.
linhas=$(pdftotext -layout "$work/extrato.pdf" -)
corrido=$(pdftotext "$work/extrato.pdf" - | tr -s '[:space:]' ' ')
faltam=0
confere() {
    grep -qE -- "$1" <<<"$linhas" || { echo "extrato: the PDF lacks /$1/" >&2; faltam=$((faltam + 1)); }
}
confere 'Emitido em +02/04/2024'
confere 'Cliente +Prefeitura Municipal de Vila Serena'
confere 'R\$ 41\.502,93'
confere '101 +Coleta de resíduos - horas de caminhão compactador +40,00 +185,50 +7\.420,00 +0,00'
confere 'FRANQUIA +Franquia de 40,00 cobrada inteira'
confere '101 +Coleta de resíduos - horas de caminhão compactador +7,25 +210,00 +1\.522,50 +0,00'
confere 'EXCEDENTE +O excedente de 7,25'
confere '102 +Operador de apoio +12,50 +45,83333333 +572,92 +15,00'
confere 'Total por tempo +9\.515,42 +15,00'
confere '1 a 100 +cheia: 100,00 × 95,00 = 9\.500,00'
confere '101 a 300 +cheia: 200,00 × 82,50 = 16\.500,00'
confere '301 em diante +aberta: 85,75 × 70,00 = 6\.002,50'
confere 'Faturado: 385,75 ao preço médio ponderado de 82,9618 = R\$ 32\.002,51'
confere 'Serviços por tempo +9\.515,42'
confere 'Serviços medidos +32\.002,51'
confere 'Valor bruto +41\.517,93'
confere 'Desconto +-15,00'
confere 'Total da nota \(R\$\) +41\.502,93'
confere 'Apontamentos listados na nota: 240301 - 240302'
grep -q 'quarenta e um mil quinhentos e dois reais e noventa e três centavos' <<<"$corrido" ||
    { echo "extrato: the PDF lacks the total in words" >&2; faltam=$((faltam + 1)); }
if grep -q 'file:' <<<"$corrido"; then
    echo "extrato: the PDF carries Chromium's header or footer" >&2
    faltam=$((faltam + 1))
fi
[ "$faltam" = 0 ] || falha "$faltam checks failed; the page's text:"$'\n'"$linhas"

# The screenshot: a PNG of the window's size.
tamanho=$(od -An -tu1 -j16 -N8 "$work/extrato.png" | awk '{ print $3 * 256 + $4 "x" $7 * 256 + $8 }')
[ "$tamanho" = 794x1123 ] || falha "the screenshot is $tamanho, not 794x1123"
if [ -n "$png" ]; then
    cp "$work/extrato.png" "$png"
fi
echo "extrato: one A4 page, the total in figures and in words and every line (PDF $paginas page; screenshot $tamanho)"
