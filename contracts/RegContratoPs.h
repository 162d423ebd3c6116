// CRegContratoPs: a contract as the ranges calculation needs it: its code, its internal number
// (cached) and its ranges in order.
#pragma once

#include "contracts/RegFaixaContratoPs.h"
#include "servers/RegistrosGE.h"
#include "tqlibex/base/GeArrayEx.h"
#include "tqlibex/base/TQString.h"

class CRegContratoPs {
public:
    using CArrayFaixas = CGeArrayEx<CRegFaixaContratoPs, const CRegFaixaContratoPs&>;

    CRegContratoPs() = default;
    // Copies the record (the code no further than its field) and its ranges.
    explicit CRegContratoPs(const _REG_CONTRATO_PS& reg);

    const CTQString& GetCodigo() const { return m_codigo; }
    // A new code forgets the internal number cached from the old one.
    void SetCodigo(const CTQString& codigo);
    // The internal number: when none is cached yet, the code read as a decimal integer (atol)
    // divided by 10 in unsigned arithmetic (the last digit is a check digit), then cached.
    ULONG GetPonteiroContrato();
    void SetPonteiroContrato(ULONG ponteiro);
    // That number for a code: atol as a 32-bit long reads it (beyond its range it saturates,
    // as on Windows), divided by 10.
    static ULONG PonteiroDoCodigo(const char* pszCodigo);

    CArrayFaixas& GetArrFaixas() { return m_faixas; }
    const CArrayFaixas& GetArrFaixas() const { return m_faixas; }

private:
    CTQString m_codigo;
    ULONG m_ponteiro = 0;
    bool m_bPonteiro = false;
    CArrayFaixas m_faixas;
};
