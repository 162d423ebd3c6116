// Billing by measurement ranges against the sample server: each case of tests/data/faixas.json
// is a scenario and the band lines and service lines it must give. The spy accounts for every
// block; those the calculation keeps on purpose (the last band arrays, the measurement entries it
// takes over) are counted, then freed by the test.
#include "contracts/CalculoFaixaMedicao.h"

#include "calculos/AmbienteCom.h"
#include "servers/amostra/CenarioAmostra.h"
#include "servers/amostra/ServidorAmostra.h"
#include "support/Tabela.h"
#include "tools/tqcalc/Simulacao.h"

#include <fstream>

using nlohmann::json;
using CalculoFaixaMedicao = tq::teste::AmbienteCom;

namespace {

// Lets a test reach the protected pouring of one quantity into one range.
class CCalculoExposto : public CCalculoFaixaMedicao {
public:
    using CCalculoFaixaMedicao::AdicionaItemPorFaixa;
    using CCalculoFaixaMedicao::CCalculoFaixaMedicao;
};

} // namespace

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
// last calculation's stay among the blocks kept. A broken server's counts are refused, and what
// it sent is freed.
TEST_F(CalculoFaixaMedicao, Casos) {
    std::ifstream in(tq::teste::CaminhoDosDados("faixas.json"));
    for (const json& caso : json::parse(in)) {
        SCOPED_TRACE(caso["caso"].get<std::string>());
        const json& esperado = caso["esperado"];
        tq::amostra::CServidorAmostra servidor(tq::amostra::LeCenario(caso["cenario"].dump()));
        ASSERT_EQ(servidor.Registra(), S_OK);
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
                    json codigos = json::array();
                    for (const CRegClassificacaoGePs& cl : s.Classificacoes)
                        codigos.push_back(cl.GetCodigo());
                    classes.push_back(codigos);
                }
                EXPECT_EQ(classes, esperado["classificacoes"]);
            }
            EXPECT_EQ(servidor.Estado().Chamadas("ITQGE_Faixa", "Inicializa"), 1);
            EXPECT_EQ(calculo.GetContrato().GetPonteiroContrato(),
                      servidor.Estado().Dados().contratos[0].ponteiro);
        }
        EXPECT_EQ(espia.LiberaOsVivos(), esperado["mantidos"].get<std::size_t>())
            << "the blocks kept on purpose, and no other";
    }
}

// More service lines than the contract has ranges: the array's index error, as the suite raises it.
TEST_F(CalculoFaixaMedicao, MaisEntradasQueFaixasLancaOErroDoArray) {
    CCalculoExposto calculo("", 0, 0);
    _REG_BANDA_FAIXA_PS banda{};
    tagREG_FAIXA_PS faixa{};
    faixa.qtdBandas = 1;
    faixa.bandas = &banda;
    tagCY dez;
    dez.int64 = 100000;
    for (ULONG servico : {10u, 20u}) {
        faixa.servico = servico;
        calculo.AdicionaItemPorFaixa(dez, faixa, CArrayClassificacoes());
    }
    calculo.GetContrato().GetArrFaixas().Add(CRegFaixaContratoPs());
    CArrayItensFaixa servicos;
    try {
        calculo.GetServicosFaturamento(servicos);
        ADD_FAILURE() << "no index error";
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ(e.what(), "ArrayExp - Ind:1, Size:1, Cod:1");
    }
}
