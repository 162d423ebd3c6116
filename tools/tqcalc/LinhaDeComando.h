// CLI11 in Portuguese: help labels, columns that count characters rather than bytes (accents take
// two bytes in UTF-8), and its errors said again for a person at tqcalc.
#pragma once

#include "tools/tqcalc/Lote.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace tq::calc {

// Labels, columns and the help flag of `app` in Portuguese; call before adding options.
void EmPortugues(CLI::App& app);
// A parse error of CLI11 as a sentence in Portuguese.
std::string MensagemDaLinhaDeComando(const CLI::ParseError& e);
// CLI11 takes the word after an option as its value even when it is the next option
// ("--contrato --mes 03/2024"): the mistake, in a sentence, or empty when there is none.
std::string OpcaoQueEngoliuOutra(const CLI::App& app);

// The month's run and the joining of its shares, as subcommands of `app`.
struct CComandosLote {
    CLI::App* lote = nullptr;
    CLI::App* junta = nullptr;
    COpcoesLote opcoes;
    std::vector<std::string> pastas;
    std::string threads, saidaJunta, conferirJunta;
};
void AcrescentaComandosLote(CLI::App& app, CComandosLote& c);
// --threads: 1 to 1024.
bool LeThreads(const std::string& texto, unsigned& n);

} // namespace tq::calc
