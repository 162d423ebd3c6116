// The clock's ground: FILETIME ticks and the real clock the platform port supplies. It sits below
// Relogio.h so that the ports implement it without reaching back into the clock's settings.
#pragma once

#include "tqlibex/base/WinTypes.h"

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

IRelogioReal& RelogioDaPlataforma();

} // namespace tq
