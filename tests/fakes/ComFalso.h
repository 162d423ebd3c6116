// A scriptable in-process business server for the COM access tests: an ITQTeste object whose
// KeepAlive answers come from a script, its class factory, and a primitive that scripts what
// ole32 and the Win32 thread calls answer.
#pragma once

#include "tqlibex/com/TQComPtr.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// A server interface as the business servers declare theirs: ITQUnknown first.
struct ITQTeste : public ITQUnknown {};
__CRT_UUID_DECL(ITQTeste, 0x1F0C5E2A, 0x3B7D, 0x4E11, 0x8A, 0x6C, 0x2D, 0x4B, 0x9E, 0x01, 0x7F,
                0x33)

namespace tq::teste {

struct RespostaKeepAlive {
    HRESULT hr;
    BOOL bOK;
};

class CServidorFalso final : public ITQTeste {
public:
    // Free-threaded, as an in-process server object is: on Windows, ole32 then hands the pointer
    // itself to the keep-alive thread instead of looking for a proxy.
    CServidorFalso() { CoCreateFreeThreadedMarshaler(this, &m_pMarshaler); }
    ~CServidorFalso() {
        if (m_pMarshaler)
            m_pMarshaler->Release();
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        // IMarshal: the free-threaded marshaler answers for it.
        static constexpr IID kIMarshal = {0x00000003, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
        if (riid == kIMarshal && m_pMarshaler)
            return m_pMarshaler->QueryInterface(riid, ppv);
        *ppv = nullptr;
        if (riid != __uuidof(IUnknown) && riid != __uuidof(ITQUnknown) &&
            riid != __uuidof(ITQTeste))
            return E_NOINTERFACE;
        *ppv = static_cast<ITQTeste*>(this);
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nRefs; }
    // Never deletes: the test owns the object and checks that every reference came back.
    ULONG STDMETHODCALLTYPE Release() override { return --m_nRefs; }

    HRESULT STDMETHODCALLTYPE KeepAlive(BOOL* pbOK) override {
        std::unique_lock lock(m_mutex);
        if (m_bPrender) { // a ping to a host that does not answer, until the test lets it go
            m_bPreso = true;
            m_cv.notify_all();
            m_cv.wait_for(lock, std::chrono::seconds(30), [this] { return !m_bPrender; });
        }
        RespostaKeepAlive r{S_OK, TRUE};
        if (!m_roteiro.empty()) {
            r = m_roteiro.front();
            m_roteiro.pop_front();
        }
        *pbOK = r.bOK;
        ++m_nKeepAlives;
        m_cv.notify_all();
        return r.hr;
    }

    void Roteiro(std::initializer_list<RespostaKeepAlive> respostas) {
        std::lock_guard lock(m_mutex);
        m_roteiro.assign(respostas);
    }
    int KeepAlives() {
        std::lock_guard lock(m_mutex);
        return m_nKeepAlives;
    }
    // Waits (at most a generous while: machines are shared) until n pings have arrived.
    bool EsperaKeepAlives(int n) {
        std::unique_lock lock(m_mutex);
        return m_cv.wait_for(lock, std::chrono::seconds(20), [&] { return m_nKeepAlives >= n; });
    }
    // While held, a ping waits (until let go) as one to a host that does not answer.
    void PrendePing(bool bPrender) {
        std::lock_guard lock(m_mutex);
        m_bPrender = bPrender;
        m_cv.notify_all();
    }
    bool EsperaPingPreso() {
        std::unique_lock lock(m_mutex);
        return m_cv.wait_for(lock, std::chrono::seconds(20), [&] { return m_bPreso; });
    }
    ULONG Referencias() const { return m_nRefs; }

private:
    std::atomic<ULONG> m_nRefs{1};
    IUnknown* m_pMarshaler = nullptr;
    std::mutex m_mutex;
    std::condition_variable m_cv;
    std::deque<RespostaKeepAlive> m_roteiro;
    int m_nKeepAlives = 0;
    bool m_bPrender = false, m_bPreso = false;
};

class CFabricaFalsa final : public IClassFactory {
public:
    explicit CFabricaFalsa(CServidorFalso& servidor) : m_servidor(servidor) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        *ppv = nullptr;
        if (riid != __uuidof(IUnknown) && riid != __uuidof(IClassFactory))
            return E_NOINTERFACE;
        *ppv = static_cast<IClassFactory*>(this);
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nRefs; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_nRefs; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pUnkOuter, REFIID riid,
                                             void** ppv) override {
        return pUnkOuter ? CLASS_E_NOAGGREGATION : m_servidor.QueryInterface(riid, ppv);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
    ULONG Referencias() const { return m_nRefs; }

private:
    CServidorFalso& m_servidor;
    std::atomic<ULONG> m_nRefs{1};
};

// The platform's threads, events, messages and marshalling (the fake object is free-threaded, so
// it needs no proxy), with every other COM answer scripted. Installed for its lifetime.
class CPrimitivaRoteirizada : public CPrimitivaComDaPlataforma {
public:
    CPrimitivaRoteirizada() : m_escopo(*this) {}
    // No thread it started may outlive it.
    ~CPrimitivaRoteirizada() override { EsperaFimDasThreads(); }

