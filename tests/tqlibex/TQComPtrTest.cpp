#include "tqlibex/TQComPtr.h"

#include "fakes/ComFalso.h"
#include "support/Gravadores.h"
#include "tqlibex/Plataforma.h"
#include "tqlibex/Registro.h"

#include <gtest/gtest.h>

#include <string>

using tq::ERaizRegistro;
using tq::teste::CPrimitivaRoteirizada;
using tq::teste::CServidorFalso;

namespace {

const GUID kClsid = {0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55}};
const char* const kChaveClasse = "CLSID\\{11111111-2222-3333-4444-555555555555}";
const char* const kChaveApp = "AppID\\{AAAAAAAA-2222-3333-4444-555555555555}";
constexpr HRESULT kIndisponivel = static_cast<HRESULT>(0x800706BAu);

// The message field of a trace record (the sixth tab-ended field).
std::string Mensagem(const CRegistroTrace& r) {
    std::string texto = r.sTexto.GetString();
    for (int i = 0; i < 5; ++i)
        texto = texto.substr(texto.find('\t') + 1);
    return texto;
}

std::string Expressao(const CRegistroTrace& r) {
    const std::string m = Mensagem(r);
    return m.substr(0, m.find('\t'));
}

std::string Arquivo(const CRegistroTrace& r) {
    std::string texto = r.sTexto.GetString();
    for (int i = 0; i < 3; ++i)
        texto = texto.substr(texto.find('\t') + 1);
    return texto.substr(0, texto.find('\t'));
}

// Every test runs with a scripted primitive, recording sinks, an in-memory registry and the
// calling thread in the multithreaded apartment; the switches are put back afterwards.
class TQComPtr : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_MULTITHREADED)));
        com.pObjeto = &servidor;
    }
    void TearDown() override {
        ::CoUninitialize();
        g_bSemAutenticacao = false;
        g_bSemKeepAlive = false;
        EXPECT_EQ(servidor.Referencias(), 1u) << "every reference handed out came back";
    }
    void Remoto(const char* pszServidor) {
        registro.DefineTexto(ERaizRegistro::ClassesRoot, kChaveClasse, "AppID",
                             "{AAAAAAAA-2222-3333-4444-555555555555}");
        registro.DefineTexto(ERaizRegistro::ClassesRoot, kChaveApp, "RemoteServerName",
                             pszServidor);
    }
    std::vector<std::string> Expressoes() const {
        std::vector<std::string> v;
        for (const auto& r : trace.registros)
            v.push_back(Expressao(r));
        return v;
    }

    CServidorFalso servidor;
    tq::CRegistroEmMemoria registro;
    tq::CEscopoRegistro escopoRegistro{registro};
    tq::teste::GravadorTrace trace;
    tq::teste::GravadorEventos eventos;
    CPrimitivaRoteirizada com;
};

ITQTeste* Cria(HRESULT& hr, ETQComPtrFlags eFlags, std::initializer_list<HRESULT> tolerados = {}) {
    void* pv = reinterpret_cast<void*>(1); // must be cleared
    hr =
        TQCoCreateInstance(kClsid, nullptr, CLSCTX_ALL, __uuidof(ITQTeste), &pv, eFlags, tolerados);
    return static_cast<ITQTeste*>(pv);
}

} // namespace

TEST_F(TQComPtr, NomeDoServidorRemoto) {
    EXPECT_EQ(std::string(tq::NomeDoServidorRemoto(kClsid)), "") << "no class: local";
    registro.DefineTexto(ERaizRegistro::ClassesRoot, kChaveClasse, "AppID",
                         "{AAAAAAAA-2222-3333-4444-555555555555}");
    EXPECT_EQ(std::string(tq::NomeDoServidorRemoto(kClsid)), "")
        << "an AppID without a server name: local";
    // Registered under HKLM\Software\Classes, as servers register themselves, seen through HKCR.
    registro.DefineTexto(ERaizRegistro::LocalMachine,
                         std::string("Software\\Classes\\") + kChaveApp, "RemoteServerName",
                         "srv-negocios");
    EXPECT_EQ(std::string(tq::NomeDoServidorRemoto(kClsid)), "srv-negocios");
    registro.DefineTexto(ERaizRegistro::ClassesRoot, kChaveClasse, "AppID", "");
    EXPECT_EQ(std::string(tq::NomeDoServidorRemoto(kClsid)), "") << "an empty AppID: local";
}

