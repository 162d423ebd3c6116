// COM and the Win32 thread and message calls the COM access layer makes, for POSIX builds. Objects
// live in this process: a module registers a class factory per CLSID and creations find it there.

#include <ComApi.h>

#include "tqlibex/base/Escopo.h"
#include "tqlibex/com/AlocadorTarefas.h"
#include "tqlibex/com/PrimitivaCom.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <system_error>
#include <thread>
#include <utility>

// AddressSanitizer watches this build: see the task allocator's groups below.
#if defined(__SANITIZE_ADDRESS__)
#define TQ_ENDERECOS_VIGIADOS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TQ_ENDERECOS_VIGIADOS 1
#endif
#endif
#ifdef TQ_ENDERECOS_VIGIADOS
#include <sanitizer/asan_interface.h>
#endif

namespace {

using Relogio = std::chrono::steady_clock;

// ---- Apartments and process security -------------------------------------------------------

struct Apartamento {
    int nEntradas = 0;
    DWORD dwModo = 0;
};
thread_local Apartamento t_apartamento;
std::atomic<bool> g_bSegurancaInicializada{false};

bool NoApartamento() {
    return t_apartamento.nEntradas > 0;
}

// ---- The class table ------------------------------------------------------------------------

struct Classe {
    CLSID clsid;
    IUnknown* pFabrica;
};
// Looked up by every object created, from any number of threads at once; changed only when a
// class is registered or revoked.
struct TabelaDeClasses {
    std::shared_mutex mutex;
    std::map<DWORD, Classe> classes;
    DWORD dwProximoCookie = 1;
};
// The runtime's process-wide state is never destroyed: a pointer held in a static object (a
// module's program object) may still stop its keep-alive thread, or revoke its class, while the
// process's statics go at exit, in an order no one controls.
TabelaDeClasses& Classes() {
    static auto* tabela = new TabelaDeClasses;
    return *tabela;
}

// ---- Marshalling: the stream carries an AddRef'd pointer to the other thread ----------------

class CFluxoEmpacotado final : public IStream {
public:
    explicit CFluxoEmpacotado(IUnknown* p) : m_p(p) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (!ppv)
            return E_POINTER;
        if (riid == __uuidof(IUnknown) || riid == __uuidof(IStream)) {
            *ppv = static_cast<IStream*>(this);
            AddRef();
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nRefs; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG n = --m_nRefs;
        if (n == 0)
            delete this;
        return n;
    }
    // The carried pointer, once: the reference it holds goes with it.
    IUnknown* Retira() { return m_p.exchange(nullptr); }

private:
    ~CFluxoEmpacotado() {
        if (IUnknown* p = m_p.load())
            p->Release();
    }
    std::atomic<IUnknown*> m_p;
    std::atomic<ULONG> m_nRefs{1};
};

// ---- Kernel objects -------------------------------------------------------------------------

struct CObjeto {
    virtual ~CObjeto() = default;
    // WAIT_OBJECT_0 or WAIT_TIMEOUT.
    virtual DWORD Espera(DWORD dwMs) = 0;
};

template <class Pronto>
DWORD EsperaAte(std::unique_lock<std::mutex>& lock, std::condition_variable& cv, DWORD dwMs,
                Pronto pronto) {
    if (dwMs == INFINITE) {
        cv.wait(lock, pronto);
        return WAIT_OBJECT_0;
    }
    return cv.wait_for(lock, std::chrono::milliseconds(dwMs), pronto) ? WAIT_OBJECT_0
                                                                      : WAIT_TIMEOUT;
}

struct CEvento final : CObjeto {
    explicit CEvento(bool bManual, bool bSinalizado)
        : m_bManual(bManual), m_bSinalizado(bSinalizado) {}
    DWORD Espera(DWORD dwMs) override {
        std::unique_lock lock(m_mutex);
        const DWORD r = EsperaAte(lock, m_cv, dwMs, [this] { return m_bSinalizado; });
        if (r == WAIT_OBJECT_0 && !m_bManual)
            m_bSinalizado = false;
        return r;
    }
    void Sinaliza() {
        {
            std::lock_guard lock(m_mutex);
            m_bSinalizado = true;
        }
        m_cv.notify_all();
    }
    const bool m_bManual;
    bool m_bSinalizado;
    std::mutex m_mutex;
    std::condition_variable m_cv;
};

// What a thread's handle and the thread itself share: the handle may be closed first.
struct EstadoThread {
    std::mutex mutex;
    std::condition_variable cv;
    bool bTerminou = false;
};

struct CThread final : CObjeto {
    DWORD Espera(DWORD dwMs) override {
        std::unique_lock lock(m_pEstado->mutex);
        return EsperaAte(lock, m_pEstado->cv, dwMs, [this] { return m_pEstado->bTerminou; });
    }
    ~CThread() override {
        if (!m_thread.joinable())
            return;
        bool bTerminou;
        {
            std::lock_guard lock(m_pEstado->mutex);
            bTerminou = m_pEstado->bTerminou;
        }
        // A handle closed while its thread runs leaves the thread running, as on Windows.
        if (bTerminou)
            m_thread.join();
        else
            m_thread.detach();
    }
    std::shared_ptr<EstadoThread> m_pEstado = std::make_shared<EstadoThread>();
    std::thread m_thread;
};

// ---- Thread identifiers and message queues --------------------------------------------------

std::atomic<DWORD> g_dwProximoIdThread{0x100};
thread_local DWORD t_dwIdThread = 0;

struct Timer {
    UINT uIntervalo;
    Relogio::time_point proximo;
};

struct FilaDeMensagens {
    std::mutex mutex;
    std::condition_variable cv;
    std::deque<MSG> mensagens;
    std::map<UINT_PTR, Timer> timers;
    UINT_PTR proximoTimer = 1;
};

struct Filas {
    std::mutex mutex;
    std::map<DWORD, std::shared_ptr<FilaDeMensagens>> porThread;
};
Filas& TodasAsFilas() {
    static auto* filas = new Filas; // never destroyed, as the class table
    return *filas;
}

std::shared_ptr<FilaDeMensagens> FilaDe(DWORD dwIdThread) {
    Filas& f = TodasAsFilas();
    std::lock_guard lock(f.mutex);
    auto it = f.porThread.find(dwIdThread);
    return it == f.porThread.end() ? nullptr : it->second;
}

void RegistraFila(DWORD dwIdThread) {
    Filas& f = TodasAsFilas();
    std::lock_guard lock(f.mutex);
    auto& fila = f.porThread[dwIdThread];
    if (!fila)
        fila = std::make_shared<FilaDeMensagens>();
}

void RemoveFila(DWORD dwIdThread) {
    Filas& f = TodasAsFilas();
    std::lock_guard lock(f.mutex);
    f.porThread.erase(dwIdThread);
}

// A thread that was not created here gets its queue at its first message call and loses it when
// it ends.
struct FilaDaThreadAtual {
    DWORD dwId = 0;
    ~FilaDaThreadAtual() {
        if (dwId)
            RemoveFila(dwId);
    }
};
thread_local FilaDaThreadAtual t_filaPropria;

std::shared_ptr<FilaDeMensagens> MinhaFila() {
    const DWORD dwId = GetCurrentThreadId();
    if (auto fila = FilaDe(dwId))
        return fila;
    RegistraFila(dwId);
    t_filaPropria.dwId = dwId;
    return FilaDe(dwId);
}

bool NoFiltro(UINT uMensagem, UINT uMin, UINT uMax) {
    return (uMin == 0 && uMax == 0) || (uMensagem >= uMin && uMensagem <= uMax);
}

// The next message in the filter's range, if any: posted messages first, then a due timer.
bool ProximaMensagem(FilaDeMensagens& fila, MSG& msg, UINT uMin, UINT uMax, bool bRemove) {
    auto it = std::find_if(fila.mensagens.begin(), fila.mensagens.end(),
                           [&](const MSG& m) { return NoFiltro(m.message, uMin, uMax); });
    if (it != fila.mensagens.end()) {
        msg = *it;
        if (bRemove)
            fila.mensagens.erase(it);
        return true;
    }
    if (!NoFiltro(WM_TIMER, uMin, uMax))
        return false;
    const auto agora = Relogio::now();
    for (auto& [id, timer] : fila.timers) {
        if (timer.proximo <= agora) {
            msg = MSG{nullptr, WM_TIMER, id, 0, 0};
            if (bRemove)
                timer.proximo = agora + std::chrono::milliseconds(timer.uIntervalo);
            return true;
        }
    }
    return false;
}

// ---- The task allocator ---------------------------------------------------------------------

tq::IEspiaAlocador* EspiaInstalada() {
    return tq::detail::Instalado<tq::IEspiaAlocador>().load(std::memory_order_acquire);
}

} // namespace

