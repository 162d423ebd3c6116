// Billing by measurement ranges against the sample server: each case of tests/data/faixas.json
// is a scenario and the band lines and service lines it must give. The spy accounts for every
// block: what the calculation keeps on purpose is the band arrays of its last calculation, and
// nothing else (the measurement entries of the month's records are freed once totalled).
#include "contracts/CalculoFaixaMedicao.h"

#include "calculos/AmbienteCom.h"
#include "servers/amostra/CenarioAmostra.h"
#include "servers/amostra/ServidorAmostra.h"
#include "support/Tabela.h"
#include "tools/tqcalc/Simulacao.h"

#include <fstream>
#include <set>

using nlohmann::json;
using CalculoFaixaMedicao = tq::teste::AmbienteCom;

// The contract as the client holds it: its ranges, each with its first classification.
CRegContratoPs Contrato(const tq::amostra::Contrato& c) {
    CRegContratoPs contrato;
    contrato.SetCodigo(c.codigo.c_str());
    for (const tq::amostra::FaixaContrato& f : c.faixas) {
        CRegFaixaContratoPs faixa;
        faixa.SetCodigoFaixa(f.codigo);
        CRegClassificacaoGePs classificacao;
        if (!f.classificacoes.empty()) {
            classificacao.SetCodigo(f.classificacoes[0].codigo);
            faixa.GetArrClassificacoes().Add(classificacao);
        }
        contrato.GetArrFaixas().Add(faixa);
    }
    return contrato;
}

// "vezes" calculations on one object: each frees the previous one's band arrays, so only the
// last calculation's stay alive, the very blocks GetFaixas shows, and the destructor leaves them.
// A broken server's counts are refused, and what it sent is freed.
TEST_F(CalculoFaixaMedicao, Casos) {
    std::ifstream in(tq::teste::CaminhoDosDados("faixas.json"));
    for (const json& caso : json::parse(in)) {
        SCOPED_TRACE(caso["caso"].get<std::string>());
        const json& esperado = caso["esperado"];
        tq::amostra::CServidorAmostra servidor(tq::amostra::LeCenario(caso["cenario"].dump()));
        ASSERT_EQ(servidor.Registra(), S_OK);
        std::set<const void*> bandas;
        {
            CCalculoFaixaMedicao calculo("sessao", 7, 70000);
            calculo.SetContrato(Contrato(servidor.Estado().Dados().contratos[0]));
            CTQMa ma;
            ASSERT_TRUE(CTQMa::Le(caso["mes"].get<std::string>().c_str(), ma));
            for (int i = caso.value("vezes", 1); i > 0; --i)
                EXPECT_EQ(tq::calc::Status(calculo.CalculaItens(ma)), esperado["status"]);
            EXPECT_EQ(json::parse(tq::calc::ItensFaixa(calculo.GetItens()).dump()),
                      esperado["itens"]);
            CArrayItensFaixa servicos;
            servicos.Add(CItemCalculoFaixaMedicao()); // what the caller had goes
            calculo.GetServicosFaturamento(servicos);
            EXPECT_EQ(json::parse(tq::calc::ItensFaixa(servicos).dump()), esperado["servicos"]);
            if (esperado.contains("classificacoes")) {
                json classes = json::array();
                for (const CItemCalculoFaixaMedicao& s : servicos) {
                    json& codigos = classes.emplace_back(json::array());
                    for (const CRegClassificacaoGePs& cl : s.Classificacoes)
                        codigos.push_back(cl.GetCodigo());
                }
                EXPECT_EQ(classes, esperado["classificacoes"]);
            }
            EXPECT_EQ(servidor.Estado().Chamadas("ITQGE_Faixa", "Inicializa"), 1);
            EXPECT_EQ(calculo.GetContrato().GetPonteiroContrato(),
                      servidor.Estado().Dados().contratos[0].ponteiro);
            for (const tagREG_FAIXA_PS& faixa : calculo.GetFaixas())
                if (faixa.bandas)
                    bandas.insert(faixa.bandas);
        }
        EXPECT_EQ(bandas.size(), esperado["bandasMantidas"].get<std::size_t>());
        EXPECT_EQ(espia.OsVivos(), bandas)
            << "only the band arrays of the last calculation are kept";
        EXPECT_EQ(espia.LiberacoesInvalidas(), 0u) << "a block freed twice";
        espia.LiberaOsVivos();
    }
}
