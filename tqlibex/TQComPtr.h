// COM access: the one place where the library creates business-server objects. It sets the
// process-wide COM security, creates an object locally or on the server machine the registry
// names, sets the proxy's security blanket and, for a remote server, keeps one thread per object
// that pings the server every two minutes so that it is not ended as idle.
//
//     CTQComPtr<ITQGE_Apontamentos> pApontamentos;
//     HRESULT hr = pApontamentos.CoCreateInstance(CLSID_TQGE_Apontamentos);
//     if (SUCCEEDED(hr))
//         hr = pApontamentos->Inicializa(...);
//
// Failures come back as HRESULTs and are traced (file "TQComPtr"); with eTQCCI_LOG_FAILURE,
// activation failures also go to the event log.
#pragma once

#include <ComApi.h>
#include <TQUnknown.h>

#include "tqlibex/PrimitivaCom.h"
#include "tqlibex/TQString.h"
#include "tqlibex/TraceHResult.h"
#include "tqlibex/WinTypes.h"

#include <atomic>
#include <initializer_list>
#include <type_traits>
#include <utility>

// When true, COM calls are made without authentication; otherwise with Windows authentication.
extern bool g_bSemAutenticacao;
// When true, no keep-alive thread is ever started.
extern bool g_bSemKeepAlive;

// Flags of a creation. The connection classes always pass both.
enum ETQComPtrFlags : unsigned {
    eTQCCI_LOG_FAILURE = 1, // report failures to the event log
    eTQCCI_RETRY = 2,       // retry while the server machine answers RPC server unavailable
};

constexpr ETQComPtrFlags operator|(ETQComPtrFlags a, ETQComPtrFlags b) {
    return static_cast<ETQComPtrFlags>(static_cast<unsigned>(a) | static_cast<unsigned>(b));
}

// The library's own results.
constexpr HRESULT ER_TQDF_CO_CREATE_INSTANCE_INTERFACE_NULA = static_cast<HRESULT>(0x80FF0AF8u);
constexpr HRESULT ER_TQDF_CO_CREATE_INSTANCE_THREAD_NULA = static_cast<HRESULT>(0x80FF0AF9u);

// The keep-alive thread's start message: the first user message plus one.
constexpr UINT WM_TQ_KEEPALIVE_INICIA = WM_USER + 1;

// The keep-alive base of a created object: what its keep-alive thread shares with the owner.
// The thread reads the stream once (and clears it), the ready event and the keep-running flag;
// the owner clears the flag, wakes the thread and waits for it before the object goes.
class CTQComPtrBase {
public:
    CTQComPtrBase(const CTQComPtrBase&) = delete;
    CTQComPtrBase& operator=(const CTQComPtrBase&) = delete;

    // Waits up to dwMilliseconds for the thread's ready event (set once it has a message queue).
    virtual BOOL EsperaPronto(DWORD dwMilliseconds);

    // True while a keep-alive thread belongs to this object (running or ended by itself).
    bool TemKeepAlive() const { return m_hThread != nullptr; }

    IStream* m_pStream = nullptr; // the marshalled interface, consumed by the thread
    HANDLE m_hThread = nullptr;
    DWORD m_dwThreadId = 0;
    HANDLE m_hEventoPronto = nullptr;
    std::atomic<bool> m_bKeepRunning{false};
    // The primitive the thread was started with; the owner stops it through the same one.
    tq::IPrimitivaCom* m_pPrimitiva = nullptr;

protected:
    CTQComPtrBase() = default;
    virtual ~CTQComPtrBase();

    // Ends the keep-alive thread, if any: clears the flag, wakes the thread, waits for it and
    // closes its handles; a stream the thread never took is taken and released here.
    void ParaKeepAlive();
    // Whether a thread was started and has not ended by itself.
    bool KeepAliveAtivo();
};

HRESULT TQCoInitializeSecurity();

// Creates an object, retrying while the server starts; see the retry loop in TQComPtr.cpp.
// `tolerados` are results that go on into the loop instead of returning at once: empty in every
// call the suite makes (so in practice only 0xFFFFFFFF reaches the retry), and widened only by
// tests that exercise the loop's other branches.
HRESULT TQCoCreateInstance(REFCLSID rclsid, LPUNKNOWN pUnkOuter, DWORD dwClsCtx, REFIID riid,
                           LPVOID* ppv, ETQComPtrFlags eFlags,
                           std::initializer_list<HRESULT> tolerados = {});

HRESULT TQCoSetProxyBlanket(IUnknown* pProxy);

// Creates the object and, for a remote server, its keep-alive thread running pfnThread with
// pBase as parameter.
HRESULT TQComPtr_CoCreateInstance(CTQComPtrBase* pBase, REFCLSID rclsid, REFIID riid, LPVOID* ppv,
                                  LPTHREAD_START_ROUTINE pfnThread, ETQComPtrFlags eFlags);