TEST_F(TQComPtr, SucessoDevolveZeroComBlanketNaInterface) {
    Remoto("srv-negocios");
    for (const bool bSem : {false, true}) {
        g_bSemAutenticacao = bSem;
        com.vistas.clear();
        com.blankets.clear();
        HRESULT hr;
        ITQTeste* p = Cria(hr, eTQCCI_LOG_FAILURE | eTQCCI_RETRY);
        ASSERT_EQ(hr, S_OK);
        ASSERT_EQ(p, static_cast<ITQTeste*>(&servidor));
        ASSERT_EQ(com.vistas.size(), 1u);
        const auto& c = com.vistas[0];
        EXPECT_TRUE(c.bComServerInfo);
        EXPECT_EQ(c.nomeServidor, u"srv-negocios");
        EXPECT_EQ(c.dwClsCtx, CLSCTX_ALL);
        EXPECT_EQ(c.dwAuthnSvc, bSem ? 0u : 10u);
        EXPECT_EQ(c.dwAuthnLevel, bSem ? 1u : 0u);
        EXPECT_EQ(c.dwImpLevel, 3u);
        ASSERT_EQ(com.blankets.size(), 1u);
        const auto& b = com.blankets[0];
        EXPECT_EQ(b.pProxy, static_cast<IUnknown*>(p)) << "the blanket goes on the interface";
        EXPECT_EQ(b.dwAuthnSvc, bSem ? 0u : 10u);
        EXPECT_EQ(b.dwAuthzSvc, 0u);
        EXPECT_EQ(b.dwAuthnLevel, bSem ? 1u : 0u);
        EXPECT_EQ(b.dwImpLevel, 3u);
        EXPECT_EQ(b.dwCapabilities, 0u);
        p->Release();
    }
    EXPECT_TRUE(trace.registros.empty());
    EXPECT_TRUE(eventos.eventos.empty());
    EXPECT_TRUE(com.pausas.empty());
}

TEST_F(TQComPtr, BlanketRecusadoTracaMasNaoDesfazACriacao) {
    com.hrBlanket = E_NOTIMPL; // what wine answers
    HRESULT hr;
    ITQTeste* p = Cria(hr, eTQCCI_LOG_FAILURE | eTQCCI_RETRY);
    EXPECT_EQ(hr, S_OK);
    ASSERT_NE(p, nullptr);
    p->Release();
    ASSERT_EQ(trace.registros.size(), 1u);
    EXPECT_EQ(Expressao(trace.registros[0]),
              "hr = CoSetProxyBlanket(pProxy, g_bSemAutenticacao ? RPC_C_AUTHN_NONE : "
              "RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr, g_bSemAutenticacao ? "
              "RPC_C_AUTHN_LEVEL_NONE : RPC_C_AUTHN_LEVEL_DEFAULT, RPC_C_IMP_LEVEL_IMPERSONATE, "
              "nullptr, EOAC_NONE)");
    EXPECT_EQ(std::string(trace.registros[0].sFuncao.GetString()), "TQCoSetProxyBlanket");
}

TEST_F(TQComPtr, LocalSemNomeDeServidor) {
    HRESULT hr;
    ITQTeste* p = Cria(hr, eTQCCI_LOG_FAILURE | eTQCCI_RETRY);
    ASSERT_EQ(hr, S_OK);
    p->Release();
    ASSERT_EQ(com.vistas.size(), 1u);
    EXPECT_TRUE(com.vistas[0].bComServerInfo) << "the server info always goes, with no name";
    EXPECT_TRUE(com.vistas[0].nomeServidor.empty());
}

