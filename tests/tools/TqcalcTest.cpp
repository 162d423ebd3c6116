// tqcalc's scenario files and recording: what is refused, and that a month recorded from the
// servers replays to the same billing.
#include "calculos/AmbienteCom.h"
#include "servers/amostra/CenarioAmostra.h"
#include "servers/amostra/ServidorAmostra.h"
#include "support/Tabela.h"
#include "tools/tqcalc/Simulacao.h"

#include <fstream>

using Gravacao = tq::teste::AmbienteCom;

TEST(Cenario, ErrosNomeiamOCaminho) {
    for (const tq::teste::Linha& l : tq::teste::LeTabela("cenarios-ruins.tsv")) {
        try {
            tq::amostra::LeCenario(l.Texto("cenario"));
            ADD_FAILURE() << l.Origem() << ": accepted";
        } catch (const tq::amostra::CErroCenario& e) {
            EXPECT_NE(std::string(e.what()).find(l.Texto("mensagem")), std::string::npos)
                << l.Origem() << ": " << e.what();
        }
    }
}

// Amounts keep all their decimals from file to file, whether strings or JSON numbers.
TEST(Cenario, EscreveOQueLe) {
    const tq::amostra::CDadosAmostra lidos = tq::amostra::LeArquivoCenario(
        tq::teste::CaminhoDosDados("../../examples/coleta-residuos.json"));
    const std::string escrito = tq::amostra::EscreveCenario(lidos);
    EXPECT_EQ(tq::amostra::EscreveCenario(tq::amostra::LeCenario(escrito)), escrito);
    EXPECT_EQ(tq::amostra::LeCenario(R"({"faixas": [{"codigo": 1, "bandas": [{"preco": 2.5}]}]})")
                  .faixas[0]
                  .bandas[0]
                  .preco,
              25000);
}

// The month read from the servers through the library's normal path, written as a scenario,
// served again: the same billing, line for line.
TEST_F(Gravacao, GravarEReproduzirDaOMesmoResultado) {
    const CTQMa mes(3, 2024);
    const auto calcula = [&](const tq::amostra::CDadosAmostra& dados) {
        tq::amostra::CServidorAmostra servidor(dados);
        EXPECT_EQ(servidor.Registra(), S_OK);
        tq::calc::CResultado r;
        const tq::calc::CEscopoEscuta escuta;
        tq::calc::Calcula(dados.contratos[0].codigo, dados.contratos[0].ponteiro, mes, r);
        return tq::calc::ParaJson(r).dump();
    };
    const tq::amostra::CDadosAmostra original = tq::amostra::LeArquivoCenario(
        tq::teste::CaminhoDosDados("../../examples/coleta-residuos.json"));
    tq::amostra::CDadosAmostra gravado;
    {
        tq::amostra::CServidorAmostra servidor(original);
        ASSERT_EQ(servidor.Registra(), S_OK);
        tq::calc::CServidores servidores;
        std::string relatorio;
        ASSERT_EQ(servidores.Abre(relatorio), S_OK);
        EXPECT_EQ(relatorio, "ITQGE_Contratos: servidor local\nITQGE_Faixa: servidor local\n"
                             "ITQGE_Apontamentos: servidor local\n");
        ASSERT_EQ(tq::calc::LeEntradas(servidores, 4001, mes, gravado), S_OK);
    }
    const tq::amostra::CDadosAmostra reproduzido =
        tq::amostra::LeCenario(tq::amostra::EscreveCenario(gravado));
    EXPECT_EQ(reproduzido.apontamentos.size(), 3u) << "the month's records, and no other";
    EXPECT_EQ(calcula(reproduzido), calcula(original));
    EXPECT_EQ(espia.Vivos(), 0u) << "tqcalc frees the band arrays the ranges calculation keeps; "
                                    "nothing else may be left";
    EXPECT_EQ(espia.LiberacoesInvalidas(), 0u) << "a block freed twice";
}

// Recording from a broken server: each hostile answer is refused, and what it sent is freed.
TEST_F(Gravacao, RespostaHostilRecusadaSemPerderNada) {
    std::ifstream in(tq::teste::CaminhoDosDados("../../examples/coleta-residuos.json"));
    const nlohmann::json exemplo = nlohmann::json::parse(in);
    for (const tq::teste::Linha& l : tq::teste::LeTabela("gravacao-hostis.tsv")) {
        nlohmann::json cenario = exemplo;
        cenario["hostis"] = {{{"servidor", l.Texto("servidor")},
                              {"operacao", l.Texto("operacao")},
                              {"tipo", l.Texto("tipo")}}};
        tq::amostra::CServidorAmostra amostra(tq::amostra::LeCenario(cenario.dump()));
        ASSERT_EQ(amostra.Registra(), S_OK);
        tq::amostra::CDadosAmostra gravado;
        {
            tq::calc::CServidores servidores;
            std::string relatorio;
            ASSERT_EQ(servidores.Abre(relatorio), S_OK);
            EXPECT_EQ(tq::calc::LeEntradas(servidores, 4001, CTQMa(3, 2024), gravado),
                      tq::kDadosRuins)
                << l.Origem();
        }
        EXPECT_EQ(espia.Vivos(), 0u) << l.Origem();
    }
}
