// CRegItemContrato: one item of a contract as the calculations read it (a service, its unit and
// excess prices with eight decimals, its franchise with four, its text and classifications),
// holding copies of what the server's _REG_ITEM_CONTRATO_PS carried in task-allocated blocks.
#pragma once

#include "contracts/RegClassificacaoGePs.h"
#include "servers/RegistrosGE.h"
#include "tqlibex/base/TQString.h"

class CRegItemContrato {
public:
    CRegItemContrato() = default;
    // Copies the record, its text and its classification list; the record stays the caller's.
    explicit CRegItemContrato(const _REG_ITEM_CONTRATO_PS& reg);

    // The record with newly task-allocated copies of the text and the classification list: the
    // caller's to free (tq::LiberaItemContrato). E_OUTOFMEMORY leaves nothing allocated.
    HRESULT GetSafeReg(_REG_ITEM_CONTRATO_PS& reg) const;
    // A fresh task-allocated copy of the classification list (tq::LiberaClassificacoes).
    HRESULT GetClassificacao(_REG_CLASSIFICACAO_GE_PS** pp, ULONG* pn) const {
        return tq::CopiaClassificacoes(m_classificacoes, pp, pn);
    }

    ULONG GetServico() const { return m_reg.servico; }
    void SetServico(ULONG servico) { m_reg.servico = servico; }
    tagCY GetPrecoUnitario() const { return m_reg.precoUnitario; }
    void SetPrecoUnitario(tagCY preco) { m_reg.precoUnitario = preco; }
    tagCY GetPrecoExcedente() const { return m_reg.precoExcedente; }
    void SetPrecoExcedente(tagCY preco) { m_reg.precoExcedente = preco; }
    tagCY GetFranquia() const { return m_reg.franquia; }
    void SetFranquia(tagCY franquia) { m_reg.franquia = franquia; }
    const CTQString& GetTexto() const { return m_texto; }
    void SetTexto(const CTQString& texto) { m_texto = texto; }
    const CArrayClassificacoes& GetArrClassificacoes() const { return m_classificacoes; }
    void SetArrClassificacoes(const CArrayClassificacoes& lista) { m_classificacoes.Copy(lista); }

private:
    _REG_ITEM_CONTRATO_PS m_reg{}; // the plain fields; texto and classificacoes stay null
    CTQString m_texto;
    CArrayClassificacoes m_classificacoes;
};
