// CRegFaixaContratoPs: the contract's link to one range definition (its code, at offset 12 of
// the server's _REG_FAIXA_CONTRATO_PS) with that range's classification list.
#pragma once

#include "contracts/RegClassificacaoGePs.h"
#include "servers/RegistrosGE.h"

class CRegFaixaContratoPs {
public:
    CRegFaixaContratoPs() = default;
    // Copies the record and its classification list; the record stays the caller's.
    explicit CRegFaixaContratoPs(const _REG_FAIXA_CONTRATO_PS& reg);

    ULONG GetCodigoFaixa() const { return m_reg.codigoFaixa; }
    void SetCodigoFaixa(ULONG codigo) { m_reg.codigoFaixa = codigo; }
    // The record's plain fields (its classification list is held here, not in it).
    const _REG_FAIXA_CONTRATO_PS& GetRegistro() const { return m_reg; }
    CArrayClassificacoes& GetArrClassificacoes() { return m_classificacoes; }
    const CArrayClassificacoes& GetArrClassificacoes() const { return m_classificacoes; }

private:
    _REG_FAIXA_CONTRATO_PS m_reg{};
    CArrayClassificacoes m_classificacoes;
};