// Any result but 0 that is not tolerated returns at once: 0x800706BA is not retried, even with
// both flags, and reports no event; only 0xFFFFFFFF goes on.
TEST_F(TQComPtr, FalhaNaoToleradaVoltaNaHora) {
    Remoto("srv-negocios");
    struct Caso {
        HRESULT hr;
        ETQComPtrFlags eFlags;
    };
    const Caso casos[] = {
        {kIndisponivel, eTQCCI_LOG_FAILURE},
        {kIndisponivel, eTQCCI_LOG_FAILURE | eTQCCI_RETRY},
        {E_INVALIDARG, eTQCCI_LOG_FAILURE | eTQCCI_RETRY},
        {REGDB_E_CLASSNOTREG, eTQCCI_RETRY},
    };
    for (const Caso& caso : casos) {
        com.vistas.clear();
        trace.registros.clear();
        com.criacoes = {caso.hr};
        HRESULT hr;
        EXPECT_EQ(Cria(hr, caso.eFlags), nullptr);
        EXPECT_EQ(hr, caso.hr);
        EXPECT_EQ(com.vistas.size(), 1u) << "one attempt, no second creation";
        ASSERT_EQ(trace.registros.size(), 1u);
        const CRegistroTrace& r = trace.registros[0];
        EXPECT_EQ(Expressao(r),
                  "hr = CoCreateInstanceEx(rclsid, pUnkOuter, dwClsCtx, &csi, 1, &mqi)");
        EXPECT_EQ(std::string(r.sFuncao.GetString()), "TQCoCreateInstance");
        EXPECT_EQ(Arquivo(r), "TQComPtr");
    }
    EXPECT_TRUE(com.pausas.empty());
    EXPECT_TRUE(eventos.eventos.empty());
    EXPECT_TRUE(com.pings.empty());
}

TEST_F(TQComPtr, MenosUmSaiDoLacoEReportaOErro) {
    for (const ETQComPtrFlags eFlags : {eTQCCI_LOG_FAILURE | eTQCCI_RETRY, eTQCCI_RETRY}) {
        eventos.eventos.clear();
        com.vistas.clear();
        com.criacoes = {static_cast<HRESULT>(0xFFFFFFFFu)};
        HRESULT hr;
        EXPECT_EQ(Cria(hr, eFlags), nullptr);
        EXPECT_EQ(hr, static_cast<HRESULT>(0xFFFFFFFFu));
        EXPECT_EQ(com.vistas.size(), 1u);
        if (eFlags & eTQCCI_LOG_FAILURE) {
            ASSERT_EQ(eventos.eventos.size(), 1u);
            EXPECT_EQ(eventos.eventos[0].tipo, EVENTLOG_ERROR_TYPE);
            EXPECT_EQ(eventos.eventos[0].id, 0xFFFFFFFFu);
            EXPECT_EQ(eventos.eventos[0].texto1, "\n\nErro instanciando servidor");
            EXPECT_EQ(eventos.eventos[0].texto2.rfind("\nHR: 0xFFFFFFFF (", 0), 0u)
                << eventos.eventos[0].texto2;
        } else {
            EXPECT_TRUE(eventos.eventos.empty());
        }
    }
    EXPECT_TRUE(trace.registros.empty()) << "-1 is never traced";
}

TEST_F(TQComPtr, VerificacaoDeBitnessFalhaDaEFail) {
    com.bFalhaWow64 = true;
    HRESULT hr;
    EXPECT_EQ(Cria(hr, eTQCCI_LOG_FAILURE | eTQCCI_RETRY), nullptr);
    EXPECT_EQ(hr, E_FAIL);
    EXPECT_TRUE(com.vistas.empty()) << "nothing is created";
    ASSERT_EQ(trace.registros.size(), 1u);
    EXPECT_EQ(Expressao(trace.registros[0]), "hr = E_FAIL");
}