HRESULT CoInitializeEx(LPVOID, DWORD dwCoInit) {
    Apartamento& a = t_apartamento;
    const DWORD dwModo = dwCoInit & COINIT_APARTMENTTHREADED;
    if (a.nEntradas > 0) {
        if (a.dwModo != dwModo)
            return RPC_E_CHANGED_MODE;
        ++a.nEntradas;
        return S_FALSE;
    }
    a.nEntradas = 1;
    a.dwModo = dwModo;
    return S_OK;
}

void CoUninitialize() {
    if (t_apartamento.nEntradas > 0)
        --t_apartamento.nEntradas;
}

HRESULT CoInitializeSecurity(void*, LONG, SOLE_AUTHENTICATION_SERVICE*, void*, DWORD, DWORD, void*,
                             DWORD, void*) {
    return g_bSegurancaInicializada.exchange(true) ? RPC_E_TOO_LATE : S_OK;
}

HRESULT CoRegisterClassObject(REFCLSID rclsid, LPUNKNOWN pUnk, DWORD, DWORD, DWORD* lpdwRegister) {
    if (!pUnk || !lpdwRegister)
        return E_INVALIDARG;
    pUnk->AddRef();
    TabelaDeClasses& t = Classes();
    std::lock_guard lock(t.mutex);
    *lpdwRegister = t.dwProximoCookie++;
    t.classes[*lpdwRegister] = Classe{rclsid, pUnk};
    return S_OK;
}

