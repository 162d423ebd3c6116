// CGeCurrencyEx, the money value: a raw 64-bit integer (tagCY) labelled with a count of decimals.
//
// Two arithmetic families, on purpose different:
// - compound operators (+= -= *= /=) work on the raw integers: two's-complement wrapping, no
//   rescaling (2.0000 *= 3.0000 gives raw 600,000,000), /= truncates and a zero divisor is the
//   platform's integer-division fault;
// - binary operators (+ - * /) take both raw values as four-decimal currency and call the OLE
//   Automation currency functions (2.0000 * 3.0000 = 6.0000, 7.0000 / 2.0000 = 3.5000); the
//   result has decimals 0, and the platform's status is not looked at.
// Only Converte rescales. Rounding adds the repeated-5 addend (5, 55, 555, ...) whatever the sign
// and truncates toward zero, so negatives round toward zero more often than positives: amounts
// stored over the years were produced that way, and it stays.
#pragma once

#include "tqlibex/base/TQString.h"
#include "tqlibex/base/WinTypes.h"

#include <MoedaPlataforma.h>

class CGeCurrencyEx {
public:
    CGeCurrencyEx() : m_nDecimais(0) { m_cyValor.int64 = 0; }
    CGeCurrencyEx(const CGeCurrencyEx&) = default;
    CGeCurrencyEx(const tagCY& cy) : m_nDecimais(0), m_cyValor(cy) {}
    CGeCurrencyEx(const tagCY& cy, int nDecimais) : m_nDecimais(nDecimais), m_cyValor(cy) {}
    // n is the raw integer: CGeCurrencyEx(1) is 0.0001 in currency scale, not 1.0000.
    CGeCurrencyEx(int n) : m_nDecimais(0) { m_cyValor.int64 = n; }

    CGeCurrencyEx& operator=(const CGeCurrencyEx&) = default;
    // Keeps the decimals count.
    CGeCurrencyEx& operator=(const tagCY& cy) {
        m_cyValor = cy;
        return *this;
    }
    // Resets the decimals count to 0.
    CGeCurrencyEx& operator=(LONGLONG n) {
        m_cyValor.int64 = n;
        m_nDecimais = 0;
        return *this;
    }

    void SetVlr(tagCY cy, int nDecimais) {
        m_cyValor = cy;
        m_nDecimais = nDecimais;
    }
    void SetDecimais(short nDecimais) { m_nDecimais = nDecimais; }
    void Empty() {
        m_cyValor.int64 = 0;
        m_nDecimais = 0;
    }

    bool IsEmpty() const { return m_cyValor.int64 == 0; }
    short GetDecimais() const { return static_cast<short>(m_nDecimais); }
    tagCY& GetAsCurrency() { return m_cyValor; }
    const tagCY& GetAsCurrency() const { return m_cyValor; }

    CGeCurrencyEx& operator+=(const tagCY& cy) { return Bruto(Raw() + Raw(cy)); }
    CGeCurrencyEx& operator+=(const CGeCurrencyEx& v) { return *this += v.m_cyValor; }
    CGeCurrencyEx& operator-=(const tagCY& cy) { return Bruto(Raw() - Raw(cy)); }
    CGeCurrencyEx& operator-=(const CGeCurrencyEx& v) { return *this -= v.m_cyValor; }
    CGeCurrencyEx& operator*=(const tagCY& cy) { return Bruto(Raw() * Raw(cy)); }
    CGeCurrencyEx& operator*=(const CGeCurrencyEx& v) { return *this *= v.m_cyValor; }
    CGeCurrencyEx& operator/=(const tagCY& cy) {
        m_cyValor.int64 /= cy.int64; // zero is not checked: the platform faults
        return *this;
    }
    CGeCurrencyEx& operator/=(const CGeCurrencyEx& v) { return *this /= v.m_cyValor; }

