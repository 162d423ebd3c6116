#include "tqlibex/com/TQComPtr.h"

#include "tqlibex/base/GuidTexto.h"
#include "tqlibex/diagnostics/EventoCom.h"
#include "tqlibex/diagnostics/NomesHResult.h"
#include "tqlibex/registry/Registro.h"

#include <memory>

bool g_bSemAutenticacao = false;
bool g_bSemKeepAlive = false;

namespace {

// Every trace line of this layer names "TQComPtr" as its file, whatever file holds the code.
constexpr const char* kArquivo = "TQComPtr";

constexpr HRESULT kServidorIndisponivel = static_cast<HRESULT>(0x800706BAu);
constexpr int kMaximoDeTentativas = 500;
constexpr DWORD kPausaEntreTentativas = 100;
constexpr DWORD kEsperaPeloPronto = 100;
constexpr int kFalhasQueEncerram = 3;

std::atomic<DWORD> g_dwIntervaloKeepAlive{120000};

#define TQ_TRACA(var, texto, expr) TQ_LOG_HR_COMO(kArquivo, var, texto, expr)

// The same with a list of tolerated results known only at run time.
#define TQ_TRACA_TOLERANDO(var, texto, expr, lista)                                                \
    __extension__({                                                                                \
        static constexpr ::tq::detail::NomeFixo tq_funcao_ =                                       \
            ::tq::detail::NomeDaFuncao(__PRETTY_FUNCTION__);                                       \
        (var) = (expr);                                                                            \
        ::tq::detail::TracaHResult((var), #var " = " texto, #var, tq_funcao_.data(), kArquivo,     \
                                   __LINE__, (lista));                                             \
    })

DWORD ServicoDeAutenticacao() {
    return g_bSemAutenticacao ? RPC_C_AUTHN_NONE : RPC_C_AUTHN_WINNT;
}
DWORD NivelDeAutenticacao() {
    return g_bSemAutenticacao ? RPC_C_AUTHN_LEVEL_NONE : RPC_C_AUTHN_LEVEL_DEFAULT;
}

// The event that tells the outcome of pinging the server machine.
CTQString TextoDoPing(tq::IPrimitivaCom& com, const CTQString& servidor) {
    if (servidor.IsEmpty())
        return CTQString("Falta informar o IP");
    CTQString texto;
    texto.Format("ping %s\n", servidor.GetString());
    const CTQString saida = com.Ping(servidor);
    texto += saida.IsEmpty() ? CTQString("O comando n\xE3o p\xF4"
                                         "de ser executado.")
                             : saida;
    return texto;
}

} // namespace

HRESULT TQCoInitializeSecurity() {
    HRESULT hr;
    TQ_TRACA(hr,
             "CoInitializeSecurity(0, -1, nullptr, nullptr, g_bSemAutenticacao ? "
             "RPC_C_AUTHN_LEVEL_NONE : RPC_C_AUTHN_LEVEL_DEFAULT, RPC_C_IMP_LEVEL_IMPERSONATE, "
             "nullptr, EOAC_NONE, nullptr)",
             tq::PrimitivaComAtual().CoInitializeSecurity(
                 nullptr, -1, nullptr, nullptr, NivelDeAutenticacao(), RPC_C_IMP_LEVEL_IMPERSONATE,
                 nullptr, EOAC_NONE, nullptr));
    return hr;
}

HRESULT TQCoSetProxyBlanket(IUnknown* pProxy) {
    HRESULT hr;
    TQ_TRACA(hr,
             "CoSetProxyBlanket(pProxy, g_bSemAutenticacao ? RPC_C_AUTHN_NONE : "
             "RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr, g_bSemAutenticacao ? "
             "RPC_C_AUTHN_LEVEL_NONE : RPC_C_AUTHN_LEVEL_DEFAULT, RPC_C_IMP_LEVEL_IMPERSONATE, "
             "nullptr, EOAC_NONE)",
             tq::PrimitivaComAtual().CoSetProxyBlanket(
                 pProxy, ServicoDeAutenticacao(), RPC_C_AUTHZ_NONE, nullptr, NivelDeAutenticacao(),
                 RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE));
    return hr;
}

