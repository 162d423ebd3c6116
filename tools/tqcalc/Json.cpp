#include "tools/tqcalc/Faces.h"
#include "tools/tqcalc/Formato.h"

namespace tq::calc {

using json = nlohmann::ordered_json;

std::string Quantia(tagCY cy, int nDecimais) {
    return Quantia(cy.int64, nDecimais);
}

json LinhasApontamentos(const CCalculoApontamentos::CArrayCalculados& linhas) {
    json v = json::array();
    for (const REG_APONTAMENTO_CALCULADO& l : linhas)
        v.push_back({{"servico", l.servico},
                     {"quantidade", Quantia(l.quantidade)},
                     {"precoUnitario", Quantia(l.precoUnitario, 8)},
                     {"valor", Quantia(l.valor)},
                     {"descTotal", Quantia(l.descTotal)},
                     {"descricao", ParaUtf8(TextoDoCampo(l.descricao, sizeof l.descricao).str())}});
    return v;
}

json ItensFaixa(const CArrayItensFaixa& itens) {
    json v = json::array();
    for (const CItemCalculoFaixaMedicao& i : itens)
        v.push_back({{"servico", i.Servico},
                     {"quantidade", Quantia(i.Quantidade)},
                     {"valor", Quantia(i.Valor)}});
    return v;
}

json ParaJson(const CResultado& r) {
    json j = json::object();
    if (r.bApontamentos)
        j["apontamentos"] = {{"status", Status(r.hrApontamentos)},
                             {"linhas", LinhasApontamentos(r.linhas)},
                             {"valor", Quantia(r.valor)},
                             {"desconto", Quantia(r.desconto)},
                             {"codigos", ParaUtf8(r.codigos.str())}};
    if (r.bFaixas)
        j["faixas"] = {{"status", Status(r.hrFaixas)},
                       {"itens", ItensFaixa(r.itens)},
                       {"servicos", ItensFaixa(r.servicos)}};
    j["totalNota"] = r.bNota ? json(Quantia(r.notaTotal / 100, 2)) : json(nullptr);
    j["avisos"] = json::array();
    for (const CAviso& a : r.avisos)
        j["avisos"].push_back({{"calculo", a.calculo == CAviso::Apontamentos ? "apontamentos"
                                           : a.calculo == CAviso::Faixas     ? "faixas"
                                                                             : "nota"},
                               {"servico", a.servico},
                               {"texto", TextoDoAviso(a)}});
    return j;
}

} // namespace tq::calc
