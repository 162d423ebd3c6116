// tqcalc's scenario files and recording: what is refused, and that a month recorded from the
// servers replays to the same billing.
#include "calculos/AmbienteCom.h"
#include "servers/amostra/CenarioAmostra.h"
#include "servers/amostra/ServidorAmostra.h"
#include "support/AmbienteRelogio.h"
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

// The customer's statement of each scenario, its customer as tqcalc passes it on: the texts it must
// hold (the month as billed, or plainly no invoice and why) and those it must not (a total without
// an invoice, a scenario's text read as markup). The date comes from the library's shifted clock.
TEST_F(Gravacao, ExtratoDeCadaCenario) {
    tq::CRelogioAjustavel relogio(tq::Momento(15, 3, 2024, 10, 30), 180);
    tq::CEscopoRelogio escopoRelogio(relogio);
    registro.DefineTexto(tq::ERaizRegistro::LocalMachine, tq::teste::kChaveAmbiente, "TQ_DATETIME",
                         "1;02/04/2024;09:00:00:0000;15/03/2024;10:00:00:0000");
    tq::detail::EsqueceConfiguracaoDoRelogio();
    for (const tq::teste::Linha& l : tq::teste::LeTabela("extratos.tsv")) {
        const tq::amostra::CDadosAmostra dados =
            tq::amostra::LeArquivoCenario(tq::teste::CaminhoDosDados(l.Texto("cenario")));
        const tq::amostra::Contrato& c = dados.contratos.at(0);
        std::string pagina;
        {
            tq::amostra::CServidorAmostra servidor(dados);
            ASSERT_EQ(servidor.Registra(), S_OK) << l.Origem();
            tq::calc::CResultado r;
            r.cliente = {tq::ParaUtf8(c.clienteNome), tq::ParaUtf8(c.clienteDocumento)};
            const tq::calc::CEscopoEscuta escuta;
            tq::calc::Calcula(tq::ParaUtf8(c.codigo), c.ponteiro, CTQMa(3, 2024), r);
            pagina = tq::calc::ParaExtrato(r);
        }
        for (const std::string& t : tq::teste::Separa(l.Texto("presentes")))
            EXPECT_NE(pagina.find(t), std::string::npos) << l.Origem() << ": missing " << t;
        for (const std::string& t : tq::teste::Separa(l.Texto("ausentes")))
            EXPECT_EQ(pagina.find(t), std::string::npos) << l.Origem() << ": holds " << t;
    }
    tq::detail::EsqueceConfiguracaoDoRelogio();
}
