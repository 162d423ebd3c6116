// CCalculoFaixaMedicao: billing by measurement ranges. The month's measured quantities of a
// contract, totalled per service, are poured into each of the contract's ranges band by band
// (the first so many units at one price, the next so many at another), and the band lines
// condensed into one line per service at the quantity-weighted price.
//
//     CCalculoFaixaMedicao calculo(sTexto, wNumero, dwNumero); // the session's connection values
//     calculo.SetContrato(contrato);
//     HRESULT hr = calculo.CalculaItens(CTQMa(3, 2024));        // opens the servers the first time
//     calculo.GetItens();                                        // the band lines
//     CArrayItensFaixa servicos;
//     calculo.GetServicosFaturamento(servicos);                  // one line per service
//
// Server failures come back unchanged. What the calculation keeps on purpose, as the suite's
// modules always saw it: the band arrays of the last calculation's range definitions are freed by
// the next calculation, never by the destructor. The month's time records, with the
// measurement-entry arrays inside them, are freed as soon as they are totalled. A server that
// sends a count its array cannot hold gets HRESULT_FROM_WIN32(RPC_X_BAD_STUB_DATA) (0x800706F7).
#pragma once

#include "contracts/GeParametrosConexao.h"
#include "contracts/ItemCalculoFaixaMedicao.h"
#include "contracts/RegContratoPs.h"
#include "foundation/TQDma.h"
#include "servers/RegistrosGE.h"
#include "tqlibex/base/GeArrayEx.h"
#include "tqlibex/com/TQComPtr.h"

class CCalculoFaixaMedicao : public CGeParametrosConexao {
public:
    using CArrayFaixas = CGeArrayEx<tagREG_FAIXA_PS, const tagREG_FAIXA_PS&>;
    using CArrayApontamentosPs = CGeArrayEx<_REG_APONTAMENTO_PS, const _REG_APONTAMENTO_PS&>;

    CCalculoFaixaMedicao(const CString& sTexto, USHORT wNumero, ULONG dwNumero)
        : CGeParametrosConexao(sTexto, wNumero, dwNumero) {}
    // The band arrays are the object's alone: a copy would free them a second time.
    CCalculoFaixaMedicao(const CCalculoFaixaMedicao&) = delete;
    CCalculoFaixaMedicao& operator=(const CCalculoFaixaMedicao&) = delete;

    // Opens and initialises both servers, once: a later call returns 0 at once. A failure is
    // returned and leaves nothing open, so that the next call starts again.
    HRESULT Inicializa();

    void SetContrato(const CRegContratoPs& contrato) { m_contrato = contrato; }
    CRegContratoPs& GetContrato() { return m_contrato; }

    // The band lines of the contract in one month. The previous result goes first, so after a
    // failure only what was computed before it remains.
    HRESULT CalculaItens(CTQMa mes);
    CArrayItensFaixa& GetItens() { return m_itens; }
    CArrayFaixas& GetFaixas() { return m_faixas; }
    // One entry per change of service along the band lines, each with its service's whole total
    // and weighted price, and the classification list of the contract's range at its position
    // (more entries than ranges raise the array's index error).
    void GetServicosFaturamento(CArrayItensFaixa& servicos);

    // What a closed band holds, in four-decimal units: its width, inferior to superior inclusive,
    // worked in 32-bit unsigned arithmetic that wraps, as the suite does.
    static tagCY CapacidadeDaBanda(LONG inferior, LONG superior);

protected:
    // The month's time records with their measurement entries, where the server put them.
    HRESULT GetMedicoes(ULONG contrato, CTQMa mes, tq::CApontamentosRecebidos& apontamentos);
    // Pours one service's quantity into the range's bands, in the order they come (their bounds
    // give only their widths); see CalculoFaixaMedicao.cpp.
    void AdicionaItemPorFaixa(tagCY quantidade, const tagREG_FAIXA_PS& faixa,
                              const CArrayClassificacoes& classificacoes);

private:
    CTQComPtr<ITQGE_Faixa> m_pFaixa;
    CTQComPtr<ITQGE_Apontamentos> m_pApontamentos;
    CArrayItensFaixa m_itens;
    CArrayFaixas m_faixas;
    CRegContratoPs m_contrato;
};
