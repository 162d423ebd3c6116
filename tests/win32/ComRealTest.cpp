// COM access against a real out-of-process server (the sample business server as a
// LocalServer32), through ole32: activation with CoCreateInstanceEx, the proxy blanket, a
// keep-alive thread pinging the server through a marshalled pointer, and a killed server. Runs in
// the Windows build (under wine here).
#include "tqlibex/com/TQComPtr.h"

#include "calculos/Varredura.h"
#include "fakes/ComFalso.h"
#include "support/Gravadores.h"
#include "tqlibex/system/Plataforma.h"
#include <TQAmostra.h>
#include <TQGE.h>

#include <gtest/gtest.h>
#include <process.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string>

namespace {

const char* const kChaveApp = "Software\\Classes\\AppID\\{EDF04AA8-B344-47A5-9499-5E33CC0CFD93}";
constexpr HRESULT kIndisponivel = static_cast<HRESULT>(0x800706BAu);

// Runs the sample server, which lies beside this program, and answers its exit code.
intptr_t Servidor(const char* pszArgumento, const char* pszMais = nullptr) {
    char buffer[MAX_PATH];
    std::string exe(buffer, GetModuleFileNameA(nullptr, buffer, MAX_PATH));
    exe = exe.substr(0, exe.find_last_of("\\/") + 1) + "tqge_servidor_amostra.exe";
    return _spawnl(_P_WAIT, exe.c_str(), ("\"" + exe + "\"").c_str(), pszArgumento, pszMais,
                   nullptr);
}

void ServidorRemoto(const char* pszNome) {
    if (pszNome)
        RegSetKeyValueA(HKEY_LOCAL_MACHINE, kChaveApp, "RemoteServerName", REG_SZ, pszNome,
                        static_cast<DWORD>(std::strlen(pszNome) + 1));
    else
        RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, kChaveApp, "RemoteServerName");
}

// This machine's own name: a "remote" server that Windows reaches through DCOM and wine, which
// ignores server names, activates locally.
std::string NomeDestaMaquina() {
    char nome[MAX_COMPUTERNAME_LENGTH + 1];
    DWORD n = sizeof nome;
    return GetComputerNameA(nome, &n) ? std::string(nome, n) : std::string("localhost");
}

// Wine keeps a killed server's class registration until rpcss.exe ends; COM restarts it.
void EncerraRpcss() {
    _spawnlp(_P_WAIT, "taskkill", "taskkill", "/F", "/IM", "rpcss.exe", nullptr);
}

// KeepAlive calls the server has answered, to any of its objects.
LONG Pings(ITQAmostra* p) {
    LONG n = -1;
    EXPECT_EQ(p->GetPings(&n), S_OK);
    return n;
}

// A call that reaches the server.
HRESULT Chama(ITQAmostra* p) {
    DWORD dwPid = 0;
    return p->GetPid(&dwPid);
}

// Put COM back for whatever runs after a killed server, and prove it is back.
void Restaura() {
    if (tq::RodandoSobWine())
        EncerraRpcss();
    ServidorRemoto(nullptr);
    CTQComPtr<ITQAmostra> p;
    HRESULT hr = E_FAIL;
    for (int i = 0; i < 20 && FAILED(hr = p.CoCreateInstance(__uuidof(TQGE_Apontamentos))); ++i)
        Sleep(250);
    ASSERT_EQ(hr, S_OK);
    EXPECT_EQ(Chama(p.GetInterface()), S_OK);
}

// The platform's COM, except that the keep-alive thread can be held between two pings: at its
// n-th SetTimer (the one after its (n-1)-th ping came back) it waits until the test lets it go.
// Held there, it has no call in flight, so a server killed meanwhile is gone before the next ping.
class CPrimitivaQueSegura final : public tq::CPrimitivaComDaPlataforma {
public:
    explicit CPrimitivaQueSegura(int nTimer) : m_nTimerSegurado(nTimer), m_escopo(*this) {}
    ~CPrimitivaQueSegura() override { Solta(); }

