#include "tqlibex/TQComPtr.h"

#include "tqlibex/EventoCom.h"
#include "tqlibex/GuidTexto.h"
#include "tqlibex/NomesHResult.h"
#include "tqlibex/Registro.h"

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

    for (int nTentativa = 0; nTentativa < kMaximoDeTentativas; ++nTentativa) {
        TQ_TRACA_TOLERANDO(hr, "CoCreateInstanceEx(rclsid, pUnkOuter, dwClsCtx, &csi, 1, &mqi)",
                           com.CoCreateInstanceEx(rclsid, pUnkOuter, dwClsCtx, &csi, 1, &mqi),
                           tolerados);
        if (hr != 0 && !tq::detail::HResultNaLista(hr, tolerados))
            return hr;

        if (hr == 0 && nTentativa > 1) {
            CTQString texto;
            texto.Format("Instancia estabelecida com sucesso na vez %d", nTentativa);
            ReportaEventoCom(rclsid, hr, EVENTLOG_INFORMATION_TYPE, texto);
        }

        if (hr == E_INVALIDARG) {
            TQ_TRACA_TOLERANDO(
                hr, "CoCreateInstanceEx(rclsid, pUnkOuter, dwClsCtx, nullptr, 1, &mqi)",
                com.CoCreateInstanceEx(rclsid, pUnkOuter, dwClsCtx, nullptr, 1, &mqi), tolerados);
            if (hr != 0 && !tq::detail::HResultNaLista(hr, tolerados))
                return hr;
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
        // A failed creation hands nothing out; a primitive that left an interface anyway
        // must not leak it.
        if (mqi.pItf)
            mqi.pItf->Release();
        if (eFlags & eTQCCI_LOG_FAILURE)
            ReportaEventoCom(rclsid, hr, EVENTLOG_ERROR_TYPE, "\n\nErro instanciando servidor");
    }
    return hr;
}

HRESULT TQComPtr_CoCreateInstance(CTQComPtrBase* pBase, REFCLSID rclsid, REFIID riid, LPVOID* ppv,
                                  LPTHREAD_START_ROUTINE pfnThread, ETQComPtrFlags eFlags) {
    if (!pBase || !ppv || !pfnThread)
        return E_POINTER;
    HRESULT hr;
    TQ_TRACA(hr, "TQCoCreateInstance(rclsid, nullptr, CLSCTX_ALL, riid, ppv, eFlags)",
             TQCoCreateInstance(rclsid, nullptr, CLSCTX_ALL, riid, ppv, eFlags));
    if (hr != 0 && !tq::detail::HResultNaLista(hr, {}))
        return hr;

    if (*ppv == nullptr) {
        TQ_TRACA(hr, "ER_TQDF_CO_CREATE_INSTANCE_INTERFACE_NULA",
                 ER_TQDF_CO_CREATE_INSTANCE_INTERFACE_NULA);
        return hr;
    }

    if (tq::NomeDoServidorRemoto(rclsid).IsEmpty() || g_bSemKeepAlive)
        return S_OK;

    static constexpr tq::detail::NomeFixo funcao = tq::detail::NomeDaFuncao(__PRETTY_FUNCTION__);
    return tq::detail::IniciaKeepAlive(pBase, riid, static_cast<IUnknown*>(*ppv), pfnThread,
                                       funcao.data());
}

