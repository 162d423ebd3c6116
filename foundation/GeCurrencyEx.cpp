#include "foundation/GeCurrencyEx.h"

#include <climits>

namespace {

// 10^n for n = 0..9: what 10.0 raised to n in double precision, truncated to int32, gives.
constexpr LONG kPotencias[10] = {1,      10,      100,      1000,      10000,
                                 100000, 1000000, 10000000, 100000000, 1000000000};
// 5, 55, 555, ... : the digit 5 repeated n times, for n = 0..9 (n <= 0 gives 5).
constexpr LONG kAdendos[10] = {5, 5, 55, 555, 5555, 55555, 555555, 5555555, 55555555, 555555555};

// Truncating division by 10^k; the usual k get a constant divisor, which the compiler turns
// into a multiplication.
LONGLONG DividePorPotencia(LONGLONG v, int k, LONG divisor) {
    switch (k) {
        case 1:
            return v / 10;
        case 2:
            return v / 100;
        case 3:
            return v / 1000;
        case 4:
            return v / 10000;
        case 6:
            return v / 1000000;
        case 8:
            return v / 100000000;
        default:
            return v / divisor;
    }
}

} // namespace

LONG CGeCurrencyEx::GetValorParaConverter(int n) {
    if (n >= 0 && n <= 9)
        return kPotencias[n];
    // A negative power truncates to 0; 10^10 and beyond do not fit 32 bits, and the x86
    // conversion instruction answers such a double with 0x80000000.
    return n < 0 ? 0 : INT_MIN;
}

LONG CGeCurrencyEx::GetValorParaArredondar(int n) {
    if (n <= 9)
        return kAdendos[n < 0 ? 0 : n];
    // Past nine digits the 32-bit sum wraps, as it always did; no caller drops that many.
    unsigned soma = 0;
    for (int i = n - 1; i >= 1; --i)
        soma += static_cast<unsigned>(GetValorParaConverter(i));
    return static_cast<LONG>((soma + 1) * 5u);
}

void CGeCurrencyEx::Converte(int nNovosDecimais, bool bArredonda) {
    const long long d = static_cast<long long>(nNovosDecimais) - m_nDecimais;
    if (d < 0) {
        const int k = d < -99 ? 99 : static_cast<int>(-d);
        if (bArredonda)
            *this += CGeCurrencyEx(GetValorParaArredondar(k));
        m_cyValor.int64 = DividePorPotencia(m_cyValor.int64, k, GetValorParaConverter(k));
    } else if (d > 0) {
        const int k = d > 99 ? 99 : static_cast<int>(d);
        *this *= CGeCurrencyEx(GetValorParaConverter(k));
    }
    m_nDecimais = nNovosDecimais;
}

void CGeCurrencyEx::STrunca(tagCY& cy, int nDecimaisAtuais, int nDecimaisDesejados) {
    CGeCurrencyEx temp(cy, nDecimaisAtuais);
    temp.Converte(nDecimaisDesejados, true);
    temp.Converte(nDecimaisAtuais, true);
    cy = temp.m_cyValor;
}

CTQString CGeCurrencyEx::FormataValor(LONGLONG nValor, int nDecimais) {
    // The absolute value's digits, zero-padded to at least five ("%05I64d").
    unsigned long long modulo = nValor < 0 ? 0 - static_cast<unsigned long long>(nValor)
                                           : static_cast<unsigned long long>(nValor);
    char digitos[24];
    int n = 0;
    do {
        digitos[n++] = static_cast<char>('0' + modulo % 10);
        modulo /= 10;
    } while (modulo != 0);
    while (n < 5)
        digitos[n++] = '0';
    // digitos holds them least significant first: the first four are the fraction.

    char texto[48];
    int t = 0;
    if (nValor < 0)
        texto[t++] = '-';
    for (int i = n - 1; i >= 4; --i) {
        texto[t++] = digitos[i];
        if (i > 4 && (i - 4) % 3 == 0)
            texto[t++] = '.';
    }
    if (nDecimais > 0) {
        texto[t++] = ',';
        const int mostrar = nDecimais > 8 ? 8 : nDecimais;
        for (int i = 0; i < mostrar; ++i)
            texto[t++] = i < 4 ? digitos[3 - i] : '0';
    }
    return CTQString(texto, t);
}

CString CGeCurrencyEx::ImprimeDesconto(const tagCY& cy) {
    return CString(FormataValor(cy.int64 / 10000, 2));
}

bool CGeCurrencyEx::LeDecimal(const char* pszTexto, int nDecimais, LONGLONG& bruto) {
    if (!pszTexto || nDecimais < 0 || nDecimais > 18)
        return false;
    const char* p = pszTexto;
    const bool bNegativo = *p == '-';
    if (bNegativo)
        ++p;
    unsigned long long modulo = 0;
    int nInteiros = 0, nFracao = -1; // -1: no point yet
    for (; *p; ++p) {
        if (*p == '.' && nFracao < 0) {
            nFracao = 0;
            continue;
        }
        if (*p < '0' || *p > '9' || nFracao >= nDecimais)
            return false;
        if (modulo > (~0ull - 9) / 10)
            return false;
        modulo = modulo * 10 + static_cast<unsigned>(*p - '0');
        (nFracao < 0 ? nInteiros : nFracao)++;
    }
    if (nInteiros == 0 || nFracao == 0)
        return false; // "", "-", ".5", "5."
    for (int i = nFracao < 0 ? 0 : nFracao; i < nDecimais; ++i) {
        if (modulo > ~0ull / 10)
            return false;
        modulo *= 10;
    }
    const unsigned long long limite = bNegativo ? 1ull << 63 : (1ull << 63) - 1;
    if (modulo > limite)
        return false;
    bruto = bNegativo ? static_cast<LONGLONG>(0 - modulo) : static_cast<LONGLONG>(modulo);
    return true;
}

CTQString CGeCurrencyEx::TextoDecimal(LONGLONG bruto, int nDecimais) {
    const unsigned long long modulo = bruto < 0 ? 0 - static_cast<unsigned long long>(bruto)
                                                : static_cast<unsigned long long>(bruto);
    CTQString digitos;
    digitos.Format("%0*llu", nDecimais + 1, modulo);
    const int n = digitos.GetLength();
    CTQString texto = bruto < 0 ? "-" : "";
    texto += digitos.Left(n - nDecimais);
    if (nDecimais > 0)
        texto += "." + digitos.Right(nDecimais);
    return texto;
}
