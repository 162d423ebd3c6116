#include "foundation/GeManipulaDatas.h"

#include "tqlibex/clock/Relogio.h"

namespace {

// Whole hours kept, the fraction converted by `fator`: W + f(F / 100), computed in double
// precision in the order the stored hours were always computed with, truncated toward zero.
template <class Fator>
tagCY ConverteFracao(tagCY horas, bool bArredonda, Fator fator) {
    const LONGLONG v = horas.int64;
    const LONGLONG inteiras = v / 10000 * 10000;
    const LONGLONG centesimos = (v - inteiras) / 100;
    LONGLONG m = static_cast<LONGLONG>(fator(static_cast<double>(centesimos)));
    if (bArredonda)
        m = (m + 55) / 100 * 100;
    tagCY resultado;
    resultado.int64 = inteiras + m;
    return resultado;
}

} // namespace

CTQDma CGeManipulaDatas::PegaDataAtual() {
    return CTQDma::DeSystemTime(GetCurrentTime_LocalTime());
}

tagCY CGeManipulaDatas::ConverteHorasCentesimalParaSexagesimal(tagCY horas, bool bArredonda) {
    return ConverteFracao(horas, bArredonda, [](double c) { return c * 0.6 * 100.0; });
}

tagCY CGeManipulaDatas::ConverteHorasSexagesimalParaCentesimal(tagCY horas, bool bArredonda) {
    return ConverteFracao(horas, bArredonda, [](double c) { return c / 0.6 * 100.0; });
}

unsigned short CGeManipulaDatas::ConverteHorasSexagesimalParaCentesimal(unsigned short minutos) {
    return static_cast<unsigned short>(minutos / 60 * 100 + minutos % 60);
}

unsigned short CGeManipulaDatas::GetHoraAtualComoCentesimal() {
    const SYSTEMTIME agora = GetCurrentTime_LocalTime();
    return ConverteHorasSexagesimalParaCentesimal(
        static_cast<unsigned short>(agora.wHour * 60 + agora.wMinute));
}

CTQString CGeManipulaDatas::ConverteHoraCentesimalParaString(unsigned short hora) {
    CTQString s;
    s.Format("%02d:%02d", hora / 100, hora % 100);
    return s;
}

CTQString CGeManipulaDatas::GetHoraAtualComoString() {
    return ConverteHoraCentesimalParaString(GetHoraAtualComoCentesimal());
}
