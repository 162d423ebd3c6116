// How tqcalc writes amounts and statuses for people and for files: one place, so that the text,
// the JSON and the statement say the same thing the same way. Every text here is UTF-8.
#pragma once

#include "tools/tqcalc/Exato.h"
#include "tqlibex/base/WinTypes.h"

#include <string>

namespace tq::calc {

// "0x800706BA".
std::string Status(HRESULT hr);
// "0x800706BA RPC_S_SERVER_UNAVAILABLE" with every name the library knows for the value: its
// symbolic name, the Win32 code's name, the facility and the suite's own description.
std::string NomeDoStatus(HRESULT hr);
// Plain decimal with every decimal: "1234.5678" (files, JSON), as CGeCurrencyEx::TextoDecimal
// writes it; nDecimais from 0 to 18.
std::string Quantia(LONGLONG bruto, int nDecimais = 4);
void AcrescentaQuantia(std::string& s, LONGLONG bruto, int nDecimais);
// The Brazilian form, every decimal kept: "1.234,5678", "-0,50".
std::string Brasileiro(LONGLONG bruto, int nDecimais);
std::string Brasileiro(const CExato& v, int nDecimais);
// A four-decimal raw value shown in cents, as an invoice shows it (the value is whole cents).
std::string Reais(LONGLONG bruto4);

// Half away from zero to whole cents, on a raw value with `nDecimais` decimals; the result is
// a four-decimal raw value (its last two digits zero).
CExato CentavosDe(const CExato& v, int nDecimais);

// A column `largura` characters wide (UTF-8 counted by character), aligned right unless
// bDireita is false; a longer text is left whole.
std::string Coluna(const std::string& utf8, int largura, bool bDireita = true);

// The range a raw currency value can hold, in words and figures, for warnings.
extern const char* const kAlcanceDaMoeda;

} // namespace tq::calc
