#include "tools/tqcalc/ResultadoJson.h"

#include "foundation/GeCurrencyEx.h"

#include <cstdio>

namespace tq::calc {

std::string Status(HRESULT hr) {
    char texto[16];
    std::snprintf(texto, sizeof texto, "0x%08X", static_cast<unsigned>(hr));
    return texto;
}

std::string Quantia(tagCY cy, int nDecimais) {
    return CGeCurrencyEx::TextoDecimal(cy.int64, nDecimais).str();
}

nlohmann::json LinhasApontamentos(const CCalculoApontamentos::CArrayCalculados& linhas) {
    nlohmann::json v = nlohmann::json::array();
    for (const REG_APONTAMENTO_CALCULADO& l : linhas)
        v.push_back({{"servico", l.servico},
                     {"quantidade", Quantia(l.quantidade)},
                     {"precoUnitario", Quantia(l.precoUnitario, 8)},
                     {"valor", Quantia(l.valor)},
                     {"descTotal", Quantia(l.descTotal)},
                     {"descricao", TextoDoCampo(l.descricao, sizeof l.descricao).str()}});
    return v;
}

nlohmann::json ItensFaixa(const CArrayItensFaixa& itens) {
    nlohmann::json v = nlohmann::json::array();
    for (const CItemCalculoFaixaMedicao& i : itens)
        v.push_back({{"servico", i.Servico},
                     {"quantidade", Quantia(i.Quantidade)},
                     {"valor", Quantia(i.Valor)}});
    return v;
}

} // namespace tq::calc
