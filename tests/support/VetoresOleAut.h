// Reading and running OLE currency vectors written in the notation of oleaut-cy-vectors.tsv:
// currency operands as raw signed integers, DECIMALs as "s=<scale>;sign=0x<byte>;m=<mantissa>".
#pragma once

#include "tqlibex/WinTypes.h"

#include <string>
#include <vector>

namespace tq::teste {

struct VetorOleAut {
    std::string op;       // add sub mul cyfromdec decfromcy decfromi2 decdiv
    std::string esquerdo; // left operand
    std::string direito;  // right operand, "-" when unused
    HRESULT hr;           // expected status
    std::string esperado; // expected result; "-" on failure; "A OR B" when either is right
    bool bWineDifere;     // wine's oleaut32 is known to answer otherwise than Windows
    std::string origem;   // file:line
};

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

// The rows of a vector file under tests/data.
std::vector<VetorOleAut> LeVetores(const std::string& arquivo);

DECIMAL LeDecimal(const std::string& texto);
std::string EscreveDecimal(const DECIMAL& d);

struct Resultado {
    HRESULT hr;
    std::string valor; // "-" on failure
};
Resultado Executa(const FuncoesOleAut& f, const VetorOleAut& v);

// Whether a result is what the row expects (any of its "OR" alternatives).
bool Confere(const VetorOleAut& v, const Resultado& r);

} // namespace tq::teste
