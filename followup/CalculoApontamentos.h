// CCalculoApontamentos: the time recorded against one contract in one month, priced by the
// contract's items. For every contract item whose service was recorded, the month's quantity is
// priced at the item's unit price, or, with a franchise, the franchise is charged in full and the
// time beyond it goes on an "Excedente" line at the excess price.
//
//     CCalculoApontamentos calculo(sUsuario, wEmpresa, dwSessao); // the login record
//     calculo.Inicializa();                     // opens both servers; throws the HRESULT (long)
//     CCalculoApontamentos::CArrayCalculados linhas;
//     HRESULT hr = calculo.FazCalculoApontamentos(pontContr, CTQMa(3, 2024), linhas);
//     ...
//     CCalculoApontamentos::LiberaApontamentosCalculados(linhas); // the lines own their blocks
//
// Every operation returns an HRESULT; a server's failure comes back unchanged. A server that
// hands back a count its array cannot hold (or a count with no array) gets
// HRESULT_FROM_WIN32(RPC_X_BAD_STUB_DATA), 0x800706F7: nothing it sent is read beyond what came.
// One object is used by one thread at a time.
#pragma once

#include "contracts/RegItemContrato.h"
#include "foundation/TQDma.h"
#include "servers/RegistrosGE.h"
#include "tqlibex/base/GeArrayEx.h"
#include "tqlibex/base/MapaPorChave.h"
#include "tqlibex/base/TQString.h"
#include "tqlibex/com/GeInicializa.h"
#include "tqlibex/com/TQComPtr.h"
#include "tqlibex/diagnostics/GeArrayExGravaLog.h"

class CCalculoApontamentos : public CGeInicializa {
public:
    // The month's total of one service, in the order the services first appear.
    struct REG_ITEM_APONTAMENTO {
        tagCY quantidade;
        tagCY descTotal;
        ULONG servico;
        ULONG reservado;
    };
    using CArrayCalculados =
        CGeArrayEx<REG_APONTAMENTO_CALCULADO, const REG_APONTAMENTO_CALCULADO&>;
    using CArrayItensContrato = CGeArrayEx<CRegItemContrato, const CRegItemContrato&>;
    using CArrayTotais = CGeArrayEx<REG_ITEM_APONTAMENTO, const REG_ITEM_APONTAMENTO&>;
    using CArrayApontamentosPs = CGeArrayEx<_REG_APONTAMENTO_PS, const _REG_APONTAMENTO_PS&>;

    // The user's login record, with which both servers are initialised.
    explicit CCalculoApontamentos(const CString& sLogin = CString(), USHORT wLogin = 0,
                                  ULONG dwLogin = 0);

    // The contract's items for the next calculation, instead of reading them from the server.
    void SetItens(const CArrayItensContrato& itens) { m_itens.Copy(itens); }

    // The priced lines of contract `contrato` in month `ma`, appended to `resultado` after it is
    // emptied (free what it held first: its lines own blocks). An object never initialised
    // returns 0 and leaves `resultado` as it was. The item cache is emptied once the calculation
    // gets past reading the month, or finds no items; after an earlier failure it keeps what it
    // held, so a retry does not read it again.
    HRESULT FazCalculoApontamentos(ULONG contrato, CTQMa ma, CArrayCalculados& resultado);
    // The sums of valor and descTotal of those lines; both 0 on failure.
    HRESULT GetValorApontamentos(ULONG contrato, CTQMa ma, tagCY& valor, tagCY& desconto);
    // The codes of the month's records listed on the invoice, "101 - 102 - 103".
    HRESULT GetCodigosApontamentos(ULONG contrato, CTQMa ma, CString& codigos);

    // The month's totals per service, in the order the services first occur, and the index from
    // service to its total's position.
    static void TotalizaPorServico(const CArrayApontamentosPs& apontamentos, CArrayTotais& totais,
                                   tq::detail::CMapaPorChave<int>& indice);

    // Frees what each line owns and empties the array.
    static void LiberaApontamentosCalculados(CArrayCalculados& linhas);
    // The line's value: price (eight decimals) x quantity (four), exact, to four-decimal currency
    // through an OLE DECIMAL (half to even; 0 when that fails), then to two decimals half away
    // from zero.
    static tagCY Valor(tagCY precoUnitario, tagCY quantidade);

protected:
    // Opens both servers; throws the failure's HRESULT (long), else registers the object.
    void OnInicializa() override;

private:
    HRESULT InicializarServidores();
    HRESULT LeItens(ULONG contrato);
    // A service's running total of the month, and its total's position among the totals.
    struct ACUMULADO_SERVICO {
        LONGLONG quantidade;
        LONGLONG descTotal;
        int posicao;
    };
    class CTotalizador;
    // The positions of the contract's records in the month, checked whole; the caller frees them.
    HRESULT LePosicoes(ULONG contrato, CTQMa ma, ULONG& nPosicoes,
                       _REG_PONTEIRO_APONTAMENTO_PS*& pPosicoes);
    HRESULT GetApontamentos(ULONG contrato, CTQMa ma, tq::CApontamentosRecebidos& apontamentos);
    HRESULT GetQuantidadeApontamentos(ULONG contrato, CTQMa ma, CArrayTotais& totais);
    // The position of the service's total, or -1; through the index the totals were built with.
    int ProcurarItemApontamento(ULONG servico, const CArrayTotais& totais) const;
    // Appends one line for the item; E_OUTOFMEMORY when its blocks cannot be made.
    static HRESULT AdicionaLinha(const CRegItemContrato& item, tagCY quantidade, tagCY preco,
                                 tagCY desconto, const char* pszDescricao,
                                 CArrayCalculados& resultado);

    CTQComPtr<ITQGE_Apontamentos> m_pApontamentos;
    CTQComPtr<ITQGE_Contratos> m_pContratos;
    CArrayItensContrato m_itens;
    CGeArrayExGravaLog m_gravaLog;
    _REG_CONEXAO_PS m_login;
    // Service -> its running total and its total's position; kept from month to month.
    tq::detail::CMapaPorChave<ACUMULADO_SERVICO> m_totaisPorServico;
};
