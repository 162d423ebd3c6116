// The part of COM and of the Win32 thread and message API that the COM access layer uses, as POSIX
// builds provide it: an in-process class table (a module registers a factory per CLSID, as
// CoRegisterClassObject does), a malloc-backed task allocator, "marshalling" as an AddRef'd
// hand-over, threads on std::thread with a per-thread message queue and thread timers. Results
// and last errors follow Windows wherever the library or its tests can tell.
#pragma once

#include <TQPlatformTypes.h>

#include "tqlibex/com/AlocadorTarefas.h"

#include <cstddef>

#define WINAPI
#define STDMETHODCALLTYPE
#define STDMETHODIMP HRESULT STDMETHODCALLTYPE
#define STDMETHODIMP_(type) type STDMETHODCALLTYPE

#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif

using HANDLE = void*;
using HWND = void*;
using LPVOID = void*;
using WPARAM = UINT_PTR;
using LPARAM = INT_PTR;
using WCHAR = char16_t;
using OLECHAR = WCHAR;
using LPWSTR = WCHAR*;
using PSECURITY_DESCRIPTOR = void*;

// __uuidof as MinGW-w64 spells it: interfaces declare their IID with __CRT_UUID_DECL, which
// widl's headers use inside extern "C" blocks.
template <class T>
const GUID& __mingw_uuidof();
#define __CRT_UUID_DECL(type, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8)                           \
    extern "C++" {                                                                                 \
    template <>                                                                                    \
    inline const GUID& __mingw_uuidof<type>() {                                                    \
        static constexpr GUID id = {l, w1, w2, {b1, b2, b3, b4, b5, b6, b7, b8}};                  \
        return id;                                                                                 \
    }                                                                                              \
    template <>                                                                                    \
    inline const GUID& __mingw_uuidof<type*>() {                                                   \
        return __mingw_uuidof<type>();                                                             \
    }                                                                                              \
    }
#define __uuidof(type) __mingw_uuidof<__typeof(type)>()

// What widl's C++ declarations are written with. DEFINE_GUID defines the identifier in each
// translation unit (Windows builds link the _i.c file instead).
#define interface struct
#define MIDL_INTERFACE(x) struct
#define DECLSPEC_UUID(x)
#define DEFINE_GUID(name, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8)                               \
    constexpr GUID name = {l, w1, w2, {b1, b2, b3, b4, b5, b6, b7, b8}}

struct IUnknown {
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;

protected:
    ~IUnknown() = default;
};
__CRT_UUID_DECL(IUnknown, 0x00000000, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                0x46)
using LPUNKNOWN = IUnknown*;

struct IClassFactory : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pUnkOuter, REFIID riid,
                                                     void** ppvObject) = 0;
    virtual HRESULT STDMETHODCALLTYPE LockServer(BOOL fLock) = 0;

protected:
    ~IClassFactory() = default;
};
__CRT_UUID_DECL(IClassFactory, 0x00000001, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                0x46)

// Only ever a carrier of a marshalled interface here.
struct IStream : IUnknown {
protected:
    ~IStream() = default;
};
__CRT_UUID_DECL(IStream, 0x0000000C, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46)
using LPSTREAM = IStream*;

struct COAUTHIDENTITY;
struct COAUTHINFO {
    DWORD dwAuthnSvc;
    DWORD dwAuthzSvc;
    LPWSTR pwszServerPrincName;
    DWORD dwAuthnLevel;
    DWORD dwImpersonationLevel;
    COAUTHIDENTITY* pAuthIdentityData;
    DWORD dwCapabilities;
};
struct COSERVERINFO {
    DWORD dwReserved1;
    LPWSTR pwszName;
    COAUTHINFO* pAuthInfo;
    DWORD dwReserved2;
};
struct MULTI_QI {
    const IID* pIID;
    IUnknown* pItf;
    HRESULT hr;
};
struct SOLE_AUTHENTICATION_SERVICE;

constexpr DWORD CLSCTX_INPROC_SERVER = 0x1;
constexpr DWORD CLSCTX_INPROC_HANDLER = 0x2;
constexpr DWORD CLSCTX_LOCAL_SERVER = 0x4;
constexpr DWORD CLSCTX_REMOTE_SERVER = 0x10;
constexpr DWORD CLSCTX_ALL = 0x17;
constexpr DWORD REGCLS_SINGLEUSE = 0;
constexpr DWORD REGCLS_MULTIPLEUSE = 1;
constexpr DWORD COINIT_MULTITHREADED = 0x0;
constexpr DWORD COINIT_APARTMENTTHREADED = 0x2;

constexpr DWORD RPC_C_AUTHN_NONE = 0;
constexpr DWORD RPC_C_AUTHN_WINNT = 10;
constexpr DWORD RPC_C_AUTHZ_NONE = 0;
constexpr DWORD RPC_C_AUTHN_LEVEL_DEFAULT = 0;
constexpr DWORD RPC_C_AUTHN_LEVEL_NONE = 1;
constexpr DWORD RPC_C_IMP_LEVEL_IMPERSONATE = 3;
constexpr DWORD EOAC_NONE = 0;

