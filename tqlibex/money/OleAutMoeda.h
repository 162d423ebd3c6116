// The OLE Automation currency and decimal functions, exact and portable.
//
// They follow what Windows' oleaut32 does, with no floating point anywhere:
// - VarCyAdd/VarCySub: exact 64-bit sums; DISP_E_OVERFLOW outside the currency range.
// - VarCyMul: the exact 128-bit product of the raw values, rounded to four decimals half-to-even.
// - VarDecDiv: the quotient, digit by digit, until it is exact, the scale reaches 28, or one more
//   digit would not fit the 96-bit mantissa; then rounded half-to-even. DISP_E_DIVBYZERO for a
//   zero divisor.
// - VarCyFromDec: rounds half-to-even to four decimals; DISP_E_OVERFLOW past the 64-bit range
//   (exactly -2^63 is allowed); E_INVALIDARG for a scale above 28 or a sign byte other than 0 and
//   0x80.
// - A null pointer argument gives E_INVALIDARG; an output is written only on success.
// On POSIX these are also the platform's VarCy* functions; on Windows oleaut32 provides those and
// the conformance tests hold both to the same vectors.
#pragma once

#include "tqlibex/base/WinTypes.h"

namespace tq::oleaut {

HRESULT VarCyAdd(CY cyLeft, CY cyRight, LPCY pcyResult);
HRESULT VarCySub(CY cyLeft, CY cyRight, LPCY pcyResult);
HRESULT VarCyMul(CY cyLeft, CY cyRight, LPCY pcyResult);
HRESULT VarDecFromCy(CY cyIn, DECIMAL* pdecOut);
HRESULT VarDecFromI2(SHORT sIn, DECIMAL* pdecOut);
HRESULT VarDecDiv(LPDECIMAL pdecLeft, LPDECIMAL pdecRight, LPDECIMAL pdecResult);
HRESULT VarCyFromDec(DECIMAL* pdecIn, CY* pcyOut);

// The currency quotient in one step: exactly what VarDecFromCy on both operands, VarDecDiv and
// VarCyFromDec give, without the 96-bit detour. (The detour cannot change the result: the
// decimal quotient keeps at least 24 decimals or 28 significant digits, so its own rounding
// error is below 10^-24, while a currency quotient a/b that is not itself a tie lies at least
// 1/(2*10^4*|b|) > 10^-24 from the nearest four-decimal tie.)
HRESULT CyDiv(CY cyLeft, CY cyRight, LPCY pcyResult);

} // namespace tq::oleaut

namespace tq::detail {

// Fast paths of VarCyMul and CyDiv for everyday amounts, inline so that the money value's loops
// do not pay a call. They answer false, leaving r alone, when the operands need the wide path.

// Branch-free rounding: the sign and the half-to-even decision are data, not jumps, because
// amounts arrive in no predictable order. Up when the remainder is past half the divisor, or
// exactly half with the quotient odd: for 10^4, resto + (q & 1) > 5000 says both.

// Product: the exact 128-bit product p, divided by 10^4 and rounded half-to-even, whenever
// -2^67 <= p < 7 * 2^64, about 1.29 * 10^20 (an amount of a billion times a quantity of a
// hundred: what billing multiplies). Half-to-even is symmetric, so it can be worked on the
// floor quotient q = floor(p / 10^4) and its remainder r in [0, 10^4) whatever the sign: up
// when r > 5000, or r = 5000 and q odd. In that range x = p >> 4 fits 64 bits signed, and
// adding 625 * K (K = ceil(2^63 / 625)) makes it non-negative and still below 2^64; then
// q = (x + 625 * K) / 625 - K, an unsigned division by a constant, which the compiler turns
// into a multiplication. The remainder is exact in the low 64 bits:
// r = lo + 16 * 442 - (q + K) * 10^4, since 625 * K = 2^63 + 442.
// Targets without 128-bit integers keep the signed 64-bit product.
inline bool MultiplicaCyRapido(LONGLONG a, LONGLONG b, LONGLONG& r) {
#ifdef __SIZEOF_INT128__
    const __int128 p = static_cast<__int128>(a) * b;
    const unsigned long long hi = static_cast<unsigned long long>(p >> 64);
    const unsigned long long lo = static_cast<unsigned long long>(p);
    if (hi + 8 > 14) // the high half outside [-8, 6]
        return false;
    constexpr unsigned long long K = 14757395258967642ull;
    static_assert(K * 625 == (1ull << 63) + 442 && K % 2 == 0);
    const unsigned long long x = static_cast<unsigned long long>(static_cast<LONGLONG>(p >> 4));
    const unsigned long long q = (x + K * 625) / 625; // floor(p / 10^4) + K; K is even
    // r - 7072, as a signed value in [-7072, 2928): up when it is above -2072, or -2072 with q
    // odd; the sign bit of resto + (q & 1) + 2071 says "not up".
    const LONGLONG resto = static_cast<LONGLONG>(lo - q * 10000);
    const unsigned long long abaixo =
        static_cast<unsigned long long>(resto + static_cast<LONGLONG>(q & 1) + 2071) >> 63;
    r = static_cast<LONGLONG>(q - (K - 1) - abaixo);
    return true;
#else
    LONGLONG p;
    if (__builtin_mul_overflow(a, b, &p))
        return false;
    // Unsigned, so that a product of exactly -2^63 has its magnitude too.
    const unsigned long long sinal = p < 0 ? ~0ull : 0;
    const unsigned long long modulo = (static_cast<unsigned long long>(p) ^ sinal) - sinal;
    const unsigned long long q = modulo / 10000, resto = modulo - q * 10000;
    const unsigned long long arredondado = q + (resto + (q & 1) > 5000 ? 1 : 0);
    r = static_cast<LONGLONG>((arredondado ^ sinal) - sinal);
    return true;
#endif
}

// Quotient a * 10^4 / b, rounded half-to-even, when a * 10^4 fits 64 bits unsigned.
inline bool DivideCyRapido(LONGLONG a, LONGLONG b, LONGLONG& r) {
    constexpr unsigned long long kLimiteA = ~0ull / 10000;
    const unsigned long long ua =
        a < 0 ? 0 - static_cast<unsigned long long>(a) : static_cast<unsigned long long>(a);
    const unsigned long long ub =
        b < 0 ? 0 - static_cast<unsigned long long>(b) : static_cast<unsigned long long>(b);
    if (ua > kLimiteA || ub == 0)
        return false;
    const unsigned long long n = ua * 10000, q = n / ub, resto = n - q * ub;
    const unsigned long long arredondado = q + (2 * resto + (q & 1) > ub ? 1 : 0);
    // The quotient of a 64-bit numerator can still pass the currency range (b = 0.0001).
    if (arredondado > (1ull << 63) - ((a < 0) != (b < 0) ? 0 : 1))
        return false;
    const LONGLONG sinal = (a < 0) != (b < 0) ? -1 : 0;
    r = (static_cast<LONGLONG>(arredondado) ^ sinal) - sinal;
    return true;
}

} // namespace tq::detail