namespace tq::detail {

HRESULT IniciaKeepAlive(CTQComPtrBase* pBase, REFIID riid, IUnknown* pUnk,
                        LPTHREAD_START_ROUTINE pfnThread, const char* pszFuncao) {
    IPrimitivaCom& com = PrimitivaComAtual();
    pBase->m_pPrimitiva = &com;
    pBase->m_bKeepRunning = true;
    const auto traca = [pszFuncao](HRESULT hr, const char* pszExpressao, int nLinha) {
        TracaHResult(hr, pszExpressao, "hr", pszFuncao, kArquivo, nLinha, {});
    };

    HRESULT hr = com.CoMarshalInterThreadInterfaceInStream(riid, pUnk, &pBase->m_pStream);
    traca(hr,
          "hr = CoMarshalInterThreadInterfaceInStream(riid, (LPUNKNOWN) *ppv, &pBase->m_pStream)",
          __LINE__);
    if (FAILED(hr)) {
        pBase->m_pStream = nullptr;
        return hr;
    }

    pBase->m_hEventoPronto = com.CreateEventA(TRUE, FALSE);
    if (pBase->m_hEventoPronto)
        pBase->m_hThread = com.CreateThread(pfnThread, pBase, &pBase->m_dwThreadId);
    if (!pBase->m_hThread) {
        hr = ER_TQDF_CO_CREATE_INSTANCE_THREAD_NULA;
        traca(hr, "hr = ER_TQDF_CO_CREATE_INSTANCE_THREAD_NULA", __LINE__);
        pBase->m_dwThreadId = 0;
        return hr;
    }

    com.Sleep(0);
    pBase->EsperaPronto(kEsperaPeloPronto);
    com.Sleep(0);
    if (!com.PostThreadMessageA(pBase->m_dwThreadId, WM_TQ_KEEPALIVE_INICIA, 0, 0)) {
        hr = HRESULT_FROM_WIN32(com.GetLastError());
        traca(hr, "hr = HRESULT_FROM_WIN32(GetLastError())", __LINE__);
        return hr;
    }
    return S_OK;
}

DWORD IntervaloKeepAlive() {
    return g_dwIntervaloKeepAlive.load(std::memory_order_relaxed);
}

void DefineIntervaloKeepAliveParaTestes(DWORD dwMilliseconds) {
    g_dwIntervaloKeepAlive.store(dwMilliseconds, std::memory_order_relaxed);
}

} // namespace tq::detail

DWORD TQComPtr_ThreadKeepServerAlive(CTQComPtrBase* pBase, REFIID riid) {
    tq::IPrimitivaCom& com = *pBase->m_pPrimitiva;
    HRESULT hr;

    // A queue first, then "ready", then nothing COM-related before the start message. A quit
    // before it means the owner is going away and the start will never come.
    MSG msg;
    com.PeekMessageA(&msg, WM_USER, WM_USER, PM_NOREMOVE);
    com.SetEvent(pBase->m_hEventoPronto);
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
             com.CoGetInterfaceAndReleaseStream(pBase->m_pStream, riid,
                                                reinterpret_cast<LPVOID*>(&pLocalTQUnknown)));
    pBase->m_pStream = nullptr; // released by the call, whatever its result
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
        if (!pBase->m_bKeepRunning.load(std::memory_order_acquire))
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

BOOL CTQComPtrBase::EsperaPronto(DWORD dwMilliseconds) {
    if (!m_pPrimitiva || !m_hEventoPronto)
        return FALSE;
    return m_pPrimitiva->WaitForSingleObject(m_hEventoPronto, dwMilliseconds) == WAIT_OBJECT_0;
}

CTQComPtrBase::~CTQComPtrBase() {
    ParaKeepAlive();
}

bool CTQComPtrBase::KeepAliveAtivo() {
    return m_hThread && m_pPrimitiva->WaitForSingleObject(m_hThread, 0) == WAIT_TIMEOUT;
}

void CTQComPtrBase::ParaKeepAlive() {
    if (!m_pPrimitiva)
        return;
    tq::IPrimitivaCom& com = *m_pPrimitiva;
    m_bKeepRunning.store(false, std::memory_order_release);
    if (m_hThread) {
        // A quit wakes the thread at once, before its start or between ticks. Posting fails
        // only before the thread has its queue or after it has ended: wait a little and retry.
        while (!com.PostThreadMessageA(m_dwThreadId, WM_QUIT, 0, 0))
            if (com.WaitForSingleObject(m_hThread, 10) == WAIT_OBJECT_0)
                break;
        com.WaitForSingleObject(m_hThread, INFINITE);
        com.CloseHandle(m_hThread);
        m_hThread = nullptr;
        m_dwThreadId = 0;
    }
    if (m_pStream) {
        // The thread never took the interface: take it here so the marshalled reference goes.
        IUnknown* p = nullptr;
        com.CoGetInterfaceAndReleaseStream(m_pStream, __uuidof(IUnknown),
                                           reinterpret_cast<LPVOID*>(&p));
        m_pStream = nullptr;
        if (p)
            p->Release();
    }
    if (m_hEventoPronto) {
        com.CloseHandle(m_hEventoPronto);
        m_hEventoPronto = nullptr;
    }
    m_pPrimitiva = nullptr;
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