// The keep-alive thread's body, for the interface riid.
DWORD TQComPtr_ThreadKeepServerAlive(CTQComPtrBase* pBase, REFIID riid);

namespace tq {

// The machine a class's server runs on: HKCR "CLSID\{...}" value "AppID", then HKCR
// "AppID\{...}" value "RemoteServerName". Empty for a local server (or any missing step).
CTQString NomeDoServidorRemoto(REFCLSID clsid);

namespace detail {

// Steps 4 to 6 of a creation (marshal, thread, handshake), shared with a moved pointer that
// takes its thread along. pszFuncao names the caller in the trace lines.
HRESULT IniciaKeepAlive(CTQComPtrBase* pBase, REFIID riid, IUnknown* pUnk,
                        LPTHREAD_START_ROUTINE pfnThread, const char* pszFuncao);

// The keep-alive interval, 120,000 ms. Test-only: tests shorten it (and put it back) to watch
// several pings in a short run; the library never changes it.
DWORD IntervaloKeepAlive();
void DefineIntervaloKeepAliveParaTestes(DWORD dwMilliseconds);

} // namespace detail

} // namespace tq

// The smart pointer for one server interface I; it is itself the keep-alive base of its object.
// Copies share the object (AddRef) and the keep-alive stays with the original; a move takes the
// object and its keep-alive thread along (the thread is restarted for the new owner).
// Release, Detach and the destructor end the keep-alive thread first and wait for it: at most
// for the ping it may be making at that moment.
template <class I>
class CTQComPtr : public CTQComPtrBase {
    static_assert(std::is_base_of_v<ITQUnknown, I>, "server interfaces derive from ITQUnknown");

public:
    CTQComPtr() = default;
    explicit CTQComPtr(I* p) : m_pInterface(p) {
        if (p)
            p->AddRef();
    }
    CTQComPtr(const CTQComPtr& outro) : CTQComPtrBase(), m_pInterface(outro.m_pInterface) {
        if (m_pInterface)
            m_pInterface->AddRef();
    }
    CTQComPtr(CTQComPtr&& outro) noexcept : CTQComPtrBase() { Toma(outro); }
    CTQComPtr& operator=(const CTQComPtr& outro) {
        if (this != &outro) {
            I* p = outro.m_pInterface;
            if (p)
                p->AddRef();
            Release();
            m_pInterface = p;
        }
        return *this;
    }
    CTQComPtr& operator=(CTQComPtr&& outro) noexcept {
        if (this != &outro) {
            Release();
            Toma(outro);
        }
        return *this;
    }
    ~CTQComPtr() override { Release(); }

    // Creates the object with both flags; a failure is traced once more here.
    HRESULT CoCreateInstance(REFCLSID rclsid) {
        Release();
        const ETQComPtrFlags eFlags =
            ETQComPtrFlags::eTQCCI_LOG_FAILURE | ETQComPtrFlags::eTQCCI_RETRY;
        HRESULT hr;
        TQ_LOG_HR_COMO("TQComPtr", hr,
                       "CoCreateInstance(rclsid, ETQComPtrFlags::eTQCCI_LOG_FAILURE | "
                       "ETQComPtrFlags::eTQCCI_RETRY)",
                       TQComPtr_CoCreateInstance(this, rclsid, __uuidof(I),
                                                 reinterpret_cast<void**>(&m_pInterface),
                                                 &ThreadKeepServerAlive, eFlags));
        return hr;
    }

    static DWORD WINAPI ThreadKeepServerAlive(LPVOID pParametro) {
        return TQComPtr_ThreadKeepServerAlive(static_cast<CTQComPtrBase*>(pParametro), __uuidof(I));
    }

    // Ends the keep-alive thread and lets go of the object.
    void Release() {
        ParaKeepAlive();
        if (I* p = std::exchange(m_pInterface, nullptr))
            p->Release();
    }
    // Ends the keep-alive thread and hands the reference to the caller.
    I* Detach() {
        ParaKeepAlive();
        return std::exchange(m_pInterface, nullptr);
    }

    I* operator->() const { return m_pInterface; }
    I* GetInterface() const { return m_pInterface; }
    explicit operator bool() const { return m_pInterface != nullptr; }

    I* m_pInterface = nullptr;

private:
    void Toma(CTQComPtr& outro) {
        const bool bMantinha = outro.KeepAliveAtivo();
        outro.ParaKeepAlive();
        m_pInterface = std::exchange(outro.m_pInterface, nullptr);
        if (bMantinha && m_pInterface && !g_bSemKeepAlive) {
            static constexpr ::tq::detail::NomeFixo funcao =
                ::tq::detail::NomeDaFuncao(__PRETTY_FUNCTION__);
            (void)tq::detail::IniciaKeepAlive(this, __uuidof(I), m_pInterface,
                                              &ThreadKeepServerAlive, funcao.data());
        }
    }
};
