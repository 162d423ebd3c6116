// Billing by measurement ranges against the sample server: each case of tests/data/faixas.json
// is a scenario and the band lines and service lines it must give. The spy accounts for every
// block; those the calculation keeps on purpose (the last band arrays, the measurement entries it
// takes over) are counted, then freed by the test.
#include "contracts/CalculoFaixaMedicao.h"

#include "servers/amostra/CenarioAmostra.h"
#include "servers/amostra/ServidorAmostra.h"
#include "support/EspiaContadora.h"
#include "support/Tabela.h"
#include "tools/tqcalc/Simulacao.h"
#include "tqlibex/Registro.h"

#include <gtest/gtest.h>

#include <fstream>

using nlohmann::json;

namespace {

class CalculoFaixaMedicao : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))); }
    void TearDown() override {
        EXPECT_EQ(espia.Vivos(), 0u) << "a block nobody freed";
        EXPECT_EQ(espia.LiberacoesInvalidas(), 0u) << "a block freed twice, or not ours";
        CoUninitialize();
    }
    tq::CRegistroEmMemoria registro;
    tq::CEscopoRegistro escopoRegistro{registro};
    tq::teste::EspiaContadora espia;
};

// Lets a test reach the protected pouring of one quantity into one range.
class CCalculoExposto : public CCalculoFaixaMedicao {
public:
    using CCalculoFaixaMedicao::AdicionaItemPorFaixa;
    using CCalculoFaixaMedicao::CCalculoFaixaMedicao;
};

} // namespace

TEST_F(CalculoFaixaMedicao, Casos) {
    std::ifstream in(tq::teste::CaminhoDosDados("faixas.json"));
    for (const json& caso : json::parse(in)) {
        SCOPED_TRACE(caso["caso"].get<std::string>());
        const json& esperado = caso["esperado"];
        tq::amostra::CServidorAmostra servidor(tq::amostra::LeCenario(caso["cenario"].dump()));
        ASSERT_EQ(servidor.Registra(), S_OK);
        {
            CCalculoFaixaMedicao calculo("sessao", 7, 70000);
            const tq::amostra::Contrato& c = servidor.Estado().Dados().contratos[0];
            CRegContratoPs contrato;
            contrato.SetCodigo(c.codigo.c_str());
            for (const tq::amostra::FaixaContrato& f : c.faixas) {
                CRegFaixaContratoPs faixa;
                faixa.SetCodigoFaixa(f.codigo);
                CRegClassificacaoGePs classificacao;
                classificacao.SetCodigo(f.classificacoes[0].codigo);
                faixa.GetArrClassificacoes().Add(classificacao);
                contrato.GetArrFaixas().Add(faixa);
            }
            calculo.SetContrato(contrato);
            CTQMa ma;
            ASSERT_TRUE(CTQMa::Le(caso["mes"].get<std::string>().c_str(), ma));
            EXPECT_EQ(tq::calc::Status(calculo.CalculaItens(ma)), esperado["status"]);
            EXPECT_EQ(json::parse(tq::calc::ItensFaixa(calculo.GetItens()).dump()),
                      esperado["itens"]);
            CArrayItensFaixa servicos;
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
        }
        EXPECT_EQ(espia.LiberaOsVivos(), esperado["mantidos"].get<std::size_t>())
            << "the blocks kept on purpose, and no other";
    }
}

// Each calculation frees the previous one's band arrays; only the last calculation's stay.
TEST_F(CalculoFaixaMedicao, OCalculoSeguinteLiberaAsBandas) {
    tq::amostra::CServidorAmostra servidor(tq::amostra::LeCenario(R"({
        "contrato": {"codigo": "12345", "faixas": [{"codigo": 7}]},
        "faixas": [{"codigo": 7, "servico": 10, "bandas": [{"inferior": 1, "superior": 0, "preco": "2"}]}]})"));
    ASSERT_EQ(servidor.Registra(), S_OK);
    CCalculoFaixaMedicao calculo("", 0, 0);
    CRegContratoPs contrato;
    contrato.SetCodigo("12345");
    contrato.GetArrFaixas().Add(CRegFaixaContratoPs());
    contrato.GetArrFaixas()[0].SetCodigoFaixa(7);
    calculo.SetContrato(contrato);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(calculo.CalculaItens(CTQMa(3, 2024)), S_OK);
    EXPECT_EQ(espia.Vivos(), 1u);
    tq::LiberaFaixa(calculo.GetFaixas()[0]);
    EXPECT_EQ(calculo.GetContrato().GetPonteiroContrato(), 1234u);
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

// A broken server's counts are refused, and what it sent is freed.
TEST_F(CalculoFaixaMedicao, RespostasHostisSaoRecusadas) {
    for (
        const char* hostil :
        {R"({"servidor": "ITQGE_Faixa", "operacao": "LeFaixa", "tipo": "ContagemSemArray"})",
         R"({"servidor": "ITQGE_Faixa", "operacao": "LeFaixa", "tipo": "ContagemMaiorQueOArray"})",
         R"({"servidor": "ITQGE_Apontamentos", "operacao": "Busca", "tipo": "ContagemMaiorQueOArray"})",
         R"({"servidor": "ITQGE_Apontamentos", "operacao": "Busca", "tipo": "ItensMaiorQueOArray"})"}) {
        SCOPED_TRACE(hostil);
        tq::amostra::CServidorAmostra servidor(tq::amostra::LeCenario(
            std::string(R"({"contrato": {"codigo": "12345", "faixas": [{"codigo": 7}]},
              "faixas": [{"codigo": 7, "servico": 10, "bandas": [{"inferior": 1, "superior": 0, "preco": "2"}]}],
              "apontamentos": [{"mes": "03/2024", "ponteiro": 1, "contrato": 1234,
                                "itens": [{"servico": 10, "quantidade": "5"}]}],
              "hostis": [)") +
            hostil + "]}"));
        ASSERT_EQ(servidor.Registra(), S_OK);
        {
            CCalculoFaixaMedicao calculo("", 0, 0);
            CRegContratoPs contrato;
            contrato.SetCodigo("12345");
            contrato.GetArrFaixas().Add(CRegFaixaContratoPs());
            contrato.GetArrFaixas()[0].SetCodigoFaixa(7);
            calculo.SetContrato(contrato);
            EXPECT_EQ(calculo.CalculaItens(CTQMa(3, 2024)), static_cast<HRESULT>(0x800706F7u));
            EXPECT_TRUE(calculo.GetItens().IsEmpty());
        }
        espia.LiberaOsVivos(); // the entries taken over and the bands the next calculation frees
    }
}
