// The money value's binary arithmetic on POSIX: the portable exact functions, inline.
// Each writes out only on success; the money value starts its result at 0.
#pragma once

#include "tqlibex/money/OleAutMoeda.h"

namespace tq::detail {

inline void SomaMoeda(const tagCY& a, const tagCY& b, tagCY& out) {
    LONGLONG r;
    if (!__builtin_add_overflow(a.int64, b.int64, &r))
        out.int64 = r;
}

inline void SubtraiMoeda(const tagCY& a, const tagCY& b, tagCY& out) {
    LONGLONG r;
    if (!__builtin_sub_overflow(a.int64, b.int64, &r))
        out.int64 = r;
}

// out is written once, whichever path, so that the money value's result is not stored twice.
inline void MultiplicaMoeda(const tagCY& a, const tagCY& b, tagCY& out) {
    tagCY r = out;
    if (!MultiplicaCyRapido(a.int64, b.int64, r.int64))
        (void)tq::oleaut::VarCyMul(a, b, &r);
    out = r;
}

// The division as Windows' chain gives it (VarDecFromCy, VarDecDiv, VarCyFromDec): 0 on failure.
inline void DivisaoMoeda(const tagCY& a, const tagCY& b, tagCY& out) {
    out.int64 = 0;
    if (!DivideCyRapido(a.int64, b.int64, out.int64))
        (void)tq::oleaut::CyDiv(a, b, &out);
}

// A DECIMAL to four-decimal currency, half to even: the platform's VarCyFromDec.
inline HRESULT CyDeDecimal(DECIMAL* d, CY* out) {
    return tq::oleaut::VarCyFromDec(d, out);
}
} // namespace tq::detail