    CGeCurrencyEx operator+(const tagCY& cy) const { return Binario(tq::detail::SomaMoeda, cy); }
    CGeCurrencyEx operator+(const CGeCurrencyEx& v) const { return *this + v.m_cyValor; }
    CGeCurrencyEx operator-(const tagCY& cy) const { return Binario(tq::detail::SubtraiMoeda, cy); }
    CGeCurrencyEx operator-(const CGeCurrencyEx& v) const { return *this - v.m_cyValor; }
    CGeCurrencyEx operator*(const tagCY& cy) const {
        return Binario(tq::detail::MultiplicaMoeda, cy);
    }
    CGeCurrencyEx operator*(const CGeCurrencyEx& v) const { return *this * v.m_cyValor; }
    CGeCurrencyEx operator/(const tagCY& cy) const { return Binario(tq::detail::DivisaoMoeda, cy); }
    CGeCurrencyEx operator/(const CGeCurrencyEx& v) const { return *this / v.m_cyValor; }

    // Changes the number of decimals the raw integer carries; see the rounding note above.
    void Converte(int nNovosDecimais, bool bArredonda);
    void ConverteParaDoisDecimais(bool bArredonda) { Converte(2, bArredonda); }
    void ConverteParaQuatroDecimais(bool bArredonda) { Converte(4, bArredonda); }
    void ConverteParaOitoDecimais(bool bArredonda) { Converte(8, bArredonda); }

    // Despite its name it rounds: cy keeps its scale, rounded to nDecimaisDesejados digits
    // (STrunca(cy, 4, 2) turns 1.2345 into 1.2400).
    static void STrunca(tagCY& cy, int nDecimaisAtuais, int nDecimaisDesejados);

    // The raw integer always read as four-decimal currency; m_nDecimais only says how many
    // decimals are printed: 1.234.567,89.
    CTQString GetFormatado() const { return FormataValor(m_cyValor.int64, m_nDecimais); }
    // The amount in words, Brazilian Portuguese in Windows-1252, lower case, as invoices and
    // receipts carry it: the raw integer read as four-decimal currency (m_nDecimais plays no part)
    // and rounded to cents half away from zero. 1.234,56 is "mil duzentos e trinta e quatro reais
    // e cinquenta e seis centavos"; a value that rounds to no cents is "zero reais".
    CTQString GetExtenso() const;
    // Whole currency units read again as a four-decimal value: 125,000.0000 prints 12,50.
    static CString ImprimeDesconto(const tagCY& cy);
    CString ImprimeComoDesconto() const { return ImprimeDesconto(m_cyValor); }

    // The shared formatter: "." between thousands, "," before the decimals, digits cut (never
    // rounded) after the fourth, "0" from the fifth to the eighth. Negative nDecimais count as 0;
    // more than 8 print 8.
    static CTQString FormataValor(LONGLONG nValor, int nDecimais);

    // Plain decimal text, as files and tools exchange amounts: an optional "-", digits, and at
    // most nDecimais digits after a ".". LeDecimal gives the raw integer with nDecimais decimals
    // (false, bruto untouched, for anything else or a value beyond 64 bits); TextoDecimal writes
    // every decimal: 125000 with 4 is "12.5000".
    static bool LeDecimal(const char* pszTexto, int nDecimais, LONGLONG& bruto);
    static CTQString TextoDecimal(LONGLONG bruto, int nDecimais);

private:
    // 10^n as the platform's double-to-int32 conversion gives it: exact for 0..9.
    static LONG GetValorParaConverter(int n);
    // The digit 5 repeated n times: the addend that rounds when n digits are dropped.
    static LONG GetValorParaArredondar(int n);

    // The platform's operation on both raw values; the result starts at 0 with no count.
    template <class Operacao>
    CGeCurrencyEx Binario(Operacao operacao, const tagCY& cy) const {
        tagCY resultado;
        resultado.int64 = 0;
        operacao(m_cyValor, cy, resultado);
        return CGeCurrencyEx(resultado);
    }

    // Raw arithmetic wraps: computed unsigned, then stored back as two's complement.
    unsigned long long Raw() const { return static_cast<unsigned long long>(m_cyValor.int64); }
    static unsigned long long Raw(const tagCY& cy) {
        return static_cast<unsigned long long>(cy.int64);
    }
    CGeCurrencyEx& Bruto(unsigned long long v) {
        m_cyValor.int64 = static_cast<LONGLONG>(v);
        return *this;
    }

    int m_nDecimais;
    tagCY m_cyValor;
};
