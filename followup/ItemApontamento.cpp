#include "followup/ItemApontamento.h"

#include "foundation/GeCurrencyEx.h"

#include <cstring>

CItemApontamento& CItemApontamento::operator=(const _REG_ITEM_APONTAMENTO_PS& reg) {
    m_servico = reg.servico;
    m_quantidade = reg.quantidade;
    m_executor = reg.executor;
    m_descTotal = reg.descTotal;
    m_data = CTQDma::DeCompactado(reg.data);
    m_horaInicial = reg.horaInicial;
    m_horaFinal = reg.horaFinal;
    m_pesoEntrada = reg.pesoEntrada;
    m_pesoSaida = reg.pesoSaida;
    return *this;
}

void CItemApontamento::GetSafeReg(_REG_ITEM_APONTAMENTO_PS& reg) const {
    std::memset(&reg, 0, sizeof reg);
    reg.servico = m_servico;
    reg.quantidade = m_quantidade;
    reg.executor = m_executor;
    reg.descTotal = m_descTotal;
    reg.data = m_data.GetCompactado();
    reg.horaInicial = m_horaInicial;
    reg.horaFinal = m_horaFinal;
    reg.pesoEntrada = m_pesoEntrada;
    reg.pesoSaida = m_pesoSaida;
}

CTQString CItemApontamento::GetQuantidadeAsString(const CUnidadeMedida& unidade) const {
    if (!unidade.bTempo)
        return CGeCurrencyEx::FormataValor(m_quantidade.int64, unidade.nDecimais);
    // Whole hours kept in 16 bits; the third and fourth decimals dropped; 0.6 minutes a
    // hundredth, truncated. (c * 6) / 10 is c * 0.6 truncated for every hundredth an hour has,
    // and stays defined for the absurd ones the 16-bit hours leave. Near the ends of the 64-bit
    // range taking those hours away leaves the range: the difference wraps rather than being
    // undefined.
    const LONGLONG bruto = m_quantidade.int64;
    const auto horas = static_cast<short>(bruto / 10000);
    const auto resto = static_cast<LONGLONG>(static_cast<unsigned long long>(bruto) -
                                             static_cast<unsigned long long>(horas) * 10000u);
    const LONGLONG centesimos = resto / 100;
    CTQString texto;
    texto.Format("%02d:%02lld", static_cast<int>(horas), centesimos * 6 / 10);
    return texto;
}
