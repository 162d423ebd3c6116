// The money value's binary arithmetic on Windows: oleaut32, as module programs always had it.
// The status is not looked at; each function leaves out alone when the platform does.
#pragma once

#include <WinApi.h>

namespace tq::detail {

inline void SomaMoeda(const tagCY& a, const tagCY& b, tagCY& out) {
    (void)VarCyAdd(a, b, &out);
}
inline void SubtraiMoeda(const tagCY& a, const tagCY& b, tagCY& out) {
    (void)VarCySub(a, b, &out);
}
inline void MultiplicaMoeda(const tagCY& a, const tagCY& b, tagCY& out) {
    (void)VarCyMul(a, b, &out);
}

// VarDecFromI2 clears the three temporaries, then VarDecFromCy, VarDecDiv, VarCyFromDec; the
// first failure leaves out at 0.
void DivisaoMoeda(const tagCY& a, const tagCY& b, tagCY& out);

// A DECIMAL to four-decimal currency, half to even: the platform's VarCyFromDec.
inline HRESULT CyDeDecimal(DECIMAL* d, CY* out) {
    return VarCyFromDec(d, out);
}
} // namespace tq::detail
