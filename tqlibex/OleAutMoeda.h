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

#include "tqlibex/WinTypes.h"

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

// The money value's division, as the platform does it: out is 0 unless every step succeeds.
// Windows runs the oleaut32 chain (VarDecFromI2 to clear the temporaries, VarDecFromCy,
// VarDecDiv, VarCyFromDec); POSIX computes the same quotient with tq::oleaut::CyDiv.
void DivisaoMoeda(const tagCY& left, const tagCY& right, tagCY& out);

} // namespace tq::detail
