// tqcalc's core: both calculations of one contract and one month, run as a module runs them,
// through whatever business servers are registered (the sample server in this process, or the
// machine's), with what each step asked its servers, the checks of every sum and product that the
// money type cannot hold, and the invoice total. It computes; it neither prints nor knows files.
#pragma once

#include "contracts/CalculoFaixaMedicao.h"
#include "followup/CalculoApontamentos.h"
#include "tools/tqcalc/Conversa.h"
#include "tools/tqcalc/Exato.h"

#include <string>
#include <vector>

namespace tq::calc {

// One call into the library, as a module makes it, and what the library asked its servers then.
struct CPasso {
    bool bAlcancado = false;
    HRESULT hr = S_OK;
    CConversa conversa;
};

// A sum or product of the month that leaves the money type's range: the lines that depend on it
// are printed as the calculation made them, but they are not to be believed.
struct CAviso {
    enum ECalculo { Apontamentos, Faixas, Nota } calculo;
    ULONG servico = 0; // 0 for the invoice as a whole
    std::string oQue;  // what, in Portuguese: "a soma das quantidades apontadas no mês"
    CExato valor;      // its exact value, with four decimals
};

// A condensed service line of the ranges calculation as the invoice takes it.
struct CServicoFaturado {
    CExato valor;      // quantity x weighted price, in cents (four-decimal raw, exact)
    CExato somaBandas; // the same service's band lines, each quantity x price, in cents
};

struct CResultado {
    CResultado() = default;
    CResultado(const CResultado&) = delete;
    CResultado& operator=(const CResultado&) = delete;
    ~CResultado() { CCalculoApontamentos::LiberaApontamentosCalculados(linhas); }

    std::string codigoContrato; // as given (UTF-8)
    ULONG pontContr = 0;
    CTQMa mes;
    bool bApontamentos = true, bFaixas = true;

    // The time calculation: Inicializa, FazCalculoApontamentos, GetValorApontamentos and
    // GetCodigosApontamentos, each run only when the one before succeeded.
    CPasso inicio, calculo, total, codigosNota;
    HRESULT hrApontamentos = S_OK; // the first failure, or S_OK
    CCalculoApontamentos::CArrayCalculados linhas;
    tagCY valor{}, desconto{};
    CString codigos;

    // The ranges calculation: the contract read (as a module reads it), then CalculaItens.
    CPasso leContrato, calculoFaixas;
    HRESULT hrFaixas = S_OK;
    CArrayItensFaixa itens, servicos;
    std::vector<CExato> valoresItens;        // each band line's quantity x price, in cents
    std::vector<CServicoFaturado> faturados; // index-aligned with `servicos`
    bool bCondensacaoRecusada = false;       // more condensed lines than the contract's ranges

    // The invoice, when both calculations ran and succeeded: the time lines' values plus each
    // condensed line's quantity x weighted price in cents, less the discounts in cents.
    bool bNota = false;
    LONGLONG notaApontamentos = 0, notaFaixas = 0, notaBruto = 0, notaDesconto = 0, notaTotal = 0;

    std::vector<CAviso> avisos;
};

// Runs the chosen calculations against the registered servers, heard through a CEscopoEscuta.
void Calcula(const std::string& codigoContrato, ULONG pontContr, CTQMa mes, CResultado& r);

// 0 done; 1 a calculation failed; 3 an amount the money type cannot hold (which outweighs a
// failure: a wrong figure is worse than none).
int CodigoDeSaida(const CResultado& r);

} // namespace tq::calc