// The order of the checks is the suite's and is kept on purpose: any result but 0 that is not
// tolerated returns at once, so with the empty list only 0xFFFFFFFF (always tolerated) reaches
// the E_INVALIDARG and RPC-server-unavailable branches below.
HRESULT TQCoCreateInstance(REFCLSID rclsid, LPUNKNOWN pUnkOuter, DWORD dwClsCtx, REFIID riid,
                           LPVOID* ppv, ETQComPtrFlags eFlags,
                           std::initializer_list<HRESULT> tolerados) {
    if (!ppv)
        return E_POINTER;
    *ppv = nullptr;
    tq::IPrimitivaCom& com = tq::PrimitivaComAtual();
    HRESULT hr;

    BOOL bWow64 = FALSE;
    if (!com.IsWow64Process(&bWow64)) {
        TQ_TRACA(hr, "E_FAIL", E_FAIL);
        return hr;
    }
    // Under WOW64 the suite takes a further step whose details are not known; the creation
    // below is the same for both bitnesses.

    const CTQString servidor = tq::NomeDoServidorRemoto(rclsid);
    std::basic_string<WCHAR> nomeLargo = tq::detail::TextoLargo(servidor);
    COAUTHINFO cai = {
        ServicoDeAutenticacao(),     RPC_C_AUTHZ_NONE, nullptr,  NivelDeAutenticacao(),
        RPC_C_IMP_LEVEL_IMPERSONATE, nullptr,          EOAC_NONE};
    COSERVERINFO csi = {0, servidor.IsEmpty() ? nullptr : nomeLargo.data(), &cai, 0};
    MULTI_QI mqi = {&riid, nullptr, S_OK};
    // Only a creation that answers 0 hands its interface out: one that answered anything else but
    // left an interface set (a success code, or a misbehaving primitive) must not leak it.
    const auto larga = [&mqi] {
        if (IUnknown* p = std::exchange(mqi.pItf, nullptr))
            p->Release();
    };

    for (int nTentativa = 0; nTentativa < kMaximoDeTentativas; ++nTentativa) {
        larga();
        TQ_TRACA_TOLERANDO(hr, "CoCreateInstanceEx(rclsid, pUnkOuter, dwClsCtx, &csi, 1, &mqi)",
                           com.CoCreateInstanceEx(rclsid, pUnkOuter, dwClsCtx, &csi, 1, &mqi),
                           tolerados);
        if (hr != 0 && !tq::detail::HResultNaLista(hr, tolerados)) {
            larga();
            return hr;
        }

        if (hr == 0 && nTentativa > 1) {
            CTQString texto;
            texto.Format("Instancia estabelecida com sucesso na vez %d", nTentativa);
            ReportaEventoCom(rclsid, hr, EVENTLOG_INFORMATION_TYPE, texto);
        }

        if (hr == E_INVALIDARG) {
            larga();
            TQ_TRACA_TOLERANDO(
                hr, "CoCreateInstanceEx(rclsid, pUnkOuter, dwClsCtx, nullptr, 1, &mqi)",
                com.CoCreateInstanceEx(rclsid, pUnkOuter, dwClsCtx, nullptr, 1, &mqi), tolerados);
            if (hr != 0 && !tq::detail::HResultNaLista(hr, tolerados)) {
                larga();
                return hr;
            }
        }

        if (hr == kServidorIndisponivel && (eFlags & eTQCCI_RETRY)) {
            if (nTentativa == 0 && (eFlags & eTQCCI_LOG_FAILURE)) {
                ReportaEventoCom(rclsid, hr, EVENTLOG_WARNING_TYPE,
                                 "\n\nA primeira tentativa de instanciar o servidor falhou");
                ReportaEventoCom(rclsid, hr, EVENTLOG_ERROR_TYPE, TextoDoPing(com, servidor));
            }
            com.Sleep(kPausaEntreTentativas);
            continue;
        }
        break;
    }

    if (hr == 0) {
        if (mqi.pItf)
            TQCoSetProxyBlanket(mqi.pItf);
        *ppv = mqi.pItf;
    } else {
        larga();
        if (eFlags & eTQCCI_LOG_FAILURE)
            ReportaEventoCom(rclsid, hr, EVENTLOG_ERROR_TYPE, "\n\nErro instanciando servidor");
    }
    return hr;
}