constexpr HRESULT CO_E_NOTINITIALIZED = static_cast<HRESULT>(0x800401F0u);
constexpr HRESULT CO_S_NOTALLINTERFACES = static_cast<HRESULT>(0x00080012u);
constexpr HRESULT CO_E_OBJNOTREG = static_cast<HRESULT>(0x800401FBu);
constexpr HRESULT RPC_E_CHANGED_MODE = static_cast<HRESULT>(0x80010106u);
constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = static_cast<HRESULT>(0x80040111u);
constexpr HRESULT CO_E_SERVER_STOPPING = static_cast<HRESULT>(0x80004018u);

constexpr DWORD ERROR_INVALID_HANDLE = 6;
constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr DWORD ERROR_INVALID_THREAD_ID = 1444;

HRESULT CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit);
void CoUninitialize();
HRESULT CoInitializeSecurity(void* pSecDesc, LONG cAuthSvc, SOLE_AUTHENTICATION_SERVICE* asAuthSvc,
                             void* pReserved1, DWORD dwAuthnLevel, DWORD dwImpLevel,
                             void* pAuthList, DWORD dwCapabilities, void* pReserved3);
HRESULT CoRegisterClassObject(REFCLSID rclsid, LPUNKNOWN pUnk, DWORD dwClsContext, DWORD flags,
                              DWORD* lpdwRegister);
HRESULT CoRevokeClassObject(DWORD dwRegister);
HRESULT CoCreateInstanceEx(REFCLSID rclsid, IUnknown* punkOuter, DWORD dwClsCtx,
                           COSERVERINFO* pServerInfo, DWORD dwCount, MULTI_QI* pResults);
HRESULT CoSetProxyBlanket(IUnknown* pProxy, DWORD dwAuthnSvc, DWORD dwAuthzSvc,
                          OLECHAR* pServerPrincName, DWORD dwAuthnLevel, DWORD dwImpLevel,
                          void* pAuthInfo, DWORD dwCapabilities);
HRESULT CoMarshalInterThreadInterfaceInStream(REFIID riid, LPUNKNOWN pUnk, LPSTREAM* ppStm);
HRESULT CoGetInterfaceAndReleaseStream(LPSTREAM pStm, REFIID iid, LPVOID* ppv);
// In one process every pointer may already cross threads as it is: there is nothing for a
// free-threaded marshaler to do, and none is made (E_NOTIMPL, *ppunkMarshal null).
HRESULT CoCreateFreeThreadedMarshaler(LPUNKNOWN punkOuter, LPUNKNOWN* ppunkMarshal);
LPVOID CoTaskMemAlloc(std::size_t cb);
void CoTaskMemFree(LPVOID pv);

// Threads, events and waits.
using LPTHREAD_START_ROUTINE = DWORD(WINAPI*)(LPVOID lpThreadParameter);
constexpr DWORD INFINITE = 0xFFFFFFFF;
constexpr DWORD WAIT_OBJECT_0 = 0;
constexpr DWORD WAIT_TIMEOUT = 258;
constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;

HANDLE CreateThread(void* lpThreadAttributes, std::size_t dwStackSize,
                    LPTHREAD_START_ROUTINE lpStartAddress, LPVOID lpParameter,
                    DWORD dwCreationFlags, DWORD* lpThreadId);
HANDLE CreateEventA(void* lpEventAttributes, BOOL bManualReset, BOOL bInitialState,
                    const char* lpName);
BOOL SetEvent(HANDLE hEvent);
DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds);
BOOL CloseHandle(HANDLE hObject);
void Sleep(DWORD dwMilliseconds);
DWORD GetCurrentThreadId();

// Thread message queues and thread timers. A thread gets its queue when it is created here (not
// at its first message call, as on Windows), so a post right after CreateThread never misses.
struct MSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;
};
using LPMSG = MSG*;
using TIMERPROC = void(WINAPI*)(HWND, UINT, UINT_PTR, DWORD);
constexpr UINT WM_QUIT = 0x0012;
constexpr UINT WM_TIMER = 0x0113;
constexpr UINT WM_USER = 0x0400;
constexpr UINT PM_NOREMOVE = 0x0000;
constexpr UINT PM_REMOVE = 0x0001;

BOOL PostThreadMessageA(DWORD idThread, UINT Msg, WPARAM wParam, LPARAM lParam);
BOOL GetMessageA(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax);
BOOL PeekMessageA(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax, UINT wRemoveMsg);
UINT_PTR SetTimer(HWND hWnd, UINT_PTR nIDEvent, UINT uElapse, TIMERPROC lpTimerFunc);
BOOL KillTimer(HWND hWnd, UINT_PTR uIDEvent);
