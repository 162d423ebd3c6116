// The two calculations' results as tqcalc's --json prints them: amounts as plain decimal strings
// with all their decimals ("." and four; item prices eight), statuses as eight hex digits.
#pragma once

#include "contracts/CalculoFaixaMedicao.h"
#include "followup/CalculoApontamentos.h"

#include <nlohmann/json.hpp>

namespace tq::calc {

std::string Status(HRESULT hr);
std::string Quantia(tagCY cy, int nDecimais = 4);

// {"servico", "quantidade", "precoUnitario", "valor", "descTotal", "descricao"} per line.
nlohmann::json LinhasApontamentos(const CCalculoApontamentos::CArrayCalculados& linhas);

// {"servico", "quantidade", "valor"} per band line or condensed service line.
nlohmann::json ItensFaixa(const CArrayItensFaixa& itens);

} // namespace tq::calc
