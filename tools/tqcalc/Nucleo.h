// tqcalc's core: both calculations of one contract and one month, run as a module runs them,
// through whatever business servers are registered (the sample server in this process, or the
// machine's), with what each step asked its servers, the checks of every sum and product that the
// money type cannot hold, and the invoice total. It computes; it neither prints nor knows files.
#pragma once

#include "contracts/CalculoFaixaMedicao.h"
#include "followup/CalculoApontamentos.h"
#include "foundation/TQDma.h"
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
    CExato valor;           // quantity x weighted price, in cents (four-decimal raw, exact)
    CExato somaBandas;      // the same service's band lines, each quantity x price, in cents
    bool bRepetido = false; // an earlier condensed line has the service: each bills all of it
};

// Why a contract item gave the lines it gave, or none, as the time calculation decided.
struct CMotivoItem {
    enum EMotivo {
        JaTratado,        // an earlier item had the service: only the first is priced
        SemApontamento,   // nothing recorded for the service this month
        FranquiaNegativa, // nothing, but the service counts as handled
        SemFranquia,      // one line at the unit price
        ComExcedente,     // the franchise line and an "Excedente" line
        SemExcedente      // the franchise line only, charged in full
    } motivo = SemApontamento;
    ULONG servico = 0;
    std::string texto;     // the item's text, 8-bit as the server sent it
    LONGLONG apontado = 0; // the month's total as the calculation summed it (64-bit, wrapping)
    LONGLONG franquia = 0;
    LONGLONG excedente = 0; // as the calculation subtracted it
};

// What a time line is, in the order the calculation adds them: each item it prices gives one line
// at the unit price, or its franchise line followed, when more was recorded, by its "Excedente".
struct CPapelDaLinha {
    enum EPapel { Simples, Franquia, Excedente } papel = Simples;
    std::size_t motivo = 0; // the item's entry in CResultado::motivos
};

// A recorded service no contract item prices.
struct CServicoSemItem {
    ULONG servico = 0;
    CExato apontado;      // its exact sum: nothing depends on it
    bool bMedido = false; // a range of the contract bills it instead
};

// One band as the ranges calculation walked it.
struct CBandaDistribuida {
    LONG inferior = 0, superior = 0; // superior 0: an open band
    LONGLONG capacidade = 0;         // its width as the calculation takes it (32-bit, wrapping)
    bool bVolta = false;             // that width wrapped: it is not superior - inferior + 1
    LONGLONG preco = 0;
    enum EEstado {
        Cheia,       // took its whole capacity
        Resto,       // took what was left, less than its capacity
        Aberta,      // open: took whatever was left
        NaoAlcancada // nothing was left for it
    } estado = NaoAlcancada;
    LONGLONG quantidade = 0; // what it took
    CExato valor;            // quantity x price, in cents, as its band line is valued
};

// One range's month: the total poured into its bands, in the order the server sent them.
struct CFaixaDistribuida {
    ULONG codigo = 0, servico = 0;
    std::string descricao; // 8-bit
    LONGLONG medido = 0;   // the month's total, through the money type's addition
    std::vector<CBandaDistribuida> bandas;
    LONGLONG sobra = 0; // left after the last band of a ladder with no open band: not billed
};

// The customer, as the caller knows them (a scenario may name them; the servers do not): UTF-8.
struct CCliente {
    std::string nome, documento;
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
    CCliente cliente; // the caller's, untouched by Calcula
    CTQDma data;      // the day of the calculation, from the library's (shiftable) clock

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
    CExato foraDaNota; // band lines of service 0 before any other: they open no condensed line

    // The invoice, when both calculations ran and succeeded: the time lines' values plus each
    // condensed line's quantity x weighted price in cents, less the discounts in cents.
    bool bNota = false;
    LONGLONG notaApontamentos = 0, notaFaixas = 0, notaBruto = 0, notaDesconto = 0, notaTotal = 0;
    std::string notaPorExtenso; // the total in words (UTF-8), as the invoice carries it

    // Why: each item's decision when the time calculation succeeded, the services it did not
    // price, and each range read, poured.
    std::vector<CMotivoItem> motivos;
    std::vector<CPapelDaLinha> papeis; // index-aligned with `linhas`
    std::vector<CServicoSemItem> semItem;
    std::vector<CFaixaDistribuida> distribuicao;

    std::vector<CAviso> avisos;
};

// Runs the chosen calculations against the registered servers, heard through a CEscopoEscuta.
void Calcula(const std::string& codigoContrato, ULONG pontContr, CTQMa mes, CResultado& r);

// A condensed service line of the ranges calculation as the invoice values it: its quantity x its
// weighted price, rounded to cents half away from zero (a four-decimal raw value, exact).
CExato ValorFaturado(LONGLONG precoMedio, LONGLONG quantidade);

// 0 done; 1 a calculation failed; 3 an amount the money type cannot hold (which outweighs a
// failure: a wrong figure is worse than none).
int CodigoDeSaida(const CResultado& r);

} // namespace tq::calc