HRESULT TQComPtr_CoCreateInstance(CTQComPtrBase* pBase, REFCLSID rclsid, REFIID riid, LPVOID* ppv,
                                  LPTHREAD_START_ROUTINE pfnThread, ETQComPtrFlags eFlags) {
    if (!pBase || !ppv || !pfnThread)
        return E_POINTER;
    // A base whose object still has a thread lets it go first: two threads must never share it.
    pBase->ParaKeepAlive();
    HRESULT hr;
    TQ_TRACA(hr, "TQCoCreateInstance(rclsid, nullptr, CLSCTX_ALL, riid, ppv, eFlags)",
             TQCoCreateInstance(rclsid, nullptr, CLSCTX_ALL, riid, ppv, eFlags));
    if (FAILED(hr) && !tq::detail::HResultNaLista(hr, {}))
        return hr;

    // A success code other than 0 comes back without an interface: that is no object either.
    if (*ppv == nullptr) {
        TQ_TRACA(hr, "ER_TQDF_CO_CREATE_INSTANCE_INTERFACE_NULA",
                 ER_TQDF_CO_CREATE_INSTANCE_INTERFACE_NULA);
        return hr;
    }

    if (tq::NomeDoServidorRemoto(rclsid).IsEmpty() || g_bSemKeepAlive)
        return S_OK;

    tq::IPrimitivaCom& com = tq::PrimitivaComAtual();
    auto* pKeepAlive = new CTQKeepAlive(com);
    pKeepAlive->AdicionaDono();
    pBase->m_pKeepAlive = pKeepAlive;

    TQ_TRACA(hr, "CoMarshalInterThreadInterfaceInStream(riid, (LPUNKNOWN) *ppv, &pBase->m_pStream)",
             com.CoMarshalInterThreadInterfaceInStream(riid, static_cast<IUnknown*>(*ppv),
                                                       &pKeepAlive->m_pStream));
    if (FAILED(hr)) {
        pKeepAlive->m_pStream = nullptr;
        pBase->ParaKeepAlive();
        return hr;
    }

    pKeepAlive->m_hEventoPronto = com.CreateEventA(TRUE, FALSE);
    pKeepAlive->AdicionaReferencia(); // the thread's, given back as it ends
    if (pKeepAlive->m_hEventoPronto)
        pKeepAlive->m_hThread = com.CreateThread(pfnThread, pKeepAlive, &pKeepAlive->m_dwThreadId);
    if (!pKeepAlive->m_hThread) {
        pKeepAlive->Libera();
        pBase->ParaKeepAlive();
        TQ_TRACA(hr, "ER_TQDF_CO_CREATE_INSTANCE_THREAD_NULA",
                 ER_TQDF_CO_CREATE_INSTANCE_THREAD_NULA);
        return hr;
    }

    com.Sleep(0);
    pKeepAlive->EsperaPronto(kEsperaPeloPronto);
    com.Sleep(0);
    if (!com.PostThreadMessageA(pKeepAlive->m_dwThreadId, WM_TQ_KEEPALIVE_INICIA, 0, 0)) {
        // The thread stays the object's until its owner goes, which wakes it with a quit.
        TQ_TRACA(hr, "HRESULT_FROM_WIN32(GetLastError())", HRESULT_FROM_WIN32(com.GetLastError()));
        return hr;
    }
    return S_OK;
}

namespace tq::detail {

DWORD IntervaloKeepAlive() {
    return g_dwIntervaloKeepAlive.load(std::memory_order_relaxed);
}

void DefineIntervaloKeepAliveParaTestes(DWORD dwMilliseconds) {
    g_dwIntervaloKeepAlive.store(dwMilliseconds, std::memory_order_relaxed);
}

} // namespace tq::detail