HRESULT CoRevokeClassObject(DWORD dwRegister) {
    IUnknown* pFabrica = nullptr;
    {
        TabelaDeClasses& t = Classes();
        std::lock_guard lock(t.mutex);
        auto it = t.classes.find(dwRegister);
        if (it == t.classes.end())
            return CO_E_OBJNOTREG;
        pFabrica = it->second.pFabrica;
        t.classes.erase(it);
    }
    pFabrica->Release();
    return S_OK;
}

HRESULT CoCreateInstanceEx(REFCLSID rclsid, IUnknown* punkOuter, DWORD, COSERVERINFO*,
                           DWORD dwCount, MULTI_QI* pResults) {
    if (dwCount == 0 || !pResults)
        return E_INVALIDARG;
    if (!NoApartamento())
        return CO_E_NOTINITIALIZED;
    IUnknown* pFabrica = nullptr;
    {
        // The newest registration of the class wins.
        TabelaDeClasses& t = Classes();
        std::shared_lock lock(t.mutex);
        for (auto it = t.classes.rbegin(); it != t.classes.rend() && !pFabrica; ++it)
            if (it->second.clsid == rclsid)
                pFabrica = it->second.pFabrica;
        if (pFabrica)
            pFabrica->AddRef();
    }
    for (DWORD i = 0; i < dwCount; ++i) {
        pResults[i].pItf = nullptr;
        pResults[i].hr = E_NOINTERFACE;
    }
    if (!pFabrica)
        return REGDB_E_CLASSNOTREG;

    IClassFactory* pClassFactory = nullptr;
    HRESULT hr =
        pFabrica->QueryInterface(__uuidof(IClassFactory), reinterpret_cast<void**>(&pClassFactory));
    pFabrica->Release();
    if (FAILED(hr))
        return hr;
    IUnknown* pObjeto = nullptr;
    hr = pClassFactory->CreateInstance(punkOuter, __uuidof(IUnknown),
                                       reinterpret_cast<void**>(&pObjeto));
    pClassFactory->Release();
    if (FAILED(hr))
        return hr;
    if (!pObjeto)
        return E_NOINTERFACE;

    DWORD nObtidas = 0;
    for (DWORD i = 0; i < dwCount; ++i) {
        pResults[i].hr =
            pObjeto->QueryInterface(*pResults[i].pIID, reinterpret_cast<void**>(&pResults[i].pItf));
        if (SUCCEEDED(pResults[i].hr))
            ++nObtidas;
    }
    pObjeto->Release();
    if (nObtidas == dwCount)
        return S_OK;
    return nObtidas ? CO_S_NOTALLINTERFACES : E_NOINTERFACE;
}

