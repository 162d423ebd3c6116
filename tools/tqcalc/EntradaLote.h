// The billing run's input: the month's contracts from a scenario file (its "contratos"), from a
// folder of scenario files (one contract each, as --gravar writes them), or from a list of codes
// billed against this machine's servers; the share of them one machine bills; and what was
// invoiced, for the conference. Every mistake is refused before anything is computed, naming the
// file and the JSON path or the line.
#pragma once

#include "servers/amostra/DadosAmostra.h"

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace tq::calc {

class CErroEntrada : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct CContratoLote {
    std::string codigo; // UTF-8, as tqcalc shows it
    ULONG ponteiro = 0; // the internal number the servers know it by
};

struct CEntradaLote {
    enum ETipo { Cenario, Pasta, Lista } tipo = Cenario;
    std::vector<CContratoLote> contratos; // sorted by code as text
    tq::amostra::CDadosAmostra dados;     // what the sample server serves (not for a list)
    std::string impressao;                // the input's content in 16 hex digits (FNV-1a)
};

const char* NomeDoTipo(CEntradaLote::ETipo tipo); // "cenario", "pasta", "lista"

// A scenario file or a folder of them. The folder's files are one month of one system: a range
// definition or a time record two files hold must be the same in both. Scripted faults are
// refused (their call counts run over the whole process, across contracts and threads, so no
// two runs would fail the same contracts).
CEntradaLote LeEntradaDeCenarios(const std::string& caminho);
// One code a line; blank lines are skipped.
CEntradaLote LeEntradaDeLista(const std::string& caminho);

// Share I of N: the contracts at the sorted positions k with k mod N = I - 1, so that every
// machine given the same input and N agrees, and each share gets costly and cheap codes alike.
struct CParte {
    unsigned i = 1, n = 1;
    std::string Texto() const { return std::to_string(i) + "/" + std::to_string(n); }
};
bool LeParte(const std::string& texto, CParte& parte);
std::vector<CContratoLote> ContratosDaParte(const std::vector<CContratoLote>& todos, CParte parte);
std::size_t TamanhoDaParte(std::size_t nTotal, CParte parte);

// FATURADO.csv: a header "contrato;total", then code;total with a decimal comma (two decimals at
// most). Code -> total, two decimals raw.
std::map<std::string, LONGLONG> LeFaturado(const std::string& caminho);

} // namespace tq::calc
