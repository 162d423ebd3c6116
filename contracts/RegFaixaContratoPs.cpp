#include "contracts/RegFaixaContratoPs.h"

CRegFaixaContratoPs::CRegFaixaContratoPs(const _REG_FAIXA_CONTRATO_PS& reg) : m_reg(reg) {
    m_reg.classificacoes = nullptr;
    m_reg.qtdClassificacoes = 0;
    if (reg.classificacoes)
        for (ULONG i = 0; i < reg.qtdClassificacoes; ++i)
            m_classificacoes.Add(CRegClassificacaoGePs(reg.classificacoes[i]));
}