    // What the creations answer, in order; when the script runs out, S_OK with the object.
    std::deque<HRESULT> criacoes;
    ITQTeste* pObjeto = nullptr;
    // The one call that misbehaves: wow64 (the bitness check fails), blanket (E_NOTIMPL),
    // interface (a creation that does not answer 0 still sets the interface), nula (a creation
    // that answers 0 sets none), empacota (E_OUTOFMEMORY), thread (no thread), inicio (the start
    // message cannot be posted).
    std::string falha;

    // Every creation as "server/authentication service/level/impersonation/context", "-" for the
    // server info when there is none; every blanket as "service/authorisation/level/
    // impersonation/capabilities", with "*" first when it was not set on the created object.
    std::vector<std::string> vistas, blankets;
    std::vector<DWORD> pausas; // every Sleep but Sleep(0), not slept
    std::vector<std::string> pings;
    std::atomic<int> nEntradasApartamento{0}, nSaidasApartamento{0}, nThreads{0}, nEncerradas{0};

    HRESULT CoCreateInstanceEx(REFCLSID, IUnknown*, DWORD dwClsCtx, COSERVERINFO* pServerInfo,
                               DWORD dwCount, MULTI_QI* pResults) override {
        std::string c = "-";
        if (pServerInfo) {
            c.clear();
            for (const WCHAR* p = pServerInfo->pwszName; p && *p; ++p)
                c.push_back(static_cast<char>(*p));
            const COAUTHINFO& a = *pServerInfo->pAuthInfo;
            c += Barras({a.dwAuthnSvc, a.dwAuthnLevel, a.dwImpersonationLevel});
        }
        c += Barras({dwClsCtx});
        vistas.push_back(c);
        HRESULT hr = S_OK;
        if (!criacoes.empty()) {
            hr = criacoes.front();
            criacoes.pop_front();
        }
        for (DWORD i = 0; i < dwCount; ++i) {
            pResults[i].pItf = nullptr;
            pResults[i].hr = hr;
            if ((hr == S_OK || falha == "interface") && falha != "nula")
                pResults[i].hr = pObjeto->QueryInterface(
                    *pResults[i].pIID, reinterpret_cast<void**>(&pResults[i].pItf));
        }
        return hr;
    }
    HRESULT CoSetProxyBlanket(IUnknown* pProxy, DWORD dwAuthnSvc, DWORD dwAuthzSvc, OLECHAR*,
                              DWORD dwAuthnLevel, DWORD dwImpLevel, void*,
                              DWORD dwCapabilities) override {
        std::string b = pProxy == static_cast<IUnknown*>(pObjeto) ? "" : "*";
        b += Barras({dwAuthnSvc, dwAuthzSvc, dwAuthnLevel, dwImpLevel, dwCapabilities}).substr(1);
        blankets.push_back(b);
        return falha == "blanket" ? E_NOTIMPL : S_OK;
    }
    HRESULT CoMarshalInterThreadInterfaceInStream(REFIID riid, LPUNKNOWN pUnk,
                                                  LPSTREAM* ppStm) override {
        *ppStm = nullptr;
        return falha == "empacota"
                   ? E_OUTOFMEMORY
                   : CPrimitivaComDaPlataforma::CoMarshalInterThreadInterfaceInStream(riid, pUnk,
                                                                                      ppStm);
    }
    HRESULT CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit) override {
        ++nEntradasApartamento;
        return CPrimitivaComDaPlataforma::CoInitializeEx(pvReserved, dwCoInit);
    }
    void CoUninitialize() override {
        ++nSaidasApartamento;
        CPrimitivaComDaPlataforma::CoUninitialize();
    }
    BOOL IsWow64Process(BOOL* pbWow64) override {
        *pbWow64 = FALSE;
        return falha != "wow64";
    }
    HANDLE CreateThread(LPTHREAD_START_ROUTINE pfn, LPVOID p, DWORD* pdwId) override {
        if (falha == "thread")
            return nullptr;
        ++nThreads;
        return CPrimitivaComDaPlataforma::CreateThread(&Trampolim, new Inicio{pfn, p, this}, pdwId);
    }
    // Waits (a generous while) until every thread started here has returned.
    bool EsperaFimDasThreads() {
        for (int i = 0; i < 3000 && nEncerradas != nThreads; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return nEncerradas == nThreads;
    }
    BOOL PostThreadMessageA(DWORD idThread, UINT uMsg, WPARAM wParam, LPARAM lParam) override {
        if (falha == "inicio" && uMsg == WM_TQ_KEEPALIVE_INICIA)
            return FALSE;
        return CPrimitivaComDaPlataforma::PostThreadMessageA(idThread, uMsg, wParam, lParam);
    }
    DWORD GetLastError() override {
        // ERROR_INVALID_THREAD_ID, for the start message that could not be posted
        return falha == "inicio" ? 1444 : CPrimitivaComDaPlataforma::GetLastError();
    }
    void Sleep(DWORD dwMilliseconds) override {
        if (dwMilliseconds == 0)
            CPrimitivaComDaPlataforma::Sleep(0);
        else
            pausas.push_back(dwMilliseconds);
    }
    CTQString Ping(const char* pszServidor) override {
        pings.push_back(pszServidor);
        return CTQString("Resposta de 10.1.2.3: tempo=1ms");
    }

private:
    struct Inicio {
        LPTHREAD_START_ROUTINE pfn;
        LPVOID p;
        CPrimitivaRoteirizada* pPrimitiva;
    };
    // The texts here are built by appending only. Text inserted at the front of a string takes
    // libstdc++ through a branch for text that lies inside the string itself; gcc 12 inlines that
    // branch, cannot bound its pointer arithmetic, and sees a copy of up to SIZE_MAX bytes
    // (-Wstringop-overflow) where none can happen.
    static std::string Barras(std::initializer_list<DWORD> numeros) {
        std::string s;
        for (DWORD n : numeros) {
            s += '/';
            s += std::to_string(n);
        }
        return s;
    }
    static DWORD WINAPI Trampolim(LPVOID p) {
        const Inicio inicio = *static_cast<Inicio*>(p);
        delete static_cast<Inicio*>(p);
        const DWORD r = inicio.pfn(inicio.p);
        ++inicio.pPrimitiva->nEncerradas; // the last touch: the primitive may go at once
        return r;
    }
    CEscopoPrimitivaCom m_escopo;
};

// Shortens the keep-alive interval for a scope, so that a test sees several pings at once.
class CEscopoIntervaloKeepAlive {
public:
    explicit CEscopoIntervaloKeepAlive(DWORD dwMs) : m_dwAnterior(detail::IntervaloKeepAlive()) {
        detail::DefineIntervaloKeepAliveParaTestes(dwMs);
    }
    ~CEscopoIntervaloKeepAlive() { detail::DefineIntervaloKeepAliveParaTestes(m_dwAnterior); }

private:
    DWORD m_dwAnterior;
};

} // namespace tq::teste
