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

#include "tqlibex/base/TQString.h"
#include "tqlibex/base/WinTypes.h"
#include "tqlibex/com/PrimitivaCom.h"
#include "tqlibex/diagnostics/TraceHResult.h"

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

// What one keep-alive thread shares with the pointers that own its object: the marshalled
// interface (taken once by the thread), the ready event, the thread and the keep-running flag.
// It lives until the last of them lets go, the thread included, so an owner that stops waiting
// for a thread held up in a ping to a dead host leaves the thread nothing that has gone.
class CTQKeepAlive {
public:
    explicit CTQKeepAlive(tq::IPrimitivaCom& com) : m_com(com) {}
    CTQKeepAlive(const CTQKeepAlive&) = delete;
    CTQKeepAlive& operator=(const CTQKeepAlive&) = delete;

    // Waits up to dwMilliseconds for the thread's ready event (set once it has a message queue).
    BOOL EsperaPronto(DWORD dwMilliseconds);
    // Whether the thread has not ended (by itself, after three failed pings, or stopped).
    bool Rodando();

    // An owner (a pointer, or a copy of it) takes its share. When the last owner lets go, the
    // flag is cleared and the thread woken with a quit; the owner waits for it at most
    // tq::detail::kEsperaPeloFimDoKeepAlive ms and goes, whatever the thread is doing.
    void AdicionaDono();
    void RemoveDono();
    // The thread's own share, taken before it starts and given back as it ends.
    void AdicionaReferencia() { m_nReferencias.fetch_add(1, std::memory_order_relaxed); }
    void Libera();

    IStream* m_pStream = nullptr; // the marshalled interface, consumed by the thread
    HANDLE m_hThread = nullptr;
    DWORD m_dwThreadId = 0;
    HANDLE m_hEventoPronto = nullptr;
    std::atomic<bool> m_bKeepRunning{true};
    // The primitive the thread was started with; it is stopped through the same one.
    tq::IPrimitivaCom& m_com;

private:
    ~CTQKeepAlive();
    void Para();
    std::atomic<int> m_nDonos{0};
    std::atomic<int> m_nReferencias{0};
};

// The keep-alive base of a created object: CTQComPtr<I> is its own, and holds through it the one
// keep-alive thread of its object, shared with its copies.
class CTQComPtrBase {
public:
    // Waits up to dwMilliseconds for the keep-alive thread's ready event; FALSE without one.
    virtual BOOL EsperaPronto(DWORD dwMilliseconds);
    // Whether the object has a keep-alive (its thread running or ended by itself).
    bool TemKeepAlive() const { return m_pKeepAlive != nullptr; }
    CTQKeepAlive* GetKeepAlive() const { return m_pKeepAlive; }

protected:
    CTQComPtrBase() = default;
    // Copies share the keep-alive; a move takes it along.
    CTQComPtrBase(const CTQComPtrBase& outro);
    CTQComPtrBase(CTQComPtrBase&& outro) noexcept;
    CTQComPtrBase& operator=(const CTQComPtrBase& outro);
    CTQComPtrBase& operator=(CTQComPtrBase&& outro) noexcept;
    virtual ~CTQComPtrBase();

    // This owner lets go of the keep-alive; the last owner stops the thread.
    void ParaKeepAlive();

private:
    friend HRESULT TQComPtr_CoCreateInstance(CTQComPtrBase*, REFCLSID, REFIID, LPVOID*,
                                             LPTHREAD_START_ROUTINE, ETQComPtrFlags);
    CTQKeepAlive* m_pKeepAlive = nullptr;
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

// Creates the object and, for a remote server, its keep-alive thread running pfnThread with the
// object's CTQKeepAlive as parameter. A keep-alive pBase already had is let go of first; *ppv is
// an out parameter (an interface it held is the caller's to release).
HRESULT TQComPtr_CoCreateInstance(CTQComPtrBase* pBase, REFCLSID rclsid, REFIID riid, LPVOID* ppv,
                                  LPTHREAD_START_ROUTINE pfnThread, ETQComPtrFlags eFlags);

// The keep-alive thread's body, for the interface riid.
DWORD TQComPtr_ThreadKeepServerAlive(CTQKeepAlive* pKeepAlive, REFIID riid);

namespace tq {

// The machine a class's server runs on: HKCR "CLSID\{...}" value "AppID", then HKCR
// "AppID\{...}" value "RemoteServerName". Empty for a local server (or any missing step).
CTQString NomeDoServidorRemoto(REFCLSID clsid);

namespace detail {

// How long the last owner of a keep-alive waits for its thread to end: at once, unless a ping is
// in flight against a host that does not answer; then the owner goes without it.
constexpr DWORD kEsperaPeloFimDoKeepAlive = 2000;

// The keep-alive interval, 120,000 ms. Test-only: tests shorten it (and put it back) to watch
// several pings in a short run; the library never changes it.
DWORD IntervaloKeepAlive();
void DefineIntervaloKeepAliveParaTestes(DWORD dwMilliseconds);

} // namespace detail

} // namespace tq

// The smart pointer for one server interface I; it is itself the keep-alive base of its object.
// Copies share the object (each holds its own reference) and its one keep-alive thread, which runs
// until the last of them lets go; a move takes both along. Release, Detach and the destructor let
// go of the keep-alive first: the last owner stops the thread and waits for it, at most for
// tq::detail::kEsperaPeloFimDoKeepAlive ms.
template <class I>
class CTQComPtr : public CTQComPtrBase {
    static_assert(std::is_base_of_v<ITQUnknown, I>, "server interfaces derive from ITQUnknown");

public:
    CTQComPtr() = default;
    explicit CTQComPtr(I* p) : m_pInterface(p) {
        if (p)
            p->AddRef();
    }
    CTQComPtr(const CTQComPtr& outro) : CTQComPtrBase(outro), m_pInterface(outro.m_pInterface) {
        if (m_pInterface)
            m_pInterface->AddRef();
    }
    CTQComPtr(CTQComPtr&& outro) noexcept
        : CTQComPtrBase(std::move(outro)),
          m_pInterface(std::exchange(outro.m_pInterface, nullptr)) {}
    CTQComPtr& operator=(const CTQComPtr& outro) {
        if (this != &outro) {
            I* p = outro.m_pInterface;
            if (p)
                p->AddRef();
            CTQComPtrBase::operator=(outro);
            if (I* pAnterior = std::exchange(m_pInterface, p))
                pAnterior->Release();
        }
        return *this;
    }
    CTQComPtr& operator=(CTQComPtr&& outro) noexcept {
        if (this != &outro) {
            Release();
            CTQComPtrBase::operator=(std::move(outro));
            m_pInterface = std::exchange(outro.m_pInterface, nullptr);
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
        return TQComPtr_ThreadKeepServerAlive(static_cast<CTQKeepAlive*>(pParametro), __uuidof(I));
    }

    // Lets go of the keep-alive and of the object.
    void Release() {
        ParaKeepAlive();
        if (I* p = std::exchange(m_pInterface, nullptr))
            p->Release();
    }
    // Lets go of the keep-alive and hands the reference to the caller.
    I* Detach() {
        ParaKeepAlive();
        return std::exchange(m_pInterface, nullptr);
    }

    I* operator->() const { return m_pInterface; }
    I* GetInterface() const { return m_pInterface; }
    explicit operator bool() const { return m_pInterface != nullptr; }

    I* m_pInterface = nullptr;
};