    UINT_PTR SetTimer(UINT uElapse) override {
        {
            std::unique_lock lock(m_mutex);
            if (++m_nTimers == m_nTimerSegurado) {
                m_bSegurando = true;
                m_cv.notify_all();
                m_cv.wait(lock, [this] { return !m_bSegurando; });
            }
        }
        return CPrimitivaComDaPlataforma::SetTimer(uElapse);
    }
    // Waits (a generous while: machines are shared) until the thread is held.
    bool EsperaSegurar() {
        std::unique_lock lock(m_mutex);
        return m_cv.wait_for(lock, std::chrono::seconds(20), [this] { return m_bSegurando; });
    }
    void Solta() {
        std::lock_guard lock(m_mutex);
        m_nTimerSegurado = 0;
        m_bSegurando = false;
        m_cv.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cv;
    int m_nTimers = 0, m_nTimerSegurado;
    bool m_bSegurando = false;
    tq::CEscopoPrimitivaCom m_escopo;
};

class Ambiente : public ::testing::Environment {
public:
    void SetUp() override {
        ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)));
        const HRESULT hr = TQCoInitializeSecurity();
        ASSERT_TRUE(hr == S_OK || hr == RPC_E_TOO_LATE) << std::hex << hr;
        // The sweep's scenario, as wine names a Linux path.
        ASSERT_EQ(Servidor("/RegServer", "/Cenario \"Z:" TQGE_DADOS_TESTE "/varredura.json\""), 0);
    }
    void TearDown() override {
        ServidorRemoto(nullptr);
        EXPECT_EQ(Servidor("/UnregServer"), 0);
        CoUninitialize();
    }
};
const auto* const g_ambiente = ::testing::AddGlobalTestEnvironment(new Ambiente);

class ComReal : public ::testing::Test {
protected:
    void SetUp() override { ServidorRemoto(nullptr); }
    // The trace lines of one expression.
    std::vector<CRegistroTrace> Linhas(const char* pszInicio) const {
        std::vector<CRegistroTrace> v;
        for (const auto& r : trace.registros)
            if (std::string(r.sTexto.GetString()).find(pszInicio) != std::string::npos)
                v.push_back(r);
        return v;
    }
    tq::teste::GravadorTrace trace;
    tq::teste::GravadorEventos eventos;
};

} // namespace

TEST_F(ComReal, ServidorLocalForaDoProcessoSemThread) {
    CTQComPtr<ITQAmostra> p;
    ASSERT_EQ(p.CoCreateInstance(__uuidof(TQGE_Apontamentos)), S_OK);
    DWORD dwPid = 0;
    ASSERT_EQ(p->GetPid(&dwPid), S_OK);
    EXPECT_NE(dwPid, GetCurrentProcessId()) << "the object lives in the server process";
    EXPECT_FALSE(p.TemKeepAlive()) << "a local server never gets a keep-alive thread";

    // The blanket call was made on the proxy; wine answers E_NOTIMPL, which the trace shows.
    const auto linhas = Linhas("hr = CoSetProxyBlanket(");
    if (tq::RodandoSobWine()) {
        ASSERT_EQ(linhas.size(), 1u) << "known wine difference: CoSetProxyBlanket is E_NOTIMPL";
        EXPECT_NE(std::string(linhas[0].sTexto.GetString()).find("hr = 0X80004001"),
                  std::string::npos);
    } else {
        EXPECT_TRUE(linhas.empty());
    }
    EXPECT_TRUE(eventos.eventos.empty());
}

