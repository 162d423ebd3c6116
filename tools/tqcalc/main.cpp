// tqcalc, the billing simulator: both calculations of one contract and one month, every line
// shown and explained. See --help, and the README for the scenario format.
#include <tqge.h>

#include "servers/amostra/CenarioAmostra.h"
#include "servers/amostra/ServidorAmostra.h"
#include "tools/tqcalc/Simulacao.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <fstream>
#include <iostream>

namespace {

constexpr int kErroNaEntrada = 2;

const char* const kDescricao = R"(tqcalc: the billing of one contract in one month, line by line.

It runs the two calculations a module runs for an invoice: the time calculation (the month's
time records priced by the contract's items: franchise, "Excedente") and the calculation by
measurement ranges (the month's measured quantities poured into the contract's bands), and
shows every line with the reason it is there.

  tqcalc CENARIO.json --mes 03/2024          against the sample server, loaded from the file
  tqcalc --contrato 12345 --mes 03/2024      against the business servers of this machine
  tqcalc --gravar CASO.json --contrato 12345 --mes 03/2024
                                             records what the servers hold for the contract and
                                             the month as a scenario file, to replay anywhere

Exit codes: 0 done; 1 a calculation failed (its status is shown with its name); 2 a mistake in
the command line or in the scenario file (the message names the place).)";

[[noreturn]] void Sai(int codigo, const std::string& texto) {
    std::cerr << "tqcalc: " << texto << "\n";
    std::exit(codigo);
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app(kDescricao, "tqcalc");
    // CLI11 reads "/x" as an option on Windows; a scenario path may start with a slash.
    app.allow_windows_style_options(false);
    std::string cenario, mes, so, contrato, gravar;
    bool bJson = false;
    app.add_option("cenario", cenario, "the scenario file (JSON) the sample server serves");
    app.add_option("--mes", mes, "the month to bill, MM/AAAA")->required();
    app.add_flag("--json", bJson, "the results as JSON, amounts as plain decimal strings");
    app.add_option("--so", so, "only one calculation")
        ->check(CLI::IsMember({"apontamentos", "faixas"}));
    app.add_option("--contrato", contrato,
                   "the contract's code, calculated against this machine's business servers");
    app.add_option("--gravar", gravar, "record the contract's month from this machine's servers");
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        app.exit(e);
        return kErroNaEntrada;
    }
    CTQMa ma;
    if (!CTQMa::Le(mes.c_str(), ma))
        Sai(kErroNaEntrada, "--mes: \"" + mes + "\" is not a month MM/AAAA");
    if (cenario.empty() == contrato.empty())
        Sai(kErroNaEntrada, "give either a scenario file or --contrato");
    if (!gravar.empty() && contrato.empty())
        Sai(kErroNaEntrada, "--gravar records from this machine's servers: give --contrato");

    tq::amostra::CDadosAmostra dados;
    if (!cenario.empty()) {
        try {
            dados = tq::amostra::LeArquivoCenario(cenario);
        } catch (const tq::amostra::CErroCenario& e) {
            Sai(kErroNaEntrada, cenario + ": " + e.what());
        }
        if (dados.contratos.empty())
            Sai(kErroNaEntrada, cenario + ": contrato: the scenario has no contract");
    }
    const ULONG pontContr =
        cenario.empty() ? tq::amostra::PonteiroDoCodigo(contrato) : dados.contratos[0].ponteiro;

    tq::SaidaPadraoBinaria();
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    TQCoInitializeSecurity();
    int codigo = 0;
    {
        tq::amostra::CServidorAmostra amostra{tq::amostra::CDadosAmostra(dados)};
        tq::calc::CServidores servidores;
        std::string relatorio;
        if (!cenario.empty()) {
            if (FAILED(amostra.Registra()))
                Sai(1, "the sample server could not be registered");
        } else {
            const HRESULT hr = servidores.Abre(relatorio);
            std::cerr << relatorio;
            if (FAILED(hr))
                Sai(1, "the business servers: " + tq::calc::Status(hr));
        }
        if (!gravar.empty()) {
            tq::amostra::CDadosAmostra lidos;
            const HRESULT hr = tq::calc::LeEntradas(servidores, pontContr, ma, lidos);
            if (FAILED(hr))
                Sai(1, "reading the contract's month: " + tq::calc::Status(hr));
            std::ofstream(gravar, std::ios::binary) << tq::amostra::EscreveCenario(lidos);
        } else {
            tq::calc::CResultado r;
            r.bApontamentos = so != "faixas";
            r.bFaixas = so != "apontamentos";
            tq::calc::Calcula(pontContr, ma, r);
            if (bJson) {
                std::cout << tq::calc::ParaJson(r).dump(2) << "\n";
            } else {
                tq::amostra::CDadosAmostra entradas;
                if (!cenario.empty())
                    entradas = tq::calc::Filtra(dados, pontContr, ma);
                else if (FAILED(tq::calc::LeEntradas(servidores, pontContr, ma, entradas)))
                    std::cerr << "tqcalc: the inputs could not be read again to explain them\n";
                std::cout << tq::calc::ParaTexto(r, entradas, pontContr, ma);
            }
            codigo =
                (r.bApontamentos && FAILED(r.hrApontamentos)) || (r.bFaixas && FAILED(r.hrFaixas))
                    ? 1
                    : 0;
        }
    }
    CoUninitialize();
    return codigo;
}
