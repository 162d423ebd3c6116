#include "contracts/RegClassificacaoGePs.h"

#include <cstring>

CRegClassificacaoGePs::CRegClassificacaoGePs(const _REG_CLASSIFICACAO_GE_PS& reg)
    : m_codigo(reg.codigo), m_percentual(reg.percentual), m_valor(reg.valor),
      m_descricao(reg.descricao) {}

HRESULT CRegClassificacaoGePs::GetSafeReg(_REG_CLASSIFICACAO_GE_PS& reg) const {
    std::memset(&reg, 0, sizeof reg);
    reg.codigo = m_codigo;
    reg.percentual = m_percentual;
    reg.valor = m_valor;
    reg.descricao = tq::DuplicaTexto(m_descricao);
    return reg.descricao ? S_OK : E_OUTOFMEMORY;
}

namespace tq {

HRESULT CopiaClassificacoes(const CArrayClassificacoes& lista, _REG_CLASSIFICACAO_GE_PS** pp,
                            ULONG* pn) {
    *pp = nullptr;
    *pn = 0;
    if (lista.IsEmpty())
        return S_OK;
    const auto n = static_cast<ULONG>(lista.GetSize());
    auto* p = tq::AlocaArray<_REG_CLASSIFICACAO_GE_PS>(n);
    if (!p)
        return E_OUTOFMEMORY;
    for (ULONG i = 0; i < n; ++i) {
        if (FAILED(lista[i].GetSafeReg(p[i]))) {
            LiberaClassificacoes(p, n);
            return E_OUTOFMEMORY;
        }
    }
    *pp = p;
    *pn = n;
    return S_OK;
}

} // namespace tq
