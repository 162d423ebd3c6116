// tqcalc_gera_mes: a month of many contracts for trying the billing run (tqcalc lote), the same
// for a given seed everywhere.
//
//   tqcalc_gera_mes MES.json --contratos 10000 [--semente 2024] [--mes 03/2024] [--falhos 50]
//                   [--sem-arredondamento]
//   tqcalc_gera_mes --pasta CASOS --contratos 500 ...     one scenario file per contract
//   tqcalc_gera_mes MES.json --lista LISTA.txt ...        the codes too, one a line
#include "foundation/TQDma.h"
#include "servers/amostra/CenarioAmostra.h"
#include "tools/tqcalc/GeraMes.h"
#include "tools/tqcalc/LinhaDeComando.h"
#include "tqlibex/base/TQString.h"
#include "tqlibex/system/Plataforma.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <fstream>

namespace {

[[noreturn]] void Sai(int codigo, const std::string& texto) {
    tq::EscreveTexto(tq::EFluxo::Erro, "tqcalc_gera_mes: " + texto + "\n");
    std::exit(codigo);
}

void Grava(const std::string& caminho, const std::string& texto) {
    std::ofstream f(caminho, std::ios::binary);
    f << texto;
    if (!f.flush())
        Sai(1, caminho + ": não foi possível gravar");
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("tqcalc_gera_mes: um mês de muitos contratos para o lote do tqcalc, sempre o "
                 "mesmo para a mesma semente.",
                 "tqcalc_gera_mes");
    tq::calc::EmPortugues(app);
    tq::calc::COpcoesMes o;
    std::string arquivo, pasta, lista, mes = "03/2024";
    app.add_option("arquivo", arquivo, "o cenário do mês, com \"contratos\"")->type_name("");
    app.add_option("--pasta", pasta, "um cenário por contrato nesta pasta")->type_name("PASTA");
    app.add_option("--lista", lista, "os códigos dos contratos, um por linha")
        ->type_name("LISTA.txt");
    app.add_option("--contratos", o.nContratos, "quantos contratos")->type_name("N");
    app.add_option("--semente", o.semente, "a semente do sorteio")->type_name("S");
    app.add_option("--mes", mes, "o mês")->type_name("MM/AAAA");
    app.add_option("--falhos", o.cadaFalho,
                   "a cada K contratos, um com uma faixa que não existe (o cálculo falha)")
        ->type_name("K");
    app.add_flag("--sem-arredondamento", o.bSemArredondamento,
                 "quantidades inteiras, preços em centavos, faixas de uma banda");
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        tq::EscreveTexto(tq::EFluxo::Saida, app.help());
        return 0;
    } catch (const CLI::ParseError& e) {
        Sai(2, tq::calc::MensagemDaLinhaDeComando(e));
    }
    CTQMa ma;
    if (!CTQMa::Le(mes.c_str(), ma))
        Sai(2, "--mes: \"" + mes + "\" não é um mês MM/AAAA");
    if (arquivo.empty() == pasta.empty())
        Sai(2, "dê um arquivo ou --pasta, um dos dois");
    o.mes = ma;
    const tq::amostra::CDadosAmostra dados = tq::calc::GeraMes(o);
    if (!arquivo.empty()) {
        Grava(arquivo, tq::amostra::EscreveCenario(dados, true));
    } else {
        std::filesystem::create_directories(pasta);
        for (std::size_t i = 0; i < dados.contratos.size(); ++i)
            Grava(
                (std::filesystem::path(pasta) / (tq::ParaUtf8(dados.contratos[i].codigo) + ".json"))
                    .string(),
                tq::amostra::EscreveCenario(tq::calc::SoDoContrato(dados, i)));
    }
    if (!lista.empty()) {
        std::string texto;
        for (const tq::amostra::Contrato& c : dados.contratos)
            texto += tq::ParaUtf8(c.codigo) + "\n";
        Grava(lista, texto);
    }
    return 0;
}
