// What tqcalc does, apart from its command line: both calculations of one contract and one month
// through the business servers registered in this process or on this machine, their results as
// JSON or as a text a support person can follow line by line, and the recording of what the
// calculations read as a scenario file.
#pragma once

#include "contracts/CalculoFaixaMedicao.h"
#include "followup/CalculoApontamentos.h"
#include "servers/amostra/DadosAmostra.h"

#include <nlohmann/json.hpp>

#include <string>

namespace tq::calc {

struct CResultado {
    CResultado() = default;
    CResultado(const CResultado&) = delete;
    CResultado& operator=(const CResultado&) = delete;
    ~CResultado() { CCalculoApontamentos::LiberaApontamentosCalculados(linhas); }

    bool bApontamentos = true, bFaixas = true;
    HRESULT hrApontamentos = S_OK;
    CCalculoApontamentos::CArrayCalculados linhas;
    tagCY valor{}, desconto{};
    CString codigos;
    HRESULT hrFaixas = S_OK;
    CArrayItensFaixa itens, servicos;
};

// Runs the chosen calculations. The contract's ranges come from the contract server.
void Calcula(ULONG pontContr, CTQMa mes, CResultado& r);

// The `--json` form: {"apontamentos": {...}, "faixas": {...}} (a calculation not run is left out).
nlohmann::ordered_json ParaJson(const CResultado& r);

// One table per calculation with every line explained from what the calculations read.
std::string ParaTexto(const CResultado& r, const tq::amostra::CDadosAmostra& entradas,
                      ULONG pontContr, CTQMa mes);

// The three business servers, created through the library's normal path (the registry's server
// name, the retry, the blanket and, for a remote server, the keep-alive thread).
struct CServidores {
    CTQComPtr<ITQGE_Contratos> contratos;
    CTQComPtr<ITQGE_Faixa> faixa;
    CTQComPtr<ITQGE_Apontamentos> apontamentos;
    // Creates and initialises them; says in `relatorio` where each runs and whether it keeps a
    // keep-alive thread.
    HRESULT Abre(std::string& relatorio);
};

// Reads what both calculations read for a contract and a month: the contract, its items, its
// range definitions and the month's time records.
HRESULT LeEntradas(CServidores& servidores, ULONG pontContr, CTQMa mes,
                   tq::amostra::CDadosAmostra& dados);

// The scenario's contract and records of the month, as the calculations read them.
tq::amostra::CDadosAmostra Filtra(const tq::amostra::CDadosAmostra& dados, ULONG pontContr,
                                  CTQMa mes);

std::string Status(HRESULT hr);
std::string Quantia(tagCY cy, int nDecimais = 4);
// Brazilian form: "1.234,5678".
std::string Brasileiro(LONGLONG bruto, int nDecimais);

nlohmann::ordered_json LinhasApontamentos(const CCalculoApontamentos::CArrayCalculados& linhas);
nlohmann::ordered_json ItensFaixa(const CArrayItensFaixa& itens);

} // namespace tq::calc
