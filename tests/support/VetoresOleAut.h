// Reading and running OLE currency vectors written in the notation of oleaut-cy-vectors.tsv:
// currency operands as raw signed integers, DECIMALs as "s=<scale>;sign=0x<byte>;m=<mantissa>".
#pragma once

#include "support/Tabela.h"
#include "tqlibex/base/WinTypes.h"

#include <string>
#include <vector>

namespace tq::teste {

// One set of the seven functions: the platform's or the portable ones.
struct FuncoesOleAut {
    HRESULT (*add)(CY, CY, LPCY);
    HRESULT (*sub)(CY, CY, LPCY);
    HRESULT (*mul)(CY, CY, LPCY);
    HRESULT (*decFromCy)(CY, DECIMAL*);
    HRESULT (*decFromI2)(SHORT, DECIMAL*);
    HRESULT (*decDiv)(LPDECIMAL, LPDECIMAL, LPDECIMAL);
    HRESULT (*cyFromDec)(DECIMAL*, CY*);
};
FuncoesOleAut FuncoesPortaveis();
FuncoesOleAut FuncoesDaPlataforma();

DECIMAL LeDecimal(const std::string& texto);
std::string EscreveDecimal(const DECIMAL& d);

struct Resultado {
    HRESULT hr;
    std::string valor; // "-" on failure
};
// One row of a vector file: op (add sub mul cyfromdec decfromcy decfromi2 decdiv), left, right
// ("-" when unused), expected_hr, expected_raw ("-" on failure; "A OR B" when either is right).
Resultado Executa(const FuncoesOleAut& f, const Linha& v);

// Whether a result is what the row expects (any of its "OR" alternatives).
bool Confere(const Linha& v, const Resultado& r);

} // namespace tq::teste
