// CRegClassificacaoGePs: one accounting classification of a contract item or range, holding its
// description itself; the server's _REG_CLASSIFICACAO_GE_PS carries it as a task-allocated text.
#pragma once

#include "servers/RegistrosGE.h"
#include "tqlibex/base/GeArrayEx.h"
#include "tqlibex/base/TQString.h"

class CRegClassificacaoGePs {
public:
    CRegClassificacaoGePs() = default;
    explicit CRegClassificacaoGePs(const _REG_CLASSIFICACAO_GE_PS& reg);

    // The record with a newly task-allocated copy of the description: the caller's to free.
    HRESULT GetSafeReg(_REG_CLASSIFICACAO_GE_PS& reg) const;

    ULONG GetCodigo() const { return m_codigo; }
    void SetCodigo(ULONG codigo) { m_codigo = codigo; }
    // Four decimals: 100.0000 is the whole.
    tagCY GetPercentual() const { return m_percentual; }
    void SetPercentual(tagCY percentual) { m_percentual = percentual; }
    tagCY GetValor() const { return m_valor; }
    void SetValor(tagCY valor) { m_valor = valor; }
    const CTQString& GetDescricao() const { return m_descricao; }
    void SetDescricao(const CTQString& descricao) { m_descricao = descricao; }

private:
    ULONG m_codigo = 0;
    tagCY m_percentual{};
    tagCY m_valor{};
    CTQString m_descricao;
};

using CArrayClassificacoes = CGeArrayEx<CRegClassificacaoGePs, const CRegClassificacaoGePs&>;

namespace tq {
// A task-allocated copy of a list, each description copied too: the caller's to free with
// LiberaClassificacoes. E_OUTOFMEMORY leaves *pp null and *pn 0.
HRESULT CopiaClassificacoes(const CArrayClassificacoes& lista, _REG_CLASSIFICACAO_GE_PS** pp,
                            ULONG* pn);
} // namespace tq