// The retry branches, reached by widening the tolerated list (the suite's list is empty).
TEST_F(TQComPtr, RepeteEnquantoOServidorNaoResponde) {
    Remoto("srv-negocios");
    com.criacoes = {kIndisponivel, kIndisponivel, kIndisponivel, S_OK};
    HRESULT hr;
    ITQTeste* p = Cria(hr, eTQCCI_LOG_FAILURE | eTQCCI_RETRY, {kIndisponivel});
    ASSERT_EQ(hr, S_OK);
    ASSERT_NE(p, nullptr);
    p->Release();
    EXPECT_EQ(com.vistas.size(), 4u);
    EXPECT_EQ(com.pausas, std::vector<DWORD>({100, 100, 100}));
    EXPECT_EQ(com.pings, std::vector<std::string>{"srv-negocios"}) << "pinged on attempt 0 only";
    ASSERT_EQ(eventos.eventos.size(), 3u);
    EXPECT_EQ(eventos.eventos[0].tipo, EVENTLOG_WARNING_TYPE);
    EXPECT_EQ(eventos.eventos[0].texto1,
              "\n\nA primeira tentativa de instanciar o servidor falhou");
    EXPECT_EQ(eventos.eventos[0].texto2.rfind("\nHR: 0x800706BA (", 0), 0u);
    EXPECT_EQ(eventos.eventos[1].tipo, EVENTLOG_ERROR_TYPE);
    EXPECT_EQ(eventos.eventos[1].texto1, "ping srv-negocios\nResposta de 10.1.2.3: tempo=1ms");
    EXPECT_EQ(eventos.eventos[1].texto2.rfind("\nHR: 0x800706BA (", 0), 0u);
    EXPECT_EQ(eventos.eventos[2].tipo, EVENTLOG_INFORMATION_TYPE);
    EXPECT_EQ(eventos.eventos[2].texto1, "Instancia estabelecida com sucesso na vez 3");
    EXPECT_EQ(eventos.eventos[2].texto2.rfind("\nHR: 0x0 (", 0), 0u);
    EXPECT_TRUE(trace.registros.empty()) << "tolerated results are not traced";
}

TEST_F(TQComPtr, SemNomeOPingDizQueFaltaOIP) {
    com.criacoes = {kIndisponivel, S_OK};
    HRESULT hr;
    Cria(hr, eTQCCI_LOG_FAILURE | eTQCCI_RETRY, {kIndisponivel})->Release();
    ASSERT_EQ(eventos.eventos.size(), 2u) << "attempt 1 is not reported as a success";
    EXPECT_EQ(eventos.eventos[1].texto1, "Falta informar o IP");
    EXPECT_TRUE(com.pings.empty());
}

TEST_F(TQComPtr, SemRetryOuSemLogNaoHaPausaOuAviso) {
    com.criacoes = {kIndisponivel};
    HRESULT hr;
    EXPECT_EQ(Cria(hr, eTQCCI_LOG_FAILURE, {kIndisponivel}), nullptr);
    EXPECT_EQ(hr, kIndisponivel);
    EXPECT_EQ(com.vistas.size(), 1u) << "only eTQCCI_LOG_FAILURE: not retried";
    ASSERT_EQ(eventos.eventos.size(), 1u);
    EXPECT_EQ(eventos.eventos[0].texto1, "\n\nErro instanciando servidor");

    eventos.eventos.clear();
    com.vistas.clear();
    com.criacoes = {kIndisponivel, kIndisponivel, S_OK};
    Cria(hr, eTQCCI_RETRY, {kIndisponivel})->Release();
    EXPECT_EQ(com.vistas.size(), 3u);
    EXPECT_EQ(com.pausas.size(), 2u);
    // No warning and no ping without eTQCCI_LOG_FAILURE; the success on attempt 2 is reported
    // whatever the flags.
    ASSERT_EQ(eventos.eventos.size(), 1u);
    EXPECT_EQ(eventos.eventos[0].texto1, "Instancia estabelecida com sucesso na vez 2");
}