// There are no proxies in one process, and so no blanket to set; any interface accepts one.
HRESULT CoSetProxyBlanket(IUnknown* pProxy, DWORD, DWORD, OLECHAR*, DWORD, DWORD, void*, DWORD) {
    return pProxy ? S_OK : E_INVALIDARG;
}

HRESULT CoMarshalInterThreadInterfaceInStream(REFIID riid, LPUNKNOWN pUnk, LPSTREAM* ppStm) {
    if (!ppStm)
        return E_INVALIDARG;
    *ppStm = nullptr;
    if (!pUnk)
        return E_INVALIDARG;
    if (!NoApartamento())
        return CO_E_NOTINITIALIZED;
    IUnknown* p = nullptr;
    const HRESULT hr = pUnk->QueryInterface(riid, reinterpret_cast<void**>(&p));
    if (FAILED(hr))
        return hr;
    *ppStm = new CFluxoEmpacotado(p);
    return S_OK;
}

HRESULT CoGetInterfaceAndReleaseStream(LPSTREAM pStm, REFIID iid, LPVOID* ppv) {
    if (!pStm || !ppv)
        return E_INVALIDARG;
    *ppv = nullptr;
    if (!NoApartamento()) {
        pStm->Release();
        return CO_E_NOTINITIALIZED;
    }
    // Only streams made by CoMarshalInterThreadInterfaceInStream exist here.
    IUnknown* p = static_cast<CFluxoEmpacotado*>(pStm)->Retira();
    pStm->Release();
    if (!p)
        return E_UNEXPECTED; // already unmarshalled once
    const HRESULT hr = p->QueryInterface(iid, ppv);
    p->Release();
    return hr;
}

HRESULT CoCreateFreeThreadedMarshaler(LPUNKNOWN, LPUNKNOWN* ppunkMarshal) {
    if (!ppunkMarshal)
        return E_INVALIDARG;
    *ppunkMarshal = nullptr;
    return E_NOTIMPL;
}

