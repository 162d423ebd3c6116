#include "tqlibex/com/PrimitivaCom.h"

#include <cctype>
#include <cstdio>

namespace tq {

HRESULT CPrimitivaComDaPlataforma::CoInitializeSecurity(void* pSecDesc, LONG cAuthSvc,
                                                        SOLE_AUTHENTICATION_SERVICE* asAuthSvc,
                                                        void* pReserved1, DWORD dwAuthnLevel,
                                                        DWORD dwImpLevel, void* pAuthList,
                                                        DWORD dwCapabilities, void* pReserved3) {
    return ::CoInitializeSecurity(static_cast<PSECURITY_DESCRIPTOR>(pSecDesc), cAuthSvc, asAuthSvc,
                                  pReserved1, dwAuthnLevel, dwImpLevel, pAuthList, dwCapabilities,
                                  pReserved3);
}

HRESULT CPrimitivaComDaPlataforma::CoCreateInstanceEx(REFCLSID rclsid, IUnknown* punkOuter,
                                                      DWORD dwClsCtx, COSERVERINFO* pServerInfo,
                                                      DWORD dwCount, MULTI_QI* pResults) {
    return ::CoCreateInstanceEx(rclsid, punkOuter, dwClsCtx, pServerInfo, dwCount, pResults);
}

HRESULT CPrimitivaComDaPlataforma::CoSetProxyBlanket(IUnknown* pProxy, DWORD dwAuthnSvc,
                                                     DWORD dwAuthzSvc, OLECHAR* pServerPrincName,
                                                     DWORD dwAuthnLevel, DWORD dwImpLevel,
                                                     void* pAuthInfo, DWORD dwCapabilities) {
    return ::CoSetProxyBlanket(pProxy, dwAuthnSvc, dwAuthzSvc, pServerPrincName, dwAuthnLevel,
                               dwImpLevel, pAuthInfo, dwCapabilities);
}

HRESULT CPrimitivaComDaPlataforma::CoMarshalInterThreadInterfaceInStream(REFIID riid,
                                                                         LPUNKNOWN pUnk,
                                                                         LPSTREAM* ppStm) {
    return ::CoMarshalInterThreadInterfaceInStream(riid, pUnk, ppStm);
}

HRESULT CPrimitivaComDaPlataforma::CoGetInterfaceAndReleaseStream(LPSTREAM pStm, REFIID iid,
                                                                  LPVOID* ppv) {
    return ::CoGetInterfaceAndReleaseStream(pStm, iid, ppv);
}

HRESULT CPrimitivaComDaPlataforma::CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit) {
    return ::CoInitializeEx(pvReserved, dwCoInit);
}

void CPrimitivaComDaPlataforma::CoUninitialize() {
    ::CoUninitialize();
}

BOOL CPrimitivaComDaPlataforma::IsWow64Process(BOOL* pbWow64) {
    return detail::IsWow64(pbWow64) ? TRUE : FALSE;
}

HANDLE CPrimitivaComDaPlataforma::CreateThread(LPTHREAD_START_ROUTINE pfnInicio, LPVOID pParametro,
                                               DWORD* pdwIdThread) {
    return ::CreateThread(nullptr, 0, pfnInicio, pParametro, 0, pdwIdThread);
}

HANDLE CPrimitivaComDaPlataforma::CreateEventA(BOOL bManualReset, BOOL bInitialState) {
    return ::CreateEventA(nullptr, bManualReset, bInitialState, nullptr);
}

BOOL CPrimitivaComDaPlataforma::SetEvent(HANDLE hEvent) {
    return ::SetEvent(hEvent);
}

DWORD CPrimitivaComDaPlataforma::WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds) {
    return ::WaitForSingleObject(hHandle, dwMilliseconds);
}

BOOL CPrimitivaComDaPlataforma::CloseHandle(HANDLE hObject) {
    return ::CloseHandle(hObject);
}

void CPrimitivaComDaPlataforma::Sleep(DWORD dwMilliseconds) {
    ::Sleep(dwMilliseconds);
}

DWORD CPrimitivaComDaPlataforma::GetLastError() {
    return ::GetLastError();
}

BOOL CPrimitivaComDaPlataforma::PostThreadMessageA(DWORD idThread, UINT uMsg, WPARAM wParam,
                                                   LPARAM lParam) {
    return ::PostThreadMessageA(idThread, uMsg, wParam, lParam);
}

BOOL CPrimitivaComDaPlataforma::GetMessageA(MSG* pMsg) {
    return ::GetMessageA(pMsg, nullptr, 0, 0);
}

BOOL CPrimitivaComDaPlataforma::PeekMessageA(MSG* pMsg, UINT uMin, UINT uMax, UINT uRemove) {
    return ::PeekMessageA(pMsg, nullptr, uMin, uMax, uRemove);
}

UINT_PTR CPrimitivaComDaPlataforma::SetTimer(UINT uElapse) {
    return ::SetTimer(nullptr, 0, uElapse, nullptr);
}

BOOL CPrimitivaComDaPlataforma::KillTimer(UINT_PTR uIdEvent) {
    return ::KillTimer(nullptr, uIdEvent);
}

CTQString CPrimitivaComDaPlataforma::Ping(const char* pszServidor) {
    if (!pszServidor || !*pszServidor)
        return CTQString();
    for (const char* p = pszServidor; *p; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if (!std::isalnum(c) && c != '.' && c != '-' && c != '_' && c != ':')
            return CTQString();
    }
    CTQString comando;
    comando.Format(detail::FormatoDoPing(), pszServidor);
    FILE* pSaida = popen(comando.GetString(), "r");
    if (!pSaida)
        return CTQString();
    CTQString texto;
    char buffer[256];
    while (std::fgets(buffer, sizeof buffer, pSaida))
        texto += buffer;
    pclose(pSaida);
    return texto;
}

// Never destroyed: a keep-alive thread may still be stopping while the process's statics go.
IPrimitivaCom& PrimitivaComDaPlataforma() {
    static auto* primitiva = new CPrimitivaComDaPlataforma;
    return *primitiva;
}

IPrimitivaCom& PrimitivaComAtual() {
    return EmUso<IPrimitivaCom>(PrimitivaComDaPlataforma());
}

} // namespace tq
