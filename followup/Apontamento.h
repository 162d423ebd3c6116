// CApontamento: a time record (service record) as the client holds it: its position on the
// time-record server (month and number), branch, client, contract, code, whether it is listed on
// the invoice, driver, vehicle, municipality, the waste handled, and its items in entry order.
#pragma once

#include "followup/ItemApontamento.h"
#include "foundation/TQDma.h"
#include "servers/RegistrosGE.h"
#include "tqlibex/base/GeArrayEx.h"
#include "tqlibex/base/TQString.h"

class CApontamento {
public:
    using CArrayItens = CGeArrayEx<CItemApontamento, const CItemApontamento&>;

    CApontamento() = default;
    CApontamento(const CApontamento&) = default;
    CApontamento& operator=(const CApontamento&) = default;
    explicit CApontamento(const _REG_APONTAMENTO_PS& reg) { *this = reg; }
    // Takes the record's fields (its texts no further than their fields, whatever the terminator)
    // and one item per server item; branch and client, which the record does not carry, become
    // 0 rather than keep their old values. A record whose item count has no array has no items.
    CApontamento& operator=(const _REG_APONTAMENTO_PS& reg);
    virtual ~CApontamento() = default;

    // The record for writing to the server (qtdItens counts the items, itens is left null) and
    // its items, one server item each.
    void
    GetSafeReg(_REG_APONTAMENTO_PS& reg,
               CGeArrayEx<_REG_ITEM_APONTAMENTO_PS, const _REG_ITEM_APONTAMENTO_PS&>& itens) const;

    void Limpa() { *this = CApontamento(); }
    // Everything but listarNF is 0 or empty.
    bool TaLimpo() const;
    // The printable code of the position: "MM/AAAA-<number>".
    CTQString GetCodigo() const;
    // "Pos=%d, Pont=%d, Ma=%d, ...": Pos is the position's number within its month, as Pont.
    CTQString toString() const;

    CTQMa GetMa() const { return CTQMa::DeCompactado(m_ma); }
    void SetMa(CTQMa ma) { m_ma = ma.GetCompactado(); }
    ULONG GetPonteiro() const { return m_ponteiro; }
    void SetPonteiro(ULONG ponteiro) { m_ponteiro = ponteiro; }
    _REG_PONTEIRO_APONTAMENTO_PS GetPosicao() const { return {m_ma, 0, m_ponteiro}; }
    void SetPosicao(const _REG_PONTEIRO_APONTAMENTO_PS& posicao) {
        m_ma = posicao.ma;
        m_ponteiro = posicao.ponteiro;
    }
    ULONG GetFilial() const { return m_filial; }
    void SetFilial(ULONG filial) { m_filial = filial; }
    ULONG GetCliente() const { return m_cliente; }
    void SetCliente(ULONG cliente) { m_cliente = cliente; }
    const CTQString& GetApontamento() const { return m_apontamento; }
    void SetApontamento(const CTQString& apontamento) { m_apontamento = apontamento; }
    bool GetListarNF() const { return m_listarNF; }
    void SetListarNF(bool listar) { m_listarNF = listar; }
    ULONG GetMotorista() const { return m_motorista; }
    void SetMotorista(ULONG motorista) { m_motorista = motorista; }
    ULONG GetPlaca() const { return m_placa; }
    void SetPlaca(ULONG placa) { m_placa = placa; }
    void SetMunicipio(ULONG municipio) { m_municipio = municipio; }
    const CTQString& GetResiduos() const { return m_residuos; }
    void SetResiduos(const CTQString& residuos) { m_residuos = residuos; }

    const CArrayItens& GetArrayApontamento() const { return m_itens; }
    void SetArrayApontamento(const CArrayItens& itens) { m_itens.Copy(itens); }
    INT_PTR GetQtdItens() const { return m_itens.GetSize(); }
    const CItemApontamento& GetItem(int i) const { return m_itens.GetAt(i); }
    INT_PTR AdicionaApontamento(const CItemApontamento& item) { return m_itens.Add(item); }
    void AlteraApontamento(const CItemApontamento& item, int i) { m_itens.SetAt(i, item); }
    void RemoveApontamento(int i) { m_itens.RemoveAt(i); }

private:
    WORD m_ma = 0;
    ULONG m_ponteiro = 0;
    ULONG m_filial = 0;
    ULONG m_cliente = 0;
    ULONG m_pontContr = 0;
    CTQString m_apontamento;
    bool m_listarNF = false;
    ULONG m_motorista = 0;
    ULONG m_placa = 0;
    ULONG m_municipio = 0;
    CTQString m_residuos;
    CArrayItens m_itens;
};