DWORD TQComPtr_ThreadKeepServerAlive(CTQKeepAlive* pKeepAlive, REFIID riid) {
    // The thread's share of the keep-alive goes back however the thread ends.
    const std::unique_ptr<CTQKeepAlive, void (*)(CTQKeepAlive*)> compartilhado(
        pKeepAlive, [](CTQKeepAlive* p) { p->Libera(); });
    tq::IPrimitivaCom& com = pKeepAlive->m_com;
    HRESULT hr;

    // A queue first, then "ready", then nothing COM-related before the start message. A quit
    // before it means the owner is going away and the start will never come.
    MSG msg;
    com.PeekMessageA(&msg, WM_USER, WM_USER, PM_NOREMOVE);
    com.SetEvent(pKeepAlive->m_hEventoPronto);
    bool bIniciar = false;
    while (!bIniciar && com.GetMessageA(&msg) > 0)
        bIniciar = msg.message == WM_TQ_KEEPALIVE_INICIA;
    if (!bIniciar)
        return 0;

    TQ_TRACA(hr, "CoInitializeEx(nullptr, COINIT_MULTITHREADED)",
             com.CoInitializeEx(nullptr, COINIT_MULTITHREADED));
    if (FAILED(hr))
        return static_cast<DWORD>(hr);

    ITQUnknown* pLocalTQUnknown = nullptr;
    TQ_TRACA(hr,
             "CoGetInterfaceAndReleaseStream(pBase->m_pStream, riid, (LPVOID*) &pLocalTQUnknown)",
             com.CoGetInterfaceAndReleaseStream(std::exchange(pKeepAlive->m_pStream, nullptr), riid,
                                                reinterpret_cast<LPVOID*>(&pLocalTQUnknown)));
    if (!pLocalTQUnknown) {
        TQ_TRACA(hr, "ER_TQDF_CO_CREATE_INSTANCE_INTERFACE_NULA",
                 ER_TQDF_CO_CREATE_INSTANCE_INTERFACE_NULA);
        com.CoUninitialize();
        return static_cast<DWORD>(hr);
    }

    UINT_PTR idTimer = com.SetTimer(tq::detail::IntervaloKeepAlive());
    if (!idTimer)
        TQ_TRACA(hr, "HRESULT_FROM_WIN32(GetLastError())", HRESULT_FROM_WIN32(com.GetLastError()));

    int nFalhas = 0;
    while (idTimer && com.GetMessageA(&msg) > 0) {
        if (msg.message != WM_TIMER || msg.wParam != idTimer)
            continue;
        com.KillTimer(idTimer);
        idTimer = 0;
        if (!pKeepAlive->m_bKeepRunning.load(std::memory_order_acquire))
            break;
        BOOL bOK = FALSE;
        TQ_TRACA(hr, "pLocalTQUnknown->KeepAlive(&bOK)", pLocalTQUnknown->KeepAlive(&bOK));
        nFalhas = (FAILED(hr) || !bOK) ? nFalhas + 1 : 0;
        if (nFalhas >= kFalhasQueEncerram)
            break;
        idTimer = com.SetTimer(tq::detail::IntervaloKeepAlive());
        if (!idTimer)
            TQ_TRACA(hr, "HRESULT_FROM_WIN32(GetLastError())",
                     HRESULT_FROM_WIN32(com.GetLastError()));
    }
    if (idTimer)
        com.KillTimer(idTimer);

    pLocalTQUnknown->Release();
    com.CoUninitialize();
    return 0;
}

// ---- The keep-alive and its owners ----------------------------------------------------------

BOOL CTQKeepAlive::EsperaPronto(DWORD dwMilliseconds) {
    if (!m_hEventoPronto)
        return FALSE;
    return m_com.WaitForSingleObject(m_hEventoPronto, dwMilliseconds) == WAIT_OBJECT_0;
}

bool CTQKeepAlive::Rodando() {
    return m_hThread && m_com.WaitForSingleObject(m_hThread, 0) == WAIT_TIMEOUT;
}

void CTQKeepAlive::AdicionaDono() {
    m_nDonos.fetch_add(1, std::memory_order_relaxed);
    m_nReferencias.fetch_add(1, std::memory_order_relaxed);
}

