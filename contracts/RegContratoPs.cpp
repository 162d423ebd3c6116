#include "contracts/RegContratoPs.h"

#include <algorithm>
#include <cstdint>
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
        m_ponteiro = PonteiroDoCodigo(m_codigo);
        m_bPonteiro = true;
    }
    return m_ponteiro;
}

ULONG CRegContratoPs::PonteiroDoCodigo(const char* pszCodigo) {
    // atol as the suite's 32-bit long reads it on every platform: a number beyond that range
    // saturates, as Windows' atol does; then the unsigned division drops the check digit.
    const long long v = std::strtoll(pszCodigo ? pszCodigo : "", nullptr, 10);
    const LONG n = static_cast<LONG>(std::clamp<long long>(v, INT32_MIN, INT32_MAX));
    return static_cast<ULONG>(n) / 10;
}

void CRegContratoPs::SetPonteiroContrato(ULONG ponteiro) {
    m_ponteiro = ponteiro;
    m_bPonteiro = true;
}
