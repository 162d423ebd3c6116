#include "contracts/RegContratoPs.h"

#include <cstdlib>

CRegContratoPs::CRegContratoPs(const _REG_CONTRATO_PS& reg)
    : m_codigo(tq::TextoDoCampo(reg.codigo, sizeof reg.codigo)), m_ponteiro(reg.pontContr),
      m_bPonteiro(true) {
    if (reg.faixas)
        for (ULONG i = 0; i < reg.qtdFaixas; ++i)
            m_faixas.Add(CRegFaixaContratoPs(reg.faixas[i]));
}

void CRegContratoPs::SetCodigo(const CTQString& codigo) {
    m_codigo = codigo;
    m_bPonteiro = false;
}

ULONG CRegContratoPs::GetPonteiroContrato() {
    if (!m_bPonteiro) {
        // The suite's atol gives a 32-bit long; the division is unsigned.
        m_ponteiro = static_cast<ULONG>(std::atol(m_codigo)) / 10;
        m_bPonteiro = true;
    }
    return m_ponteiro;
}

void CRegContratoPs::SetPonteiroContrato(ULONG ponteiro) {
    m_ponteiro = ponteiro;
    m_bPonteiro = true;
}