void CTQKeepAlive::RemoveDono() {
    if (m_nDonos.fetch_sub(1, std::memory_order_acq_rel) == 1)
        Para();
    Libera();
}

void CTQKeepAlive::Libera() {
    if (m_nReferencias.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete this;
}

// A quit wakes the thread at once, before its start or between ticks. Posting fails only before
// the thread has its queue or after it has ended. A thread held up in a ping is not waited for
// beyond the limit: it finds the flag cleared when the ping returns, and its share of this object
// keeps everything it touches.
void CTQKeepAlive::Para() {
    m_bKeepRunning.store(false, std::memory_order_release);
    if (!m_hThread)
        return;
    DWORD dwEsperado = 0;
    while (!m_com.PostThreadMessageA(m_dwThreadId, WM_QUIT, 0, 0) &&
           dwEsperado < tq::detail::kEsperaPeloFimDoKeepAlive) {
        if (m_com.WaitForSingleObject(m_hThread, 10) == WAIT_OBJECT_0)
            return;
        dwEsperado += 10;
    }
    m_com.WaitForSingleObject(m_hThread, tq::detail::kEsperaPeloFimDoKeepAlive - dwEsperado);
}

CTQKeepAlive::~CTQKeepAlive() {
    if (m_pStream) {
        // The thread never took the interface: take it here so the marshalled reference goes.
        IUnknown* p = nullptr;
        m_com.CoGetInterfaceAndReleaseStream(m_pStream, __uuidof(IUnknown),
                                             reinterpret_cast<LPVOID*>(&p));
        if (p)
            p->Release();
    }
    if (m_hThread)
        m_com.CloseHandle(m_hThread);
    if (m_hEventoPronto)
        m_com.CloseHandle(m_hEventoPronto);
}

BOOL CTQComPtrBase::EsperaPronto(DWORD dwMilliseconds) {
    return m_pKeepAlive ? m_pKeepAlive->EsperaPronto(dwMilliseconds) : FALSE;
}

CTQComPtrBase::CTQComPtrBase(const CTQComPtrBase& outro) : m_pKeepAlive(outro.m_pKeepAlive) {
    if (m_pKeepAlive)
        m_pKeepAlive->AdicionaDono();
}

CTQComPtrBase::CTQComPtrBase(CTQComPtrBase&& outro) noexcept
    : m_pKeepAlive(std::exchange(outro.m_pKeepAlive, nullptr)) {}

CTQComPtrBase& CTQComPtrBase::operator=(const CTQComPtrBase& outro) {
    if (outro.m_pKeepAlive)
        outro.m_pKeepAlive->AdicionaDono(); // before letting go: both may share one
    ParaKeepAlive();
    m_pKeepAlive = outro.m_pKeepAlive;
    return *this;
}

CTQComPtrBase& CTQComPtrBase::operator=(CTQComPtrBase&& outro) noexcept {
    if (this != &outro) {
        ParaKeepAlive();
        m_pKeepAlive = std::exchange(outro.m_pKeepAlive, nullptr);
    }
    return *this;
}

CTQComPtrBase::~CTQComPtrBase() {
    ParaKeepAlive();
}

void CTQComPtrBase::ParaKeepAlive() {
    if (CTQKeepAlive* p = std::exchange(m_pKeepAlive, nullptr))
        p->RemoveDono();
}

namespace tq {

CTQString NomeDoServidorRemoto(REFCLSID clsid) {
    IRegistro& registro = RegistroAtual();
    CTQString chave, appId, servidor;
    chave.Format("CLSID\\%s", GuidParaTexto(clsid).GetString());
    if (!registro.LeTexto(ERaizRegistro::ClassesRoot, chave, "AppID", false, appId) ||
        appId.IsEmpty())
        return CTQString();
    chave.Format("AppID\\%s", appId.GetString());
    if (!registro.LeTexto(ERaizRegistro::ClassesRoot, chave, "RemoteServerName", false, servidor))
        return CTQString();
    return servidor;
}

} // namespace tq
