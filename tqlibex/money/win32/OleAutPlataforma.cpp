// Windows: the money value divides through oleaut32, as every module program always has.
#include <MoedaPlataforma.h>

namespace tq::detail {

void DivisaoMoeda(const tagCY& left, const tagCY& right, tagCY& out) {
    out.int64 = 0;
    DECIMAL decLeft, decRight, decResult;
    if (FAILED(VarDecFromI2(0, &decLeft)) || FAILED(VarDecFromI2(0, &decRight)) ||
        FAILED(VarDecFromI2(0, &decResult)))
        return;
    if (FAILED(VarDecFromCy(left, &decLeft)) || FAILED(VarDecFromCy(right, &decRight)))
        return;
    if (FAILED(VarDecDiv(&decLeft, &decRight, &decResult)))
        return;
    tagCY quociente;
    if (SUCCEEDED(VarCyFromDec(&decResult, &quociente)))
        out = quociente;
}

} // namespace tq::detail
