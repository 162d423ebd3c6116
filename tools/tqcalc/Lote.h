// The month's billing run: every contract of the input billed by tqcalc's core, in N worker
// threads (each with its own calculation objects, the servers shared), one writer appending each
// finished contract to the journal (PASTA/notas.jsonl); at the end the summary (resumo.csv) and,
// against what was invoiced, the conference (divergencias.csv). A run killed at any moment and
// started again with the same arguments reads the journal first and bills only what is missing;
// shares billed on several machines (--parte I/N) are joined into the files one run writes.
//
//   PASTA/lote.json       what the folder holds: month, input (its kind and content), share
//   PASTA/notas.jsonl     {"contrato": "40017", ...tqcalc --json...}, one line per contract
//   PASTA/resumo.csv      contrato;status;valor_apontamentos;valor_faixas;total_nota
//   PASTA/divergencias.csv
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace tq::calc {

struct COpcoesLote {
    std::string entrada;   // a scenario file or a folder of them; or
    std::string lista;     // a list of codes, billed against this machine's servers
    std::string mes;       // MM/AAAA
    std::string saida;     // the folder
    unsigned nThreads = 0; // 0: one per CPU
    std::string parte = "1/1";
    std::string conferir; // FATURADO.csv, or empty
    // Called by the writer each time a batch reaches the disk, with the contracts of the share
    // done so far and their total (the benchmark samples the process's memory there).
    std::function<void(std::size_t, std::size_t)> aoGravar;
};

// Where a run's time went, for the benchmark and the README's figures.
struct CMedidasLote {
    unsigned nThreads = 0;
    std::size_t nDaParte = 0, nJaFeitos = 0, nCalculados = 0;
    double segundosEntrada = 0;  // reading the input, the invoiced totals and the journal
    double segundosCalculos = 0; // inside the core (both calculations), summed over the workers
    double segundosFaces = 0;    // the journal's JSON and the summary's rows, over the workers
    double segundosFim = 0;      // resumo.csv and divergencias.csv
    double segundosTotal = 0;
};

// tqcalc lote: 0 every contract billed (and no divergence); 1 a contract failed or diverged, or
// the journal could not be written; 2 bad input (nothing is computed); 3 an amount the money
// type cannot hold. Messages and progress go to standard error.
int ExecutaLote(const COpcoesLote& opcoes, CMedidasLote* pMedidas = nullptr);

// tqcalc junta: the shares' folders joined into `saida` as one run of the whole would have
// written it; overlapping, missing or unfinished shares are refused (2). Exit codes as a run's.
int Junta(const std::vector<std::string>& pastas, const std::string& saida,
          const std::string& conferir);

} // namespace tq::calc