TEST_F(TQComPtr, NoMaximoQuinhentasTentativas) {
    com.criacoes.assign(600, kIndisponivel);
    HRESULT hr;
    EXPECT_EQ(Cria(hr, eTQCCI_LOG_FAILURE | eTQCCI_RETRY, {kIndisponivel}), nullptr);
    EXPECT_EQ(hr, kIndisponivel);
    EXPECT_EQ(com.vistas.size(), 500u);
    EXPECT_EQ(com.pausas.size(), 500u);
    ASSERT_EQ(eventos.eventos.size(), 3u);
    EXPECT_EQ(eventos.eventos[2].texto1, "\n\nErro instanciando servidor");
}

TEST_F(TQComPtr, InvalidArgCriaDeNovoSemServerInfo) {
    com.criacoes = {E_INVALIDARG, S_OK};
    HRESULT hr;
    ITQTeste* p = Cria(hr, eTQCCI_LOG_FAILURE | eTQCCI_RETRY, {E_INVALIDARG});
    ASSERT_EQ(hr, S_OK);
    p->Release();
    ASSERT_EQ(com.vistas.size(), 2u);
    EXPECT_TRUE(com.vistas[0].bComServerInfo);
    EXPECT_FALSE(com.vistas[1].bComServerInfo);

    // The second creation's untolerated failure is traced with its own text and returned.
    com.vistas.clear();
    com.criacoes = {E_INVALIDARG, E_ACCESSDENIED};
    EXPECT_EQ(Cria(hr, eTQCCI_RETRY, {E_INVALIDARG}), nullptr);
    EXPECT_EQ(hr, E_ACCESSDENIED);
    ASSERT_EQ(trace.registros.size(), 1u);
    EXPECT_EQ(Expressao(trace.registros[0]),
              "hr = CoCreateInstanceEx(rclsid, pUnkOuter, dwClsCtx, nullptr, 1, &mqi)");
}

TEST_F(TQComPtr, SegurancaDoProcesso) {
    // Through the platform: the first call sets it, a second is too late on Windows; wine's stub
    // answers S_OK every time.
    tq::CEscopoPrimitivaCom plataforma(tq::PrimitivaComDaPlataforma());
    const HRESULT hr1 = TQCoInitializeSecurity();
    const HRESULT hr2 = TQCoInitializeSecurity();
    EXPECT_TRUE(hr1 == S_OK || hr1 == RPC_E_TOO_LATE) << std::hex << hr1;
    if (tq::RodandoSobWine())
        EXPECT_EQ(hr2, S_OK) << "known wine difference: CoInitializeSecurity is a stub";
    else
        EXPECT_EQ(hr2, RPC_E_TOO_LATE);
    if (hr2 != S_OK) {
        ASSERT_FALSE(trace.registros.empty());
        EXPECT_EQ(Expressao(trace.registros.back()),
                  "hr = CoInitializeSecurity(0, -1, nullptr, nullptr, g_bSemAutenticacao ? "
                  "RPC_C_AUTHN_LEVEL_NONE : RPC_C_AUTHN_LEVEL_DEFAULT, "
                  "RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr)");
    }
}

// ---- CTQComPtr and the keep-alive thread ------------------------------------------------------

TEST_F(TQComPtr, ServidorLocalNuncaGanhaThread) {
    CTQComPtr<ITQTeste> p;
    ASSERT_EQ(p.CoCreateInstance(kClsid), S_OK);
    ASSERT_TRUE(p);
    EXPECT_EQ(p->Inicializa(7), S_OK);
    EXPECT_EQ(servidor.m_nValor, 7);
    EXPECT_FALSE(p.TemKeepAlive());
    EXPECT_EQ(com.nThreads, 0);
}

