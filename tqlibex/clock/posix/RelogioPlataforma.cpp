// POSIX: the real clock (clock_gettime, localtime_r) and kernel32's calendar conversions.
#include "tqlibex/clock/Calendario.h"
#include "tqlibex/clock/RelogioReal.h"

#include <ctime>

namespace {

thread_local DWORD t_dwUltimoErro = 0;

constexpr long long kDias1601Ate1970 = 134774;
constexpr ULONGLONG kTicksPorDia = 86400ull * tq::kTicksPorSegundo;
constexpr ULONGLONG kTicksPorMs = 10000;

// The zone's offset east of UTC at the given second, from the C library's zone data.
long long DeslocamentoSegundos(std::time_t segundo) {
    std::tm local{};
    return localtime_r(&segundo, &local) ? local.tm_gmtoff : 0;
}

class CRelogioPosix : public tq::IRelogioReal {
public:
    FILETIME AgoraLocal() override {
        const std::timespec ts = Agora();
        return Ticks(ts, DeslocamentoSegundos(ts.tv_sec));
    }
    FILETIME AgoraUtc() override { return Ticks(Agora(), 0); }
    // Like Windows, the bias of now, whatever moment the ticks name.
    bool LocalParaUtc(const FILETIME& local, FILETIME& utc) override {
        const long long deslocamento = DeslocamentoSegundos(Agora().tv_sec);
        utc = tq::FileTimeDeTicks(tq::Ticks(local) -
                                  static_cast<ULONGLONG>(deslocamento) * tq::kTicksPorSegundo);
        return true;
    }

private:
    static std::timespec Agora() {
        std::timespec ts{};
        clock_gettime(CLOCK_REALTIME, &ts);
        return ts;
    }
    static FILETIME Ticks(const std::timespec& ts, long long deslocamento) {
        const long long segundos = static_cast<long long>(ts.tv_sec) + deslocamento;
        return tq::FileTimeDeTicks(static_cast<ULONGLONG>(segundos + kDias1601Ate1970 * 86400) *
                                       tq::kTicksPorSegundo +
                                   static_cast<ULONGLONG>(ts.tv_nsec / 100));
    }
};

} // namespace

DWORD GetLastError() {
    return t_dwUltimoErro;
}
void SetLastError(DWORD dwErrCode) {
    t_dwUltimoErro = dwErrCode;
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* st, FILETIME* ft) {
    if (!st || !ft || st->wYear < 1601 || st->wYear > 30827 || st->wMonth < 1 || st->wMonth > 12 ||
        st->wDay < 1 || st->wDay > tq::detail::DiasNoMes(st->wMonth, st->wYear) || st->wHour > 23 ||
        st->wMinute > 59 || st->wSecond > 59 || st->wMilliseconds > 999) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const long long dias =
        tq::detail::DiasDaData(st->wYear, st->wMonth, st->wDay) + kDias1601Ate1970;
    const ULONGLONG segundos = st->wHour * 3600ull + st->wMinute * 60ull + st->wSecond;
    *ft = tq::FileTimeDeTicks(static_cast<ULONGLONG>(dias) * kTicksPorDia +
                              segundos * tq::kTicksPorSegundo + st->wMilliseconds * kTicksPorMs);
    return 1;
}

BOOL FileTimeToSystemTime(const FILETIME* ft, SYSTEMTIME* st) {
    if (!ft || !st || (ft->dwHighDateTime & 0x80000000u) != 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const ULONGLONG ticks = tq::Ticks(*ft);
    const long long dias = static_cast<long long>(ticks / kTicksPorDia) - kDias1601Ate1970;
    const ULONGLONG resto = ticks % kTicksPorDia;
    long long ano = 0;
    int mes = 0, dia = 0;
    tq::detail::DataDosDias(dias, ano, mes, dia);
    st->wYear = static_cast<WORD>(ano);
    st->wMonth = static_cast<WORD>(mes);
    st->wDay = static_cast<WORD>(dia);
    st->wDayOfWeek = static_cast<WORD>(tq::detail::DiaDaSemana(dias));
    st->wHour = static_cast<WORD>(resto / (3600 * tq::kTicksPorSegundo));
    st->wMinute = static_cast<WORD>(resto / (60 * tq::kTicksPorSegundo) % 60);
    st->wSecond = static_cast<WORD>(resto / tq::kTicksPorSegundo % 60);
    st->wMilliseconds = static_cast<WORD>(resto / kTicksPorMs % 1000);
    return 1;
}

namespace tq {

IRelogioReal& RelogioDaPlataforma() {
    static CRelogioPosix relogio;
    return relogio;
}

} // namespace tq
