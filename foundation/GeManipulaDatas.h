// CGeManipulaDatas: the current date and hour from the shifted clock, and the conversions between
// the ways hours are written in time records.
//
// Hours in a currency (four decimals):
//   centesimal   1.5000 = one and a half hours (hundredths of an hour, then two more digits)
//   sexagesimal  1.3000 = one hour thirty (minutes, then hundredths of a minute)
// Hours in an unsigned 16-bit number: hours * 100 + minutes (1 h 30 = 130). The members that
// handle this form say "Centesimal" although its low digits are minutes; the names stay.
#pragma once

#include "foundation/TQDma.h"
#include "tqlibex/base/TQString.h"
#include "tqlibex/base/WinTypes.h"

class CGeManipulaDatas {
public:
    CGeManipulaDatas() = default;
    CGeManipulaDatas(const CGeManipulaDatas&) = default;
    virtual ~CGeManipulaDatas() = default;

    // Today, from the shifted clock.
    static CTQDma PegaDataAtual();

    // Both conversions keep the whole hours and convert the fraction, dropping its last two
    // digits first; with bArredonda the result is rounded to whole minutes (or hundredths) by the
    // repeated-5 addend, whatever the sign: -1.5000 centesimal gives -1.3000, or -1.2900 rounded.
    static tagCY ConverteHorasCentesimalParaSexagesimal(tagCY horas, bool bArredonda);
    static tagCY ConverteHorasSexagesimalParaCentesimal(tagCY horas, bool bArredonda);

    // A count of minutes as hours * 100 + minutes: 90 gives 130, 1,439 gives 2,359.
    static unsigned short ConverteHorasSexagesimalParaCentesimal(unsigned short minutos);
    // The shifted local time of day as hours * 100 + minutes: 14:05 gives 1,405.
    static unsigned short GetHoraAtualComoCentesimal();
    // "%02d:%02d" of hora / 100 and hora % 100: 1,405 gives "14:05".
    static CTQString ConverteHoraCentesimalParaString(unsigned short hora);
    static CTQString GetHoraAtualComoString();
};
