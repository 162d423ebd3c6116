// POSIX has no oleaut32: the platform's currency functions are the portable exact ones.
#include "tqlibex/money/OleAutMoeda.h"

HRESULT VarCyAdd(CY cyLeft, CY cyRight, LPCY pcyResult) {
    return tq::oleaut::VarCyAdd(cyLeft, cyRight, pcyResult);
}
HRESULT VarCySub(CY cyLeft, CY cyRight, LPCY pcyResult) {
    return tq::oleaut::VarCySub(cyLeft, cyRight, pcyResult);
}
HRESULT VarCyMul(CY cyLeft, CY cyRight, LPCY pcyResult) {
    return tq::oleaut::VarCyMul(cyLeft, cyRight, pcyResult);
}
HRESULT VarDecFromCy(CY cyIn, DECIMAL* pdecOut) {
    return tq::oleaut::VarDecFromCy(cyIn, pdecOut);
}
HRESULT VarDecFromI2(SHORT sIn, DECIMAL* pdecOut) {
    return tq::oleaut::VarDecFromI2(sIn, pdecOut);
}
HRESULT VarDecDiv(LPDECIMAL pdecLeft, LPDECIMAL pdecRight, LPDECIMAL pdecResult) {
    return tq::oleaut::VarDecDiv(pdecLeft, pdecRight, pdecResult);
}
HRESULT VarCyFromDec(DECIMAL* pdecIn, CY* pcyOut) {
    return tq::oleaut::VarCyFromDec(pdecIn, pcyOut);
}
