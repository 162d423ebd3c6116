// This machine's business servers, opened as a module opens them, and the recording of what both
// calculations read for a contract and a month as a scenario file.
#pragma once

#include "foundation/TQDma.h"
#include "servers/amostra/DadosAmostra.h"
#include "tqlibex/com/TQComPtr.h"

#include <string>

namespace tq::calc {

// The three business servers, created through the library's normal path (the registry's server
// name, the retry, the blanket and, for a remote server, the keep-alive thread).
struct CServidores {
    CTQComPtr<ITQGE_Contratos> contratos;
    CTQComPtr<ITQGE_Faixa> faixa;
    CTQComPtr<ITQGE_Apontamentos> apontamentos;
    // Creates and initialises them, stopping at the first failure; says in `relatorio`, for each
    // server created, where it runs and whether it keeps a keep-alive thread.
    HRESULT Abre(std::string& relatorio);
};

// Reads what both calculations read for a contract and a month: the contract, its items, its
// range definitions and the month's time records (texts as the servers send them, 8-bit).
HRESULT LeEntradas(CServidores& servidores, ULONG pontContr, CTQMa mes,
                   tq::amostra::CDadosAmostra& dados);

} // namespace tq::calc
