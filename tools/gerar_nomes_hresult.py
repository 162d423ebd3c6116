#!/usr/bin/env python3
"""Generates tqlibex/diagnostics/NomesHResultGerados.cpp, the facility, Win32-code and HRESULT name tables,
from public winerror.h headers (Debian's mingw-w64-common and libwine-dev ship one each).

    python3 tools/gerar_nomes_hresult.py [mingw-w64 winerror.h [wine winerror.h]]

Selection:
- facilities: FACILITY_* numbers 0-4, 7-26, 31-42, 48-58, 60, 61 and 80-84, the 55 of the Windows
  SDK. Each number takes its name from MinGW-w64's header, else from the documented list
  tools/facilidades-documentadas.tsv (the SDK's names that neither header has, or that Wine spells
  otherwise), else from Wine's header; the generated file says where each name came from;
- Win32 codes: the ERROR_, RPC_S_, RPC_X_, EPT_S_ and OR_ families with a plain number (not an
  HRESULT) that fits the 16-bit code part;
- HRESULTs: the families listed in FAMILIAS_HRESULT with a 32-bit value.
Where one number has two names, the first in the header wins (FACILITY_SSPI before
FACILITY_SECURITY), except that a range marker (*_FIRST, *_LAST) gives way to a real name
(OLE_E_OLEVERB, not OLE_E_FIRST); the losers are listed in the generated file's comments.
"""
import re
import shutil
import subprocess
import sys
import textwrap

CABECALHO = sys.argv[1] if len(sys.argv) > 1 else "/usr/share/mingw-w64/include/winerror.h"
CABECALHO_WINE = sys.argv[2] if len(sys.argv) > 2 else "/usr/include/wine/wine/windows/winerror.h"
DOCUMENTADAS = "tools/facilidades-documentadas.tsv"
SAIDA = "tqlibex/diagnostics/NomesHResultGerados.cpp"

FACILIDADES = set(range(0, 5)) | set(range(7, 27)) | set(range(31, 43)) | set(range(48, 59)) | \
    {60, 61} | set(range(80, 85))
FAMILIAS_WIN32 = ("ERROR_", "RPC_S_", "RPC_X_", "EPT_S_", "OR_")
FAMILIAS_HRESULT = ("CO_E_", "RPC_E_", "CTL_E_", "STG_E_", "NTE_", "TYPE_E_", "OLE_E_", "MK_E_",
                    "DISP_E_", "E_", "DV_E_", "CERT_E_", "CONVERT10_E_", "REGDB_E_", "CLIPBRD_E_",
                    "MK_S_", "TRUST_E_", "STG_S_", "DIGSIG_E_", "DRAGDROP_E_", "DRAGDROP_S_",
                    "CLASS_E_", "OLE_S_", "CACHE_S_", "CACHE_E_", "OLEOBJ_S_", "OLEOBJ_E_",
                    "MEM_E_", "PERSIST_E_", "S_", "INPLACE_E_", "INPLACE_S_", "RPC_S_", "VIEW_E_",
                    "VIEW_S_", "DATA_S_", "CONVERT10_S_", "CO_S_")

NUMERO = r"(0x[0-9A-Fa-f]+|[0-9]+)L?"
RE_FACILIDADE = re.compile(r"^#define\s+(FACILITY_\w+)\s+" + NUMERO + r"\s*$")
RE_WIN32 = re.compile(r"^#define\s+(\w+)\s+__MSABI_LONG\(" + NUMERO + r"\)\s*$")
RE_HRESULT = re.compile(r"^#define\s+(\w+)\s+(?:_HRESULT_TYPEDEF_\(|\(\(HRESULT\))" + NUMERO + r"\)\s*$")