namespace {
// Each block carries its size in front of it, so that a receiver can hold a count a server sent
// to the block it came in (IMalloc::GetSize on Windows).
struct alignas(16) CabecaBloco {
    std::size_t cb;
    std::size_t marca;
};
constexpr std::size_t kMarcaBloco = 0x7A5C0B10C0DE7A5Cull & SIZE_MAX;

// Blocks cut in series (tq::CBlocosEmSerie) share one allocation, a group: a count first, then
// each block behind its own header, which carries the group in front of the size and a mark of
// its own. While the series cuts from the group, the count holds kPosseDaSerie and each block
// freed takes one off; the series counts the blocks it cuts by itself, and on letting go takes
// off kPosseDaSerie less that number: one atomic operation per group rather than per block.
// Whoever brings the count to zero frees the group.
struct alignas(16) Grupo {
    std::atomic<std::size_t> nDonos;
};
constexpr std::size_t kPosseDaSerie = SIZE_MAX / 2; // far above the blocks a group can hold
struct alignas(16) CabecaBlocoDeGrupo {
    Grupo* pGrupo;
    CabecaBloco cabeca;
};
constexpr std::size_t kMarcaBlocoDeGrupo = 0x7A5C0B10C0DE67A5ull & SIZE_MAX;
// A group's size: under the C library's threshold for mapping memory of its own, so that a
// freed group's memory goes back to the heap and serves the next, with no fresh pages to fault
// in. A block too large for it is a CoTaskMemAlloc of its own.
constexpr std::size_t kTamanhoDoGrupo = 64 * 1024;

void SoltaGrupo(Grupo* pGrupo, std::size_t nDonos = 1) {
    if (pGrupo->nDonos.fetch_sub(nDonos, std::memory_order_acq_rel) == nDonos) {
        pGrupo->~Grupo();
        std::free(pGrupo);
    }
}

std::size_t Arredonda16(std::size_t cb) {
    return (cb + 15) & ~std::size_t{15};
}

// Under AddressSanitizer whatever in a group is no live block's bytes (headers, rounding, what is
// not cut yet, blocks already freed) is poisoned, so that a read past a block's end is caught as
// it is past a block of its own; headers are read through a function it does not watch.
#ifdef TQ_ENDERECOS_VIGIADOS
void Envenena(const void* p, std::size_t cb) {
    __asan_poison_memory_region(p, cb);
}
void Desenvenena(const void* p, std::size_t cb) {
    __asan_unpoison_memory_region(p, cb);
}
#define TQ_SEM_VIGIA __attribute__((no_sanitize_address))
#else
void Envenena(const void*, std::size_t) {}
void Desenvenena(const void*, std::size_t) {}
#define TQ_SEM_VIGIA
#endif

// A block's header: its size, its mark, and for a block cut in series its group.
struct Cabecalho {
    std::size_t cb;
    std::size_t marca;
    Grupo* pGrupo;
};
TQ_SEM_VIGIA Cabecalho LeCabecalho(const void* p) {
    const CabecaBloco* pCabeca = static_cast<const CabecaBloco*>(p) - 1;
    const bool bDeGrupo = pCabeca->marca == kMarcaBlocoDeGrupo;
    return {pCabeca->cb, pCabeca->marca,
            bDeGrupo ? (static_cast<const CabecaBlocoDeGrupo*>(p) - 1)->pGrupo : nullptr};
}
} // namespace

LPVOID CoTaskMemAlloc(std::size_t cb) {
    if (cb > SIZE_MAX - sizeof(CabecaBloco))
        return nullptr;
    auto* pCabeca = static_cast<CabecaBloco*>(std::malloc(sizeof(CabecaBloco) + cb));
    if (!pCabeca)
        return nullptr;
    *pCabeca = {cb, kMarcaBloco};
    void* p = pCabeca + 1;
    if (tq::IEspiaAlocador* espia = EspiaInstalada())
        espia->Alocou(p, cb);
    return p;
}

void CoTaskMemFree(LPVOID pv) {
    if (!pv)
        return;
    if (tq::IEspiaAlocador* espia = EspiaInstalada())
        espia->Liberou(pv);
    const Cabecalho cabecalho = LeCabecalho(pv);
    if (cabecalho.marca != kMarcaBlocoDeGrupo) {
        std::free(static_cast<CabecaBloco*>(pv) - 1);
        return;
    }
    Envenena(pv, cabecalho.cb);
    SoltaGrupo(cabecalho.pGrupo);
}

