#include "tqlibex/money/OleAutMoeda.h"

#include "tqlibex/base/UInt128.h"

#include <cstdint>

namespace tq::oleaut {
namespace {

using detail::U128;

constexpr std::uint64_t kCyEscala = 10000;
constexpr std::uint64_t kLimitePositivo = 0x7FFFFFFFFFFFFFFFull; // largest currency raw
constexpr std::uint64_t kLimiteNegativo = 0x8000000000000000ull; // |-2^63|
constexpr int kEscalaMaxima = 28;
const U128 kMantissaLimite(std::uint64_t{1} << 32, 0); // 2^96: first value a DECIMAL cannot hold

std::uint64_t Modulo(LONGLONG v) {
    return v < 0 ? 0 - static_cast<std::uint64_t>(v) : static_cast<std::uint64_t>(v);
}

// Half-to-even: up when the remainder is above half the divisor, or exactly half and the
// quotient odd. Written as r > d - r so that nothing overflows.
template <class U>
bool ArredondaParaCima(const U& q, const U& r, const U& d) {
    const U resto = d - r;
    return r > resto || (r == resto && q.IsOdd());
}

HRESULT GravaCy(bool bNegativo, std::uint64_t modulo, LPCY pcyResult) {
    if (modulo > (bNegativo ? kLimiteNegativo : kLimitePositivo))
        return DISP_E_OVERFLOW;
    pcyResult->int64 = static_cast<LONGLONG>(bNegativo ? 0 - modulo : modulo);
    return S_OK;
}

HRESULT GravaCy(bool bNegativo, const U128& modulo, LPCY pcyResult) {
    if (modulo.Hi() != 0)
        return DISP_E_OVERFLOW;
    return GravaCy(bNegativo, modulo.Lo(), pcyResult);
}

bool DecimalValido(const DECIMAL& d) {
    return d.scale <= kEscalaMaxima && (d.sign & 0x7F) == 0;
}

U128 Mantissa(const DECIMAL& d) {
    return U128(d.Hi32, d.Lo64);
}

void GravaDecimal(DECIMAL* pdec, BYTE escala, bool bNegativo, const U128& mantissa) {
    pdec->wReserved = 0;
    pdec->scale = escala;
    pdec->sign = bNegativo ? DECIMAL_NEG : 0;
    pdec->Hi32 = static_cast<ULONG>(mantissa.Hi());
    pdec->Lo64 = mantissa.Lo();
}

} // namespace

HRESULT VarCyAdd(CY cyLeft, CY cyRight, LPCY pcyResult) {
    if (!pcyResult)
        return E_INVALIDARG;
    LONGLONG soma;
    if (__builtin_add_overflow(cyLeft.int64, cyRight.int64, &soma))
        return DISP_E_OVERFLOW;
    pcyResult->int64 = soma;
    return S_OK;
}

HRESULT VarCySub(CY cyLeft, CY cyRight, LPCY pcyResult) {
    if (!pcyResult)
        return E_INVALIDARG;
    LONGLONG diferenca;
    if (__builtin_sub_overflow(cyLeft.int64, cyRight.int64, &diferenca))
        return DISP_E_OVERFLOW;
    pcyResult->int64 = diferenca;
    return S_OK;
}

HRESULT VarCyMul(CY cyLeft, CY cyRight, LPCY pcyResult) {
    if (!pcyResult)
        return E_INVALIDARG;
    if (detail::MultiplicaCyRapido(cyLeft.int64, cyRight.int64, pcyResult->int64))
        return S_OK;
    const bool bNegativo = (cyLeft.int64 < 0) != (cyRight.int64 < 0);
    const U128 p = U128::Mul64(Modulo(cyLeft.int64), Modulo(cyRight.int64));
    std::uint32_t r = 0;
    U128 q = p.DivSmall(static_cast<std::uint32_t>(kCyEscala), r);
    if (ArredondaParaCima(q, U128(r), U128(kCyEscala)))
        q = q + 1;
    return GravaCy(bNegativo, q, pcyResult);
}

HRESULT CyDiv(CY cyLeft, CY cyRight, LPCY pcyResult) {
    if (!pcyResult)
        return E_INVALIDARG;
    if (cyRight.int64 == 0)
        return DISP_E_DIVBYZERO;
    if (detail::DivideCyRapido(cyLeft.int64, cyRight.int64, pcyResult->int64))
        return S_OK;
    const bool bNegativo = (cyLeft.int64 < 0) != (cyRight.int64 < 0);
    const std::uint64_t a = Modulo(cyLeft.int64), b = Modulo(cyRight.int64);
    U128 q, r;
    U128::DivMod(U128::Mul64(a, kCyEscala), U128(b), q, r);
    if (ArredondaParaCima(q, r, U128(b)))
        q = q + 1;
    return GravaCy(bNegativo, q, pcyResult);
}

HRESULT VarDecFromCy(CY cyIn, DECIMAL* pdecOut) {
    if (!pdecOut)
        return E_INVALIDARG;
    GravaDecimal(pdecOut, 4, cyIn.int64 < 0, U128(Modulo(cyIn.int64)));
    return S_OK;
}

HRESULT VarDecFromI2(SHORT sIn, DECIMAL* pdecOut) {
    if (!pdecOut)
        return E_INVALIDARG;
    GravaDecimal(pdecOut, 0, sIn < 0, U128(Modulo(sIn)));
    return S_OK;
}

HRESULT VarCyFromDec(DECIMAL* pdecIn, CY* pcyOut) {
    if (!pdecIn || !pcyOut || !DecimalValido(*pdecIn))
        return E_INVALIDARG;
    const bool bNegativo = pdecIn->sign == DECIMAL_NEG;
    U128 m = Mantissa(*pdecIn);
    int escala = pdecIn->scale;
    for (; escala < 4; ++escala)
        m = m.MulSmall(10); // at most 96 + 14 bits: no overflow
    // Drop the extra digits one at a time, remembering the last one dropped (the rounding
    // digit) and whether any dropped before it was non-zero.
    std::uint32_t digito = 0;
    bool bRestoNaoZero = false;
    for (; escala > 4; --escala) {
        bRestoNaoZero = bRestoNaoZero || digito != 0;
        m = m.DivSmall(10, digito);
    }
    if (digito > 5 || (digito == 5 && (bRestoNaoZero || m.IsOdd())))
        m = m + 1;
    return GravaCy(bNegativo, m, pcyOut);
}

HRESULT VarDecDiv(LPDECIMAL pdecLeft, LPDECIMAL pdecRight, LPDECIMAL pdecResult) {
    if (!pdecLeft || !pdecRight || !pdecResult || !DecimalValido(*pdecLeft) ||
        !DecimalValido(*pdecRight))
        return E_INVALIDARG;
    const U128 d = Mantissa(*pdecRight);
    if (d == U128(0))
        return DISP_E_DIVBYZERO;
    const bool bNegativo = ((pdecLeft->sign ^ pdecRight->sign) & DECIMAL_NEG) != 0;

    U128 q, r;
    U128::DivMod(Mantissa(*pdecLeft), d, q, r);
    int escala = pdecLeft->scale - pdecRight->scale;

    // One more decimal digit of the quotient: (q, r) -> (10q + digit, remainder).
    const auto proximo = [&d](U128& quociente, U128& resto) {
        U128 r10 = resto.MulSmall(10); // resto < d <= 2^96: no overflow
        std::uint32_t digito = 0;
        while (r10 >= d) {
            r10 = r10 - d;
            ++digito;
        }
        quociente = quociente.MulSmall(10) + U128(digito);
        resto = r10;
    };

    // A negative scale is paid first: the quotient must reach scale 0 whole.
    for (; escala < 0; ++escala) {
        proximo(q, r);
        if (q >= kMantissaLimite)
            return DISP_E_OVERFLOW;
    }
    // Further digits while the division is inexact and they still fit.
    while (r != U128(0) && escala < kEscalaMaxima) {
        U128 q2 = q, r2 = r;
        proximo(q2, r2);
        if (q2 >= kMantissaLimite)
            break;
        q = q2;
        r = r2;
        ++escala;
    }
    if (r != U128(0) && ArredondaParaCima(q, r, d)) {
        q = q + 1;
        if (q == kMantissaLimite) {
            // Rounding carried into a 97th bit: give up one digit.
            if (escala == 0)
                return DISP_E_OVERFLOW;
            std::uint32_t digito = 0;
            q = q.DivSmall(10, digito);
            if (digito >= 5)
                q = q + 1;
            --escala;
        }
    }
    GravaDecimal(pdecResult, static_cast<BYTE>(escala), bNegativo, q);
    return S_OK;
}

} // namespace tq::oleaut