def le(caminho):
    facilidades, win32, hresults = {}, {}, {}
    repetidos = []

    def marcador(nome):
        return nome.endswith(("_FIRST", "_LAST"))

    def guarda(tabela, valor, nome):
        if valor not in tabela:
            tabela[valor] = nome
        elif marcador(tabela[valor]) and not marcador(nome):
            repetidos.append((tabela[valor], nome))
            tabela[valor] = nome
        else:
            repetidos.append((nome, tabela[valor]))

    with open(caminho, encoding="latin-1") as f:
        for linha in f:
            m = RE_FACILIDADE.match(linha)
            if m:
                valor = int(m.group(2), 0)
                if valor in FACILIDADES:
                    guarda(facilidades, valor, m.group(1))
                continue
            m = RE_WIN32.match(linha)
            if m and m.group(1).startswith(FAMILIAS_WIN32):
                valor = int(m.group(2), 0)
                if valor <= 0xFFFF:
                    guarda(win32, valor, m.group(1))
                continue
            m = RE_HRESULT.match(linha)
            if m and m.group(1).startswith(FAMILIAS_HRESULT):
                guarda(hresults, int(m.group(2), 0) & 0xFFFFFFFF, m.group(1))
    return facilidades, win32, hresults, repetidos


def facilidades_completas(mingw):
    """The facility table merged from the three sources, and the source of each name."""
    documentadas = {}
    with open(DOCUMENTADAS, encoding="ascii") as f:
        for linha in f:
            campos = linha.rstrip("\n").split("\t")
            if linha.startswith("#") or campos[0] == "numero":
                continue
            documentadas[int(campos[0])] = campos[1]
    wine = le(CABECALHO_WINE)[0]
    nomes, origens = {}, {}
    for origem, tabela_ in (("mingw-w64", mingw), ("documented", documentadas), ("wine", wine)):
        for numero, nome in tabela_.items():
            if numero in FACILIDADES and numero not in nomes:
                nomes[numero], origens[numero] = nome, origem
    faltam = FACILIDADES - set(nomes)
    if faltam:
        sys.exit("no name for facilities %s" % sorted(faltam))
    return nomes, origens


def tabela(nome, itens, largura):
    linhas = ["const NomeNumero %s[] = {" % nome]
    for valor, texto in sorted(itens.items()):
        linhas.append("    {0x%0*X, \"%s\"}," % (largura, valor, texto))
    linhas.append("};")
    return "\n".join(linhas)


def main():
    facilidades, win32, hresults, repetidos = le(CABECALHO)
    facilidades, origens = facilidades_completas(facilidades)
    familias = {f: sum(1 for n in win32.values() if n.startswith(f)) for f in FAMILIAS_WIN32}
    partes = [
        "// Generated by tools/gerar_nomes_hresult.py from mingw-w64's and wine's winerror.h and the",
        "// documented facility list; do not edit.",
        "// %d facility names, %d Win32 code names (%s), %d HRESULT names."
        % (len(facilidades), len(win32), ", ".join("%d %s" % (n, f) for f, n in familias.items()),
           len(hresults)),
        "// A number with two names keeps the first in the header (range markers give way); passed over:",
    ]
    partes += ["//   %s (kept %s)" % r for r in repetidos]
    for origem in ("mingw-w64", "documented", "wine"):
        numeros = sorted(n for n, o in origens.items() if o == origem)
        texto = "Facilities from %s: %s" % (origem, " ".join(str(n) for n in numeros))
        partes += ["// " + l for l in textwrap.wrap(texto, 90, subsequent_indent="  ")]
    partes += [
        '#include "tqlibex/diagnostics/NomesHResultTabelas.h"',
        "",
        "namespace tq::detail {",
        "",
        tabela("kFacilidades", facilidades, 4),
        "",
        tabela("kCodigosWin32", win32, 4),
        "",
        tabela("kHResults", hresults, 8),
        "",
        "const Tabela kTabelaFacilidades = {kFacilidades, sizeof kFacilidades / sizeof kFacilidades[0]};",
        "const Tabela kTabelaCodigosWin32 = {kCodigosWin32, sizeof kCodigosWin32 / sizeof kCodigosWin32[0]};",
        "const Tabela kTabelaHResults = {kHResults, sizeof kHResults / sizeof kHResults[0]};",
        "",
        "} // namespace tq::detail",
        "",
    ]
    with open(SAIDA, "w", encoding="ascii", newline="\n") as f:
        f.write("\n".join(partes))
    if shutil.which("clang-format"):
        subprocess.run(["clang-format", "-i", SAIDA], check=True)
    print("%s: %d facilities, %d Win32 codes %s, %d HRESULTs, %d duplicates"
          % (SAIDA, len(facilidades), len(win32), familias, len(hresults), len(repetidos)))


if __name__ == "__main__":
    main()