namespace tq {

CBlocosEmSerie::~CBlocosEmSerie() {
    if (m_bParaLonge)
        detail::TerminaCopiasParaLonge();
    if (m_pGrupo)
        SoltaGrupo(static_cast<Grupo*>(m_pGrupo), kPosseDaSerie - m_nCortados);
}

void* CBlocosEmSerie::Aloca(std::size_t cb) {
    return Corta(cb, nullptr);
}

void* CBlocosEmSerie::Copia(const void* pOrigem, std::size_t cb) {
    return Corta(cb, pOrigem);
}

// A block, and with pOrigem its bytes. When the series writes past the caches, a block's header
// and bytes go out one after the other, as the previous block's did, so that every line of the
// group is written whole with streaming stores.
void* CBlocosEmSerie::Corta(std::size_t cb, const void* pOrigem) {
    constexpr std::size_t kCabeca = sizeof(CabecaBlocoDeGrupo);
    if (cb > kTamanhoDoGrupo - sizeof(Grupo) - kCabeca) {
        void* p = CoTaskMemAlloc(cb);
        if (p && pOrigem)
            std::memcpy(p, pOrigem, cb);
        return p;
    }
    const std::size_t cbComCabeca = kCabeca + Arredonda16(cb);
    if (cbComCabeca > m_cbLivre) {
        void* pMemoria = std::malloc(kTamanhoDoGrupo);
        if (!pMemoria)
            return nullptr;
        if (m_pGrupo)
            SoltaGrupo(static_cast<Grupo*>(m_pGrupo), kPosseDaSerie - m_nCortados);
        m_pGrupo = new (pMemoria) Grupo{{kPosseDaSerie}};
        m_nCortados = 0;
        m_pLivre = static_cast<char*>(pMemoria) + sizeof(Grupo);
        m_cbLivre = kTamanhoDoGrupo - sizeof(Grupo);
        Envenena(m_pLivre, m_cbLivre);
    }
    ++m_nCortados;
    const CabecaBlocoDeGrupo cabeca{static_cast<Grupo*>(m_pGrupo), {cb, kMarcaBlocoDeGrupo}};
    void* p = m_pLivre + kCabeca;
    Desenvenena(m_pLivre, kCabeca);
    Desenvenena(p, cb);
    if (pOrigem && m_bParaLonge) {
        detail::CopiaParaLonge(m_pLivre, &cabeca, kCabeca);
        detail::CopiaParaLonge(p, pOrigem, cb);
    } else {
        new (m_pLivre) CabecaBlocoDeGrupo(cabeca);
        if (pOrigem)
            std::memcpy(p, pOrigem, cb);
    }
    Envenena(m_pLivre, kCabeca);
    m_pLivre += cbComCabeca;
    m_cbLivre -= cbComCabeca;
    if (IEspiaAlocador* espia = EspiaInstalada())
        espia->Alocou(p, cb);
    return p;
}

} // namespace tq

DWORD GetCurrentThreadId() {
    if (!t_dwIdThread)
        t_dwIdThread = g_dwProximoIdThread.fetch_add(1);
    return t_dwIdThread;
}

HANDLE CreateThread(void*, std::size_t, LPTHREAD_START_ROUTINE lpStartAddress, LPVOID lpParameter,
                    DWORD, DWORD* lpThreadId) {
    auto pThread = std::make_unique<CThread>();
    const DWORD dwId = g_dwProximoIdThread.fetch_add(1);
    RegistraFila(dwId);
    try {
        pThread->m_thread =
            std::thread([pEstado = pThread->m_pEstado, dwId, lpStartAddress, lpParameter] {
                t_dwIdThread = dwId;
                lpStartAddress(lpParameter);
                RemoveFila(dwId);
                {
                    std::lock_guard lock(pEstado->mutex);
                    pEstado->bTerminou = true;
                }
                pEstado->cv.notify_all();
            });
    } catch (const std::system_error&) {
        RemoveFila(dwId);
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    if (lpThreadId)
        *lpThreadId = dwId;
    return static_cast<CObjeto*>(pThread.release());
}

HANDLE CreateEventA(void*, BOOL bManualReset, BOOL bInitialState, const char*) {
    return static_cast<CObjeto*>(new CEvento(bManualReset != 0, bInitialState != 0));
}

BOOL SetEvent(HANDLE hEvent) {
    auto* pEvento = dynamic_cast<CEvento*>(static_cast<CObjeto*>(hEvent));
    if (!pEvento) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    pEvento->Sinaliza();
    return TRUE;
}

DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds) {
    if (!hHandle) {
        SetLastError(ERROR_INVALID_HANDLE);
        return WAIT_FAILED;
    }
    return static_cast<CObjeto*>(hHandle)->Espera(dwMilliseconds);
}

BOOL CloseHandle(HANDLE hObject) {
    if (!hObject) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    delete static_cast<CObjeto*>(hObject);
    return TRUE;
}

void Sleep(DWORD dwMilliseconds) {
    if (dwMilliseconds == 0)
        std::this_thread::yield();
    else
        std::this_thread::sleep_for(std::chrono::milliseconds(dwMilliseconds));
}