TEST_F(TQComPtr, SemKeepAliveNuncaGanhaThread) {
    Remoto("srv-negocios");
    g_bSemKeepAlive = true;
    CTQComPtr<ITQTeste> p;
    ASSERT_EQ(p.CoCreateInstance(kClsid), S_OK);
    EXPECT_FALSE(p.TemKeepAlive());
    EXPECT_EQ(com.nThreads, 0);
}

TEST_F(TQComPtr, FalhaDaCriacaoETracadaDeNovoPeloPonteiro) {
    com.criacoes = {kIndisponivel};
    CTQComPtr<ITQTeste> p;
    EXPECT_EQ(p.CoCreateInstance(kClsid), kIndisponivel);
    EXPECT_FALSE(p);
    ASSERT_EQ(trace.registros.size(), 3u);
    EXPECT_EQ(std::string(trace.registros[1].sFuncao.GetString()), "TQComPtr_CoCreateInstance");
    EXPECT_EQ(Expressao(trace.registros[1]),
              "hr = TQCoCreateInstance(rclsid, nullptr, CLSCTX_ALL, riid, ppv, eFlags)");
    const CRegistroTrace& r = trace.registros[2];
    EXPECT_EQ(std::string(r.sFuncao.GetString()), "CTQComPtr<struct ITQTeste>::CoCreateInstance");
    EXPECT_EQ(Expressao(r), "hr = CoCreateInstance(rclsid, ETQComPtrFlags::eTQCCI_LOG_FAILURE | "
                            "ETQComPtrFlags::eTQCCI_RETRY)");
    EXPECT_EQ(Arquivo(r), "TQComPtr");
}

TEST_F(TQComPtr, ResultadosDaPropriaBiblioteca) {
    Remoto("srv-negocios");
    struct Caso {
        const char* pszNome;
        void (*prepara)(CPrimitivaRoteirizada&);
        HRESULT hr;
        const char* pszExpressao;
        bool bFicaComInterface;
    };
    const Caso casos[] = {
        {"interface nula", [](CPrimitivaRoteirizada& c) { c.bInterfaceNula = true; },
         ER_TQDF_CO_CREATE_INSTANCE_INTERFACE_NULA,
         "hr = ER_TQDF_CO_CREATE_INSTANCE_INTERFACE_NULA", false},
        {"thread nula", [](CPrimitivaRoteirizada& c) { c.bFalhaThread = true; },
         ER_TQDF_CO_CREATE_INSTANCE_THREAD_NULA, "hr = ER_TQDF_CO_CREATE_INSTANCE_THREAD_NULA",
         true},
        {"empacotamento", [](CPrimitivaRoteirizada& c) { c.hrEmpacota = E_OUTOFMEMORY; },
         E_OUTOFMEMORY,
         "hr = CoMarshalInterThreadInterfaceInStream(riid, (LPUNKNOWN) *ppv, &pBase->m_pStream)",
         true},
        {"mensagem de inicio", [](CPrimitivaRoteirizada& c) { c.bFalhaInicio = true; },
         HRESULT_FROM_WIN32(1444), "hr = HRESULT_FROM_WIN32(GetLastError())", true},
    };
    for (const Caso& caso : casos) {
        SCOPED_TRACE(caso.pszNome);
        CPrimitivaRoteirizada roteiro;
        roteiro.pObjeto = &servidor;
        caso.prepara(roteiro);
        trace.registros.clear();
        {
            CTQComPtr<ITQTeste> p;
            EXPECT_EQ(p.CoCreateInstance(kClsid), caso.hr);
            EXPECT_EQ(static_cast<bool>(p), caso.bFicaComInterface)
                << "the created interface stays usable when only its keep-alive failed";
            ASSERT_EQ(trace.registros.size(), 2u);
            EXPECT_EQ(Expressao(trace.registros[0]), caso.pszExpressao);
            EXPECT_EQ(std::string(trace.registros[0].sFuncao.GetString()),
                      "TQComPtr_CoCreateInstance");
        }
        EXPECT_EQ(servidor.Referencias(), 1u) << "nothing held after the pointer went";
    }
}

