// The narrow primitive the COM access policy runs over: the handful of COM, kernel32 and user32
// calls it makes, each named after the call it stands for. Production uses the platform's (ole32
// and Win32 on Windows; the in-process class table and std::thread on POSIX); a test installs a
// scripted one for a scope to provoke what a real server rarely does on demand.
#pragma once

#include <ComApi.h>

#include "tqlibex/base/Escopo.h"
#include "tqlibex/base/TQString.h"
#include "tqlibex/base/WinTypes.h"

#include <string>

namespace tq {

class IPrimitivaCom {
public:
    virtual ~IPrimitivaCom() = default;

    // ole32
    virtual HRESULT CoInitializeSecurity(void* pSecDesc, LONG cAuthSvc,
                                         SOLE_AUTHENTICATION_SERVICE* asAuthSvc, void* pReserved1,
                                         DWORD dwAuthnLevel, DWORD dwImpLevel, void* pAuthList,
                                         DWORD dwCapabilities, void* pReserved3) = 0;
    virtual HRESULT CoCreateInstanceEx(REFCLSID rclsid, IUnknown* punkOuter, DWORD dwClsCtx,
                                       COSERVERINFO* pServerInfo, DWORD dwCount,
                                       MULTI_QI* pResults) = 0;
    virtual HRESULT CoSetProxyBlanket(IUnknown* pProxy, DWORD dwAuthnSvc, DWORD dwAuthzSvc,
                                      OLECHAR* pServerPrincName, DWORD dwAuthnLevel,
                                      DWORD dwImpLevel, void* pAuthInfo, DWORD dwCapabilities) = 0;
    virtual HRESULT CoMarshalInterThreadInterfaceInStream(REFIID riid, LPUNKNOWN pUnk,
                                                          LPSTREAM* ppStm) = 0;
    virtual HRESULT CoGetInterfaceAndReleaseStream(LPSTREAM pStm, REFIID iid, LPVOID* ppv) = 0;
    virtual HRESULT CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit) = 0;
    virtual void CoUninitialize() = 0;

    // kernel32. IsWow64Process asks about the current process, with the function looked up at
    // run time; FALSE when the lookup or the call fails.
    virtual BOOL IsWow64Process(BOOL* pbWow64) = 0;
    virtual HANDLE CreateThread(LPTHREAD_START_ROUTINE pfnInicio, LPVOID pParametro,
                                DWORD* pdwIdThread) = 0;
    virtual HANDLE CreateEventA(BOOL bManualReset, BOOL bInitialState) = 0;
    virtual BOOL SetEvent(HANDLE hEvent) = 0;
    virtual DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds) = 0;
    virtual BOOL CloseHandle(HANDLE hObject) = 0;
    virtual void Sleep(DWORD dwMilliseconds) = 0;
    virtual DWORD GetLastError() = 0;

    // user32: thread messages and thread timers (no window).
    virtual BOOL PostThreadMessageA(DWORD idThread, UINT uMsg, WPARAM wParam, LPARAM lParam) = 0;
    virtual BOOL GetMessageA(MSG* pMsg) = 0;
    virtual BOOL PeekMessageA(MSG* pMsg, UINT uMin, UINT uMax, UINT uRemove) = 0;
    virtual UINT_PTR SetTimer(UINT uElapse) = 0;
    virtual BOOL KillTimer(UINT_PTR uIdEvent) = 0;

    // What "ping <server>" printed; empty when it could not be run.
    virtual CTQString Ping(const char* pszServidor) = 0;
};

// The platform's calls, one to one.
class CPrimitivaComDaPlataforma : public IPrimitivaCom {
public:
    HRESULT CoInitializeSecurity(void* pSecDesc, LONG cAuthSvc,
                                 SOLE_AUTHENTICATION_SERVICE* asAuthSvc, void* pReserved1,
                                 DWORD dwAuthnLevel, DWORD dwImpLevel, void* pAuthList,
                                 DWORD dwCapabilities, void* pReserved3) override;
    HRESULT CoCreateInstanceEx(REFCLSID rclsid, IUnknown* punkOuter, DWORD dwClsCtx,
                               COSERVERINFO* pServerInfo, DWORD dwCount,
                               MULTI_QI* pResults) override;
    HRESULT CoSetProxyBlanket(IUnknown* pProxy, DWORD dwAuthnSvc, DWORD dwAuthzSvc,
                              OLECHAR* pServerPrincName, DWORD dwAuthnLevel, DWORD dwImpLevel,
                              void* pAuthInfo, DWORD dwCapabilities) override;
    HRESULT CoMarshalInterThreadInterfaceInStream(REFIID riid, LPUNKNOWN pUnk,
                                                  LPSTREAM* ppStm) override;
    HRESULT CoGetInterfaceAndReleaseStream(LPSTREAM pStm, REFIID iid, LPVOID* ppv) override;
    HRESULT CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit) override;
    void CoUninitialize() override;
    BOOL IsWow64Process(BOOL* pbWow64) override;
    HANDLE CreateThread(LPTHREAD_START_ROUTINE pfnInicio, LPVOID pParametro,
                        DWORD* pdwIdThread) override;
    HANDLE CreateEventA(BOOL bManualReset, BOOL bInitialState) override;
    BOOL SetEvent(HANDLE hEvent) override;
    DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds) override;
    BOOL CloseHandle(HANDLE hObject) override;
    void Sleep(DWORD dwMilliseconds) override;
    DWORD GetLastError() override;
    BOOL PostThreadMessageA(DWORD idThread, UINT uMsg, WPARAM wParam, LPARAM lParam) override;
    BOOL GetMessageA(MSG* pMsg) override;
    BOOL PeekMessageA(MSG* pMsg, UINT uMin, UINT uMax, UINT uRemove) override;
    UINT_PTR SetTimer(UINT uElapse) override;
    BOOL KillTimer(UINT_PTR uIdEvent) override;
    // Runs only for a name made of letters, digits, '.', '-', '_' and ':' (a registry value
    // must not become a shell command).
    CTQString Ping(const char* pszServidor) override;
};

IPrimitivaCom& PrimitivaComAtual();
IPrimitivaCom& PrimitivaComDaPlataforma();

using CEscopoPrimitivaCom = CEscopo<IPrimitivaCom>;

namespace detail {
// Supplied by each platform folder.
bool IsWow64(BOOL* pbWow64);
std::basic_string<WCHAR> TextoLargo(const char* psz);
// The ping command for one server ("%s"), with its errors on standard output.
const char* FormatoDoPing();
} // namespace detail

} // namespace tq