BOOL PostThreadMessageA(DWORD idThread, UINT Msg, WPARAM wParam, LPARAM lParam) {
    auto fila = FilaDe(idThread);
    if (!fila) {
        SetLastError(ERROR_INVALID_THREAD_ID);
        return FALSE;
    }
    {
        std::lock_guard lock(fila->mutex);
        fila->mensagens.push_back(MSG{nullptr, Msg, wParam, lParam, 0});
    }
    fila->cv.notify_all();
    return TRUE;
}

BOOL PeekMessageA(LPMSG lpMsg, HWND, UINT wMsgFilterMin, UINT wMsgFilterMax, UINT wRemoveMsg) {
    auto fila = MinhaFila();
    std::lock_guard lock(fila->mutex);
    MSG msg;
    if (!ProximaMensagem(*fila, msg, wMsgFilterMin, wMsgFilterMax, (wRemoveMsg & PM_REMOVE) != 0))
        return FALSE;
    if (lpMsg)
        *lpMsg = msg;
    return TRUE;
}

BOOL GetMessageA(LPMSG lpMsg, HWND, UINT wMsgFilterMin, UINT wMsgFilterMax) {
    auto fila = MinhaFila();
    std::unique_lock lock(fila->mutex);
    MSG msg;
    while (!ProximaMensagem(*fila, msg, wMsgFilterMin, wMsgFilterMax, true)) {
        auto proximo = Relogio::time_point::max();
        for (const auto& [id, timer] : fila->timers)
            proximo = std::min(proximo, timer.proximo);
        if (proximo == Relogio::time_point::max())
            fila->cv.wait(lock);
        else
            fila->cv.wait_until(lock, proximo);
    }
    if (lpMsg)
        *lpMsg = msg;
    return msg.message == WM_QUIT ? FALSE : TRUE;
}

// Thread timers only: without a window the identifier asked for is ignored and a new one made.
UINT_PTR SetTimer(HWND hWnd, UINT_PTR, UINT uElapse, TIMERPROC) {
    if (hWnd) {
        SetLastError(ERROR_INVALID_HANDLE);
        return 0;
    }
    auto fila = MinhaFila();
    std::lock_guard lock(fila->mutex);
    const UINT_PTR id = fila->proximoTimer++;
    fila->timers[id] = Timer{uElapse, Relogio::now() + std::chrono::milliseconds(uElapse)};
    return id;
}

BOOL KillTimer(HWND hWnd, UINT_PTR uIDEvent) {
    auto fila = hWnd ? nullptr : FilaDe(GetCurrentThreadId());
    if (!fila) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    std::lock_guard lock(fila->mutex);
    if (fila->timers.erase(uIDEvent) == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    return TRUE;
}

namespace tq::detail {

void PreparaEspiaDaPlataforma() {} // CoTaskMemAlloc and CoTaskMemFree report by themselves

// Every block CoTaskMemAlloc hands out starts after its mark: a pointer without one (into the
// middle of a block, say) is no block and holds nothing a count may claim.
std::size_t TamanhoDoBlocoDeTarefa(const void* p) {
    if (!p)
        return 0;
    const Cabecalho cabecalho = LeCabecalho(p);
    return cabecalho.marca == kMarcaBloco || cabecalho.marca == kMarcaBlocoDeGrupo ? cabecalho.cb
                                                                                   : 0;
}

bool IsWow64(BOOL* pbWow64) {
    *pbWow64 = FALSE; // no 32-bit emulation layer to be under
    return true;
}

std::basic_string<WCHAR> TextoLargo(const char* psz) {
    // Windows-1252 bytes below 0x80 and from 0xA0 are their own code points; server names are
    // plain ASCII in practice.
    std::basic_string<WCHAR> texto;
    for (; psz && *psz; ++psz)
        texto.push_back(static_cast<WCHAR>(static_cast<unsigned char>(*psz)));
    return texto;
}

const char* FormatoDoPing() {
    // Four echo requests, as Windows' ping sends by default (Linux's would never stop).
    return "ping -c 4 -W 2 %s 2>&1";
}

} // namespace tq::detail
