#include "tqlibex/com/TQComPtr.h"

#include "fakes/ComFalso.h"
#include "support/Gravadores.h"
#include "support/Tabela.h"
#include "tqlibex/registry/Registro.h"
#include "tqlibex/system/Plataforma.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

using tq::ERaizRegistro;
using tq::teste::CPrimitivaRoteirizada;
using tq::teste::CServidorFalso;

namespace {

const GUID kClsid = {0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55}};
const char* const kChaveClasse = "CLSID\\{11111111-2222-3333-4444-555555555555}";
const char* const kChaveApp = "AppID\\{AAAAAAAA-2222-3333-4444-555555555555}";
constexpr HRESULT kIndisponivel = static_cast<HRESULT>(0x800706BAu);

// Every test runs with a scripted primitive, recording sinks, an in-memory registry and the
// calling thread in the multithreaded apartment; the switches are put back afterwards.
class TQComPtr : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_MULTITHREADED)));
        com.pObjeto = &servidor;
    }
    void TearDown() override {
        // Every keep-alive thread has ended and left the apartment it entered.
        EXPECT_TRUE(com.EsperaFimDasThreads());
        EXPECT_EQ(com.nEntradasApartamento, com.nSaidasApartamento);
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
    // "type:id:first text" of every event.
    std::vector<std::string> Eventos() {
        std::vector<std::string> v;
        for (const auto& e : eventos.eventos) {
            char cabeca[40];
            std::snprintf(cabeca, sizeof cabeca, "%u:0x%08X:", e.tipo, static_cast<unsigned>(e.id));
            v.push_back(cabeca + e.texto1);
        }
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

// The retry loop in the suite's order, quirks included, and what the pointer adds (the
// keep-alive thread and the library's own results): each row scripts what the creations answer
// and says what must follow (attempts, pauses, pings, events, trace lines, authentication).
TEST_F(TQComPtr, Criacoes) {
    for (const tq::teste::Linha& l : tq::teste::LeTabela("comptr-criacoes.tsv")) {
        SCOPED_TRACE(l.Origem() + " " + l.Texto("caso"));
        Remoto(l.Texto("remoto").c_str()); // an empty name: a local server
        g_bSemAutenticacao = l.Texto("chave") == "sem_autenticacao";
        g_bSemKeepAlive = l.Texto("chave") == "sem_keepalive";
        CPrimitivaRoteirizada roteiro;
        roteiro.pObjeto = &servidor;
        roteiro.falha = l.Texto("falha");
        for (const std::string& h : tq::teste::Separa(l.Texto("criacoes"), ' ')) {
            const std::size_t vezes = h.find('*');
            const auto hr = static_cast<HRESULT>(std::stoul(h.substr(0, vezes), nullptr, 16));
            roteiro.criacoes.insert(
                roteiro.criacoes.end(),
                vezes == std::string::npos ? 1 : std::stoul(h.substr(vezes + 1)), hr);
        }
        trace.registros.clear();
        eventos.eventos.clear();
        {
            CTQComPtr<ITQTeste> ponteiro;
            HRESULT hr;
            const auto eFlags = static_cast<ETQComPtrFlags>(l.Int("flags"));
            ITQTeste* p = nullptr;
            if (l.Bool("ponteiro")) {
                hr = ponteiro.CoCreateInstance(kClsid);
                p = ponteiro.GetInterface();
                EXPECT_EQ(ponteiro.TemKeepAlive(), l.Bool("threads"));
            } else {
                p = l.Texto("tolerado").empty() ? Cria(hr, eFlags)
                                                : Cria(hr, eFlags, {l.Hr("tolerado")});
                if (p)
                    p->Release();
            }
            EXPECT_EQ(hr, l.Hr("hr"));
            EXPECT_EQ(p, l.Bool("fica") ? &servidor : nullptr)
                << "only a creation that answers 0 hands out; the pointer keeps an interface "
                   "whose keep-alive alone failed";
            EXPECT_EQ(roteiro.nThreads, l.Int("threads"));
        }
        // Default interval: a thread would not tick for two minutes; the owner's quit ended it.
        EXPECT_EQ(roteiro.nEncerradas, l.Int("threads")) << "the owner went";
        EXPECT_EQ(roteiro.vistas.size(), static_cast<std::size_t>(l.Int("tentativas")));
        std::string semInfo;
        for (std::size_t i = 0; i < roteiro.vistas.size(); ++i)
            if (roteiro.vistas[i][0] == '-')
                semInfo += std::to_string(i);
        EXPECT_EQ(semInfo, l.Texto("sem_info")) << "creations without server info";
        EXPECT_EQ(roteiro.vistas.empty() ? "" : roteiro.vistas[0], l.Texto("criacao"));
        EXPECT_EQ(roteiro.blankets, tq::teste::Separa(l.Texto("blanket"), '|'));
        EXPECT_EQ(roteiro.pausas, std::vector<DWORD>(l.Int("pausas"), 100));
        EXPECT_EQ(roteiro.pings, tq::teste::Separa(l.Texto("pings"), '|'));
        EXPECT_EQ(Eventos(), tq::teste::Separa(l.Texto("eventos"), '|'));
        std::string traces;
        for (const std::string& t : trace.Linhas())
            traces += (traces.empty() ? "" : "|") + t;
        EXPECT_EQ(traces, l.Texto("traces"));
        for (const CRegistroTrace& r : trace.registros)
            EXPECT_EQ(tq::teste::Campo(r, 3), "TQComPtr") << "the file every line names";
        EXPECT_EQ(servidor.Referencias(), 1u) << "every reference handed out came back";
    }
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
        EXPECT_EQ(tq::teste::Expressao(trace.registros.back()),
                  "hr = CoInitializeSecurity(0, -1, nullptr, nullptr, g_bSemAutenticacao ? "
                  "RPC_C_AUTHN_LEVEL_NONE : RPC_C_AUTHN_LEVEL_DEFAULT, "
                  "RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr)");
    }
}

// ---- The keep-alive thread ---------------------------------------------------------------------

// Three failures in a row (a failed call or FALSE) end the pings; one TRUE resets the count.
TEST_F(TQComPtr, PingsAteTresFalhasSeguidas) {
    Remoto("srv-negocios");
    tq::teste::CEscopoIntervaloKeepAlive intervalo(5);
    const struct {
        std::initializer_list<tq::teste::RespostaKeepAlive> roteiro;
        int nPings, nTraces;
    } casos[] = {
        {{{S_OK, FALSE}, {kIndisponivel, TRUE}, {S_OK, FALSE}}, 3, 1},
        {{{S_OK, FALSE}, {S_OK, FALSE}, {S_OK, TRUE}, {S_OK, FALSE}, {S_OK, FALSE}, {S_OK, FALSE}},
         6,
         0}};
    for (const auto& caso : casos) {
        const int nAntes = servidor.KeepAlives();
        servidor.Roteiro(caso.roteiro);
        trace.registros.clear();
        CTQComPtr<ITQTeste> p;
        ASSERT_EQ(p.CoCreateInstance(kClsid), S_OK);
        ASSERT_TRUE(p.TemKeepAlive());
        ASSERT_EQ(com.WaitForSingleObject(p.GetKeepAlive()->m_hThread, 20000), WAIT_OBJECT_0)
            << "the thread ends by itself";
        EXPECT_EQ(servidor.KeepAlives() - nAntes, caso.nPings);
        EXPECT_EQ(trace.Linhas(),
                  std::vector<std::string>(caso.nTraces, "TQComPtr_ThreadKeepServerAlive:hr = "
                                                         "pLocalTQUnknown->KeepAlive(&bOK)"));
        EXPECT_EQ(servidor.Referencias(), 2u) << "the thread released its own reference";
    }
}

// Only the flag: no quit message is posted, the thread must notice at its next tick.
TEST_F(TQComPtr, ThreadNotaAFlagNoTique) {
    Remoto("srv-negocios");
    {
        tq::teste::CEscopoIntervaloKeepAlive intervalo(5);
        CTQComPtr<ITQTeste> p;
        ASSERT_EQ(p.CoCreateInstance(kClsid), S_OK);
        ASSERT_TRUE(servidor.EsperaKeepAlives(1));
        p.GetKeepAlive()->m_bKeepRunning = false;
        ASSERT_EQ(com.WaitForSingleObject(p.GetKeepAlive()->m_hThread, 20000), WAIT_OBJECT_0);
    }
    EXPECT_EQ(com.nEncerradas, 1);
}

// Copies share the object and its one keep-alive: the thread runs until the last copy goes,
// whatever the order of copies, assignments and moves.
TEST_F(TQComPtr, CopiasCompartilhamOKeepAlive) {
    Remoto("srv-negocios");
    tq::teste::CEscopoIntervaloKeepAlive intervalo(1);
    const auto pinga = [this] { return servidor.EsperaKeepAlives(servidor.KeepAlives() + 2); };
    CTQComPtr<ITQTeste> a;
    ASSERT_EQ(a.CoCreateInstance(kClsid), S_OK);
    EXPECT_EQ(servidor.Referencias(), 3u) << "the test's, the pointer's and the thread's";
    CTQComPtr<ITQTeste> b(a);
    EXPECT_EQ(b.GetInterface(), a.GetInterface());
    EXPECT_EQ(b.GetKeepAlive(), a.GetKeepAlive()) << "one keep-alive thread per created object";
    a = b; // a copy of a copy: the thread must survive it
    EXPECT_EQ(a.GetKeepAlive(), b.GetKeepAlive());
    ASSERT_TRUE(pinga());
    a.Release();
    ASSERT_TRUE(pinga()) << "b still owns the keep-alive";
    CTQComPtr<ITQTeste> c(std::move(b));
    EXPECT_FALSE(b);
    EXPECT_FALSE(b.TemKeepAlive());
    ASSERT_TRUE(pinga()) << "the keep-alive goes with the object";
    a = c;
    c = CTQComPtr<ITQTeste>();
    ASSERT_TRUE(pinga());
    ITQTeste* pSolto = a.Detach();
    EXPECT_FALSE(a.TemKeepAlive());
    ASSERT_EQ(pSolto, static_cast<ITQTeste*>(&servidor));
    pSolto->Release();
    EXPECT_EQ(com.nEncerradas, 1) << "the last owner stopped the thread";
    EXPECT_EQ(com.nThreads, 1);
}

// A second creation on a base whose thread runs ends that thread first: two threads never share
// one base.
TEST_F(TQComPtr, SegundaCriacaoNoMesmoPonteiro) {
    Remoto("srv-negocios");
    CTQComPtr<ITQTeste> base;
    void *pv1 = nullptr, *pv2 = nullptr;
    for (void** ppv : {&pv1, &pv2})
        ASSERT_EQ(TQComPtr_CoCreateInstance(&base, kClsid, __uuidof(ITQTeste), ppv,
                                            &CTQComPtr<ITQTeste>::ThreadKeepServerAlive,
                                            eTQCCI_LOG_FAILURE | eTQCCI_RETRY),
                  S_OK);
    EXPECT_EQ(com.nThreads, 2);
    EXPECT_EQ(com.nEncerradas, 1) << "the first thread ended before the second began";
    ASSERT_TRUE(base.GetKeepAlive()->Rodando());
    static_cast<ITQTeste*>(pv1)->Release(); // out parameters: the caller's references
    static_cast<ITQTeste*>(pv2)->Release();
    base.Release();
    EXPECT_EQ(com.nEncerradas, 2);
}

// A ping in flight against a host that does not answer: the owner waits a bounded while and
// goes; the thread ends by itself when the ping returns, touching nothing that went.
TEST_F(TQComPtr, DonoNaoEsperaSemLimiteUmPingPreso) {
    Remoto("srv-negocios");
    tq::teste::CEscopoIntervaloKeepAlive intervalo(1);
    servidor.PrendePing(true);
    {
        CTQComPtr<ITQTeste> p;
        ASSERT_EQ(p.CoCreateInstance(kClsid), S_OK);
        ASSERT_TRUE(servidor.EsperaPingPreso());
    }
    EXPECT_EQ(servidor.KeepAlives(), 0) << "the owner went while the ping was still held";
    EXPECT_EQ(com.nEncerradas, 0);
    servidor.PrendePing(false);
    ASSERT_TRUE(com.EsperaFimDasThreads());
    EXPECT_EQ(servidor.KeepAlives(), 1) << "no ping after the owner went";
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
