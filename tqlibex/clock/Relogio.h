// The one clock of the library. Every current date and time comes from
// GetCurrentTime_LocalFileTime, which a test machine can shift through the system environment value
// "TQ_DATETIME":
//     "switch;DD/MM/AAAA;hh:mm:ss:mmm;DD/MM/AAAA;hh:mm:ss:mmm"
// With fifteen numbers and a switch other than 0, the clock reads the first date and time plus the
// real time elapsed since the second; otherwise it reads the real clock.
//
// The setting is read once per process, unless the machine is marked as a test environment
// (DWORD "Env_PTA" = 1 under SOFTWARE\PTA, HKLM or HKCU, 64-bit view): then at every reading.
// Threads may read the clock concurrently.
//
// Conversion failures throw CTQException* carrying the platform's last error.
#pragma once

#include "tqlibex/base/Escopo.h"
#include "tqlibex/base/TQException.h"
#include "tqlibex/base/TQString.h"
#include "tqlibex/base/WinTypes.h"
#include "tqlibex/clock/RelogioReal.h"

#include <mutex>

FILETIME GetCurrentTime_LocalFileTime();
SYSTEMTIME GetCurrentTime_LocalTime();
SYSTEMTIME GetCurrentTime_SystemTime();
FILETIME GetCurrentTime_SystemTimeAsFileTime();
FILETIME Helper_SystemTimeToFileTime(const SYSTEMTIME& st);

namespace tq {

// A calendar moment (the day of the week left 0, as conversions to ticks ignore it).
SYSTEMTIME Momento(unsigned dia, unsigned mes, unsigned ano, unsigned hora = 0, unsigned minuto = 0,
                   unsigned segundo = 0, unsigned ms = 0);

IRelogioReal& RelogioAtual();

using CEscopoRelogio = CEscopo<IRelogioReal>;

// A clock that stands where it is set. UTC = local + bias minutes, as Windows writes the bias
// (Brasília, UTC-3, has bias 180).
class CRelogioAjustavel : public IRelogioReal {
public:
    CRelogioAjustavel(const SYSTEMTIME& local, LONG nBiasMinutos);
    void Define(const SYSTEMTIME& local, LONG nBiasMinutos);
    void Avanca(ULONGLONG ticks);

    FILETIME AgoraLocal() override;
    FILETIME AgoraUtc() override;
    bool LocalParaUtc(const FILETIME& local, FILETIME& utc) override;

private:
    std::mutex m_mutex;
    ULONGLONG m_local = 0;
    LONGLONG m_bias = 0; // ticks
};

} // namespace tq

namespace tq::detail {

// The clock setting text as GetCurrentTime_LocalFileTime sees it (loading it if needed).
CTQString ConfiguracaoDoRelogio();
// Forgets the cached setting, as a new process would start. For tests.
void EsqueceConfiguracaoDoRelogio();

} // namespace tq::detail