TEST_F(TQComPtr, ServidorRemotoEPingadoAteTresFalhasSeguidas) {
    Remoto("srv-negocios");
    tq::teste::CEscopoIntervaloKeepAlive intervalo(5);
    servidor.Roteiro({{S_OK, FALSE}, {kIndisponivel, TRUE}, {S_OK, FALSE}});
    CTQComPtr<ITQTeste> p;
    ASSERT_EQ(p.CoCreateInstance(kClsid), S_OK);
    ASSERT_TRUE(p.TemKeepAlive());
    // The thread ends by itself after the third failure in a row.
    ASSERT_EQ(com.WaitForSingleObject(p.m_hThread, 20000), WAIT_OBJECT_0);
    EXPECT_EQ(servidor.KeepAlives(), 3) << "no ping after three failures";
    EXPECT_EQ(com.nEntradasApartamento, 1);
    EXPECT_EQ(com.nSaidasApartamento, 1) << "the thread leaves its apartment";
    ASSERT_EQ(trace.registros.size(), 1u) << "the failed ping is traced";
    EXPECT_EQ(Expressao(trace.registros[0]), "hr = pLocalTQUnknown->KeepAlive(&bOK)");
    EXPECT_EQ(std::string(trace.registros[0].sFuncao.GetString()),
              "TQComPtr_ThreadKeepServerAlive");
    EXPECT_EQ(servidor.Referencias(), 2u) << "the thread released its own reference";
}

TEST_F(TQComPtr, UmSucessoEntreFalhasZeraAContagem) {
    Remoto("srv-negocios");
    tq::teste::CEscopoIntervaloKeepAlive intervalo(5);
    servidor.Roteiro(
        {{S_OK, FALSE}, {S_OK, FALSE}, {S_OK, TRUE}, {S_OK, FALSE}, {S_OK, FALSE}, {S_OK, FALSE}});
    CTQComPtr<ITQTeste> p;
    ASSERT_EQ(p.CoCreateInstance(kClsid), S_OK);
    ASSERT_EQ(com.WaitForSingleObject(p.m_hThread, 20000), WAIT_OBJECT_0);
    EXPECT_EQ(servidor.KeepAlives(), 6);
}

TEST_F(TQComPtr, DestruirOPonteiroEncerraAThread) {
    Remoto("srv-negocios");
    {
        // Default interval: the thread would not tick for two minutes; the owner's quit must
        // end it at once.
        CTQComPtr<ITQTeste> p;
        ASSERT_EQ(p.CoCreateInstance(kClsid), S_OK);
        ASSERT_TRUE(p.TemKeepAlive());
    }
    EXPECT_EQ(servidor.KeepAlives(), 0);
    EXPECT_EQ(com.nEntradasApartamento, com.nSaidasApartamento);
    {
        tq::teste::CEscopoIntervaloKeepAlive intervalo(1);
        CTQComPtr<ITQTeste> p;
        ASSERT_EQ(p.CoCreateInstance(kClsid), S_OK);
        ASSERT_TRUE(servidor.EsperaKeepAlives(3));
    }
    const int nPings = servidor.KeepAlives();
    EXPECT_EQ(servidor.Referencias(), 1u);
    EXPECT_EQ(servidor.KeepAlives(), nPings) << "no ping after the owner went";
}

