// tqcalc's faces: the same result for a person (text), for scripts (JSON), for the customer (the
// HTML statement). They show what the core computed and read; they compute nothing of their own.
#pragma once

#include "tools/tqcalc/Nucleo.h"

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>

namespace tq::calc {

// The `--json` form, in a fixed shape: {"apontamentos": {...}, "faixas": {...}, "totalNota",
// "avisos"} (a calculation not run is left out; "totalNota" is null without an invoice).
nlohmann::ordered_json ParaJson(const CResultado& r);
// The same, compact (as ParaJson(r).dump() writes it), appended to `s`.
void AcrescentaJson(std::string& s, const CResultado& r);
// A UTF-8 text inside JSON quotes, escaped as nlohmann's dump escapes it.
void AcrescentaEscapado(std::string& s, std::string_view utf8);
nlohmann::ordered_json LinhasApontamentos(const CCalculoApontamentos::CArrayCalculados& linhas);
nlohmann::ordered_json ItensFaixa(const CArrayItensFaixa& itens);

// Every line with the reason it is there, what was not reached and why, and the invoice.
std::string ParaTexto(const CResultado& r);

// The customer's statement: one self-contained HTML page (UTF-8, for the screen and for A4
// paper) with the month as billed, or, without an invoice, plainly not one and why.
std::string ParaExtrato(const CResultado& r);

// The call that stopped a step, in a sentence: "ITQGE_Faixa::LeFaixa respondeu 0x... NOME"
// (pszPasso names the step when no call of it failed).
std::string TextoDaFalha(const CPasso& p, const char* pszPasso);

// One warning as a sentence: the calculation, the service, the step and its exact value.
std::string TextoDoAviso(const CAviso& a);

std::string Quantia(tagCY cy, int nDecimais = 4);

} // namespace tq::calc
