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

#include "tqlibex/Escopo.h"

#include "tqlibex/TQException.h"
#include "tqlibex/TQString.h"
#include "tqlibex/WinTypes.h"

#include <mutex>

FILETIME GetCurrentTime_LocalFileTime();
SYSTEMTIME GetCurrentTime_LocalTime();
SYSTEMTIME GetCurrentTime_SystemTime();
FILETIME GetCurrentTime_SystemTimeAsFileTime();
FILETIME Helper_SystemTimeToFileTime(const SYSTEMTIME& st);

namespace tq {

constexpr ULONGLONG kTicksPorSegundo = 10000000ull; // FILETIME ticks are 100 ns

inline ULONGLONG Ticks(const FILETIME& ft) {
    return (static_cast<ULONGLONG>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime;
}
inline FILETIME FileTimeDeTicks(ULONGLONG ticks) {
    FILETIME ft;
    ft.dwLowDateTime = static_cast<DWORD>(ticks);
    ft.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    return ft;
}

// A calendar moment (the day of the week left 0, as conversions to ticks ignore it).
SYSTEMTIME Momento(unsigned dia, unsigned mes, unsigned ano, unsigned hora = 0, unsigned minuto = 0,
                   unsigned segundo = 0, unsigned ms = 0);

// Where "now" comes from. Production uses the platform's clock with no setup; tests install a
// settable one for a scope.
class IRelogioReal {
public:
    virtual ~IRelogioReal() = default;
    virtual FILETIME AgoraLocal() = 0;
    virtual FILETIME AgoraUtc() = 0;
    // Local ticks to UTC with the time zone's bias of now, as LocalFileTimeToFileTime does. False
    // with the platform's last error set on failure.
    virtual bool LocalParaUtc(const FILETIME& local, FILETIME& utc) = 0;
};

IRelogioReal& RelogioAtual();
IRelogioReal& RelogioDaPlataforma();

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