TEST_F(TQComPtr, FlagLimpoEncerraNoProximoTique) {
    Remoto("srv-negocios");
    tq::teste::CEscopoIntervaloKeepAlive intervalo(5);
    CTQComPtr<ITQTeste> p;
    ASSERT_EQ(p.CoCreateInstance(kClsid), S_OK);
    ASSERT_TRUE(servidor.EsperaKeepAlives(1));
    // Only the flag: no quit message is posted, the thread must notice at its next tick.
    p.m_bKeepRunning = false;
    ASSERT_EQ(com.WaitForSingleObject(p.m_hThread, 20000), WAIT_OBJECT_0);
    EXPECT_EQ(com.nEntradasApartamento, com.nSaidasApartamento);
}

TEST_F(TQComPtr, ArgumentosNulos) {
    void* pv = nullptr;
    CTQComPtr<ITQTeste> base;
    EXPECT_EQ(
        TQCoCreateInstance(kClsid, nullptr, CLSCTX_ALL, __uuidof(ITQTeste), nullptr, eTQCCI_RETRY),
        E_POINTER);
    EXPECT_EQ(TQComPtr_CoCreateInstance(nullptr, kClsid, __uuidof(ITQTeste), &pv,
                                        &CTQComPtr<ITQTeste>::ThreadKeepServerAlive, eTQCCI_RETRY),
              E_POINTER);
    EXPECT_EQ(
        TQComPtr_CoCreateInstance(&base, kClsid, __uuidof(ITQTeste), &pv, nullptr, eTQCCI_RETRY),
        E_POINTER);
    EXPECT_TRUE(com.vistas.empty());
}

TEST_F(TQComPtr, CopiaMovimentoDetachERelease) {
    Remoto("srv-negocios");
    tq::teste::CEscopoIntervaloKeepAlive intervalo(1);
    CTQComPtr<ITQTeste> a;
    ASSERT_EQ(a.CoCreateInstance(kClsid), S_OK);
    EXPECT_EQ(servidor.Referencias(), 3u) << "the test's, the pointer's and the thread's";

    CTQComPtr<ITQTeste> b(a);
    EXPECT_EQ(b.GetInterface(), a.GetInterface());
    EXPECT_FALSE(b.TemKeepAlive()) << "one keep-alive thread per created object";

    CTQComPtr<ITQTeste> c(std::move(a));
    EXPECT_FALSE(a);
    EXPECT_FALSE(a.TemKeepAlive());
    EXPECT_TRUE(c.TemKeepAlive()) << "the keep-alive goes with the object";
    const int nAntes = servidor.KeepAlives();
    ASSERT_TRUE(servidor.EsperaKeepAlives(nAntes + 2)) << "and it still pings";

    b = c;
    EXPECT_EQ(b.GetInterface(), c.GetInterface());
    a = std::move(c);
    EXPECT_TRUE(a.TemKeepAlive());
    EXPECT_FALSE(c);

    ITQTeste* pSolto = a.Detach();
    EXPECT_FALSE(a);
    EXPECT_FALSE(a.TemKeepAlive());
    ASSERT_EQ(pSolto, static_cast<ITQTeste*>(&servidor));
    pSolto->Release();
    b.Release();
    EXPECT_FALSE(b);
    EXPECT_EQ(servidor.Referencias(), 1u);
    EXPECT_EQ(com.nEntradasApartamento, com.nSaidasApartamento);
}

// The real ping runs only for a plain host name: the name comes from the registry and must not
// reach a shell as anything but a name.
TEST(PrimitivaCom, PingSoParaUmNomeDeMaquina) {
    tq::IPrimitivaCom& com = tq::PrimitivaComDaPlataforma();
    for (const char* psz : {"", "srv; rm -rf /", "$(reboot)", "a b", "srv|x", "srv&x", "\"srv\""})
        EXPECT_EQ(std::string(com.Ping(psz)), "") << psz;
    // Whatever the machine printed (a Linux without ping says so): the command ran.
    const std::string saida = com.Ping("127.0.0.1").GetString();
    EXPECT_FALSE(saida.empty());
    if (tq::RodandoSobWine()) {
        EXPECT_NE(saida.find("127.0.0.1"), std::string::npos) << saida;
    }
}