// The thread pings the real server through its own proxy; three FALSE answers end it.
TEST_F(ComReal, TresRespostasFalsasEncerramOsPings) {
    // A local object keeps the server process up and scripts its next three answers before the
    // remote object's thread starts pinging.
    CTQComPtr<ITQAmostra> pRoteiro;
    ASSERT_EQ(pRoteiro.CoCreateInstance(__uuidof(TQGE_Apontamentos)), S_OK);
    ASSERT_EQ(pRoteiro->DefineFalsos(3), S_OK);
    const LONG n0 = Pings(pRoteiro.GetInterface());

    ServidorRemoto(NomeDestaMaquina().c_str());
    tq::teste::CEscopoIntervaloKeepAlive intervalo(20);
    CTQComPtr<ITQAmostra> p;
    ASSERT_EQ(p.CoCreateInstance(__uuidof(TQGE_Apontamentos)), S_OK);
    ASSERT_TRUE(p.TemKeepAlive());
    ASSERT_EQ(WaitForSingleObject(p.GetKeepAlive()->m_hThread, 20000), WAIT_OBJECT_0)
        << "the thread ends by itself";
    EXPECT_EQ(Pings(p.GetInterface()) - n0, 3);
    EXPECT_EQ(Chama(p.GetInterface()), S_OK) << "the object stays usable";
}

// The server is killed while the keep-alive thread waits between two pings, its first ping
// answered: every ping after that meets a server that is gone (a ping in flight at the kill could
// end otherwise, 0x800706BE), and three failures in a row end the thread.
TEST_F(ComReal, ServidorMortoDa800706BA) {
    ServidorRemoto(NomeDestaMaquina().c_str());
    {
        tq::teste::CEscopoIntervaloKeepAlive intervalo(20);
        CPrimitivaQueSegura com(2);
        CTQComPtr<ITQAmostra> p;
        struct CSoltaAoSair { // a failed assertion must not leave the thread held
            CPrimitivaQueSegura& com;
            ~CSoltaAoSair() { com.Solta(); }
        } solta{com};
        ASSERT_EQ(p.CoCreateInstance(__uuidof(TQGE_Apontamentos)), S_OK);
        ASSERT_TRUE(p.TemKeepAlive());
        DWORD dwPid = 0;
        ASSERT_EQ(p->GetPid(&dwPid), S_OK);
        ASSERT_TRUE(com.EsperaSegurar()) << "the thread pinged once and waits for its next timer";
        EXPECT_TRUE(Linhas("hr = pLocalTQUnknown->KeepAlive(&bOK)").empty())
            << "the live server answered the first ping";
        HANDLE hServidor = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, dwPid);
        ASSERT_NE(hServidor, nullptr);
        ASSERT_TRUE(TerminateProcess(hServidor, 9));
        EXPECT_EQ(WaitForSingleObject(hServidor, 10000), WAIT_OBJECT_0);
        CloseHandle(hServidor);
        EXPECT_EQ(Chama(p.GetInterface()), kIndisponivel) << "the server is gone, and seen gone";

        com.Solta();
        ASSERT_EQ(WaitForSingleObject(p.GetKeepAlive()->m_hThread, 20000), WAIT_OBJECT_0)
            << "three failed pings end the thread";
        const auto linhas = Linhas("hr = pLocalTQUnknown->KeepAlive(&bOK)");
        ASSERT_EQ(linhas.size(), 3u);
        for (const auto& r : linhas) {
            EXPECT_NE(std::string(r.sTexto.GetString()).find("hr = 0X800706BA"), std::string::npos);
            EXPECT_EQ(std::string(r.sFuncao.GetString()), "TQComPtr_ThreadKeepServerAlive");
        }
    }
    Restaura();
}

TEST_F(ComReal, VarreduraDeFalhasForaDoProcesso) {
    tq::teste::EspiaContadora espia;
    tq::teste::VarreFalhas(espia, {kIndisponivel, static_cast<HRESULT>(0x80010108u), E_FAIL});
}

// The server's process ends inside a call: wine answers that call 0x800706BE and every later one
// 0x800706BA, as Windows does.
TEST_F(ComReal, ServidorEncerradoNoMeioDoCalculo) {
    {
        tq::teste::EspiaContadora espia;
        EXPECT_EQ(tq::teste::ServidorEncerradoNoMeio(espia), static_cast<HRESULT>(0x800706BEu));
    }
    Restaura();
}
