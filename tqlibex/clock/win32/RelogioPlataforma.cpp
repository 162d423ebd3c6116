// Windows: the real clock and its zone through kernel32.
#include "tqlibex/clock/RelogioReal.h"

#include <WinApi.h>

namespace {

class CRelogioWindows : public tq::IRelogioReal {
public:
    FILETIME AgoraLocal() override {
        SYSTEMTIME st;
        GetLocalTime(&st);
        FILETIME ft{};
        SystemTimeToFileTime(&st, &ft);
        return ft;
    }
    FILETIME AgoraUtc() override {
        FILETIME ft;
        GetSystemTimeAsFileTime(&ft);
        return ft;
    }
    bool LocalParaUtc(const FILETIME& local, FILETIME& utc) override {
        return LocalFileTimeToFileTime(&local, &utc) != FALSE;
    }
};

} // namespace

namespace tq {

IRelogioReal& RelogioDaPlataforma() {
    static CRelogioWindows relogio;
    return relogio;
}

} // namespace tq
