#include "contracts/RegItemContrato.h"

CRegItemContrato::CRegItemContrato(const _REG_ITEM_CONTRATO_PS& reg) : m_reg(reg) {
    m_reg.texto = nullptr;
    m_reg.classificacoes = nullptr;
    m_reg.qtdClassificacoes = 0;
    m_texto = reg.texto;
    if (reg.classificacoes)
        for (ULONG i = 0; i < reg.qtdClassificacoes; ++i)
            m_classificacoes.Add(CRegClassificacaoGePs(reg.classificacoes[i]));
}

HRESULT CRegItemContrato::GetSafeReg(_REG_ITEM_CONTRATO_PS& reg) const {
    reg = m_reg;
    reg.texto = tq::DuplicaTexto(m_texto);
    HRESULT hr =
        reg.texto ? GetClassificacao(&reg.classificacoes, &reg.qtdClassificacoes) : E_OUTOFMEMORY;
    if (FAILED(hr))
        tq::LiberaItemContrato(reg);
    return hr;
}
