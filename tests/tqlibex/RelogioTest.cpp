#include "support/AmbienteRelogio.h"
#include "support/Gravadores.h"
#include "support/Tabela.h"

#include "tqlibex/clock/Relogio.h"
#include "tqlibex/system/Plataforma.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

using namespace tq::teste;
using tq::ERaizRegistro;

namespace {

std::string Texto(const SYSTEMTIME& st) {
    char s[64];
    std::snprintf(s, sizeof s, "%02u/%02u/%04u %02u:%02u:%02u.%03u dow=%u", st.wDay, st.wMonth,
                  st.wYear, st.wHour, st.wMinute, st.wSecond, st.wMilliseconds, st.wDayOfWeek);
    return s;
}

constexpr const char* kDeslocado = "1;01/01/2020;08:00:00:0000;15/03/2024;10:00:00:0000";

} // namespace

// The calendar conversions, as kernel32 does them (the Windows build runs these against kernel32).
TEST(ConversoesDeTempo, SystemTimeEFileTime) {
    for (const Linha& l : LeTabela("tempo-conversoes.tsv")) {
        SYSTEMTIME st{};
        ASSERT_EQ(std::sscanf(l.Texto("momento").c_str(), "%hu/%hu/%hu %hu:%hu:%hu.%hu", &st.wDay,
                              &st.wMonth, &st.wYear, &st.wHour, &st.wMinute, &st.wSecond,
                              &st.wMilliseconds),
                  7);
        FILETIME ft{};
        SetLastError(0);
        const bool bAceitou = SystemTimeToFileTime(&st, &ft) != 0;
        if (l.Texto("ticks") == "recusa") {
            if (l.Bool("wine_difere") && tq::RodandoSobWine()) {
                EXPECT_TRUE(bAceitou) << l.Origem() << ": wine now refuses it; unlist it";
                continue;
            }
            EXPECT_FALSE(bAceitou) << l.Origem();
            EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER)) << l.Origem();
            continue;
        }
        ASSERT_TRUE(bAceitou) << l.Origem();
        EXPECT_EQ(tq::Ticks(ft), static_cast<ULONGLONG>(l.I64("ticks"))) << l.Origem();
        SYSTEMTIME volta{};
        ASSERT_TRUE(FileTimeToSystemTime(&ft, &volta));
        st.wDayOfWeek = volta.wDayOfWeek;
        EXPECT_EQ(Texto(volta), Texto(st)) << l.Origem();
    }
    const FILETIME alem = tq::FileTimeDeTicks(0x8000000000000000ull);
    SYSTEMTIME st{};
    EXPECT_FALSE(FileTimeToSystemTime(&alem, &st));
    const FILETIME sexta = Helper_SystemTimeToFileTime(Momento(15, 3, 2024));
    ASSERT_TRUE(FileTimeToSystemTime(&sexta, &st));
    EXPECT_EQ(st.wDayOfWeek, 5);
}

TEST_F(AmbienteRelogio, Configuracoes) {
    MarcaMaquinaDeTeste(ERaizRegistro::LocalMachine);
    EXPECT_STREQ(tq::detail::ConfiguracaoDoRelogio(),
                 "0;00/00/0000;00:00:00:0000;00/00/0000;00:00:00:0000")
        << "no setting";
    for (const Linha& l : LeTabela("relogio-configuracoes.tsv")) {
        GravadorTrace trace;
        relogio.Define(Momento(15, 3, 2024, 10, 30), 180);
        relogio.Avanca(static_cast<ULONGLONG>(l.I64("avanca")) * 10000);
        if (l.Texto("configuracao") != "-")
            DefineRelogio(l.Texto("configuracao").c_str());
        EXPECT_EQ(Texto(GetCurrentTime_LocalTime()), l.Texto("local")) << l.Origem();
        EXPECT_EQ(Texto(GetCurrentTime_SystemTime()), l.Texto("utc")) << l.Origem();
        EXPECT_EQ(tq::Ticks(GetCurrentTime_SystemTimeAsFileTime()),
                  tq::Ticks(GetCurrentTime_LocalFileTime()) + 3ull * 3600 * tq::kTicksPorSegundo)
            << l.Origem();
        std::string mensagens;
        for (const CRegistroTrace& r : trace.registros)
            mensagens += Mensagem(r);
        EXPECT_EQ(mensagens, l.Texto("trace")) << l.Origem() << ": once per bad setting";
    }
}

TEST_F(AmbienteRelogio, MarcaDeTeste) {
    for (const Linha& l : LeTabela("relogio-marcas.tsv")) {
        tq::detail::EsqueceConfiguracaoDoRelogio();
        for (const auto raiz : {ERaizRegistro::LocalMachine, ERaizRegistro::CurrentUser}) {
            const std::string marca =
                l.Texto(raiz == ERaizRegistro::LocalMachine ? "hklm" : "hkcu");
            registro.RemoveValor(raiz, "SOFTWARE\\PTA", "Env_PTA");
            if (marca.rfind("dword:", 0) == 0)
                registro.DefineDword(raiz, "SOFTWARE\\PTA", "Env_PTA", std::stoul(marca.substr(6)));
            else if (!marca.empty())
                registro.DefineTexto(raiz, "SOFTWARE\\PTA", "Env_PTA", marca.substr(6).c_str());
        }
        DefineRelogio(kDeslocado);
        EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 2020) << l.Origem();
        DefineRelogio("1;01/01/2030;08:00:00:0000;15/03/2024;10:00:00:0000");
        EXPECT_EQ(GetCurrentTime_LocalTime().wYear, l.Bool("relida") ? 2030 : 2020) << l.Origem();
        registro.RemoveValor(ERaizRegistro::LocalMachine, kChaveAmbiente, "TQ_DATETIME");
        EXPECT_EQ(GetCurrentTime_LocalTime().wYear, l.Bool("relida") ? 2024 : 2020) << l.Origem();
        tq::detail::EsqueceConfiguracaoDoRelogio(); // a new process
        EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 2024) << l.Origem();
    }
}

namespace {
// A zone conversion that fails, as LocalFileTimeToFileTime can.
class RelogioSemFuso : public tq::CRelogioAjustavel {
public:
    using CRelogioAjustavel::CRelogioAjustavel;
    bool LocalParaUtc(const FILETIME&, FILETIME&) override {
        SetLastError(1234);
        return false;
    }
};

template <class F>
void EsperaCTQException(F chamada, const char* texto, DWORD codigo) {
    try {
        chamada();
        ADD_FAILURE() << "no exception, expected " << texto;
    } catch (CTQException* e) {
        EXPECT_STREQ(e->GetTexto(), texto);
        EXPECT_EQ(e->GetCodigo(), codigo) << texto;
        char msg[16];
        EXPECT_TRUE(e->GetErrorMessage(msg, sizeof msg));
        EXPECT_EQ(std::string(msg), std::string(texto).substr(0, 15));
        e->Delete();
    }
}
} // namespace

TEST_F(AmbienteRelogio, FalhasDeConversaoLancamCTQException) {
    EsperaCTQException([] { Helper_SystemTimeToFileTime(Momento(31, 2, 2020)); },
                       "Helper_SystemTimeToFileTime: SystemTimeToFileTime",
                       ERROR_INVALID_PARAMETER);

    // Past the last representable moment: the ticks exist but no calendar date does.
    DefineRelogio("1;31/12/30827;23:00:00:0000;01/01/1601;00:00:00:0000");
    EsperaCTQException(GetCurrentTime_LocalTime, "GetCurrentTime_LocalTime: FileTimeToSystemTime",
                       ERROR_INVALID_PARAMETER);

    // A local moment that exists, whose UTC does not: a bias of 2^31 - 1 minutes.
    tq::detail::EsqueceConfiguracaoDoRelogio();
    DefineRelogio("1;31/12/30000;00:00:00:0000;15/03/2024;10:30:00:0000");
    relogio.Define(Momento(15, 3, 2024, 10, 30), 0x7FFFFFFF);
    EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 30000);
    EsperaCTQException(GetCurrentTime_SystemTime, "GetCurrentTime_SystemTime: FileTimeToSystemTime",
                       ERROR_INVALID_PARAMETER);

    RelogioSemFuso semFuso(Momento(15, 3, 2024, 10, 30), 180);
    tq::CEscopoRelogio escopo(semFuso);
    EsperaCTQException(GetCurrentTime_SystemTimeAsFileTime,
                       "GetCurrentTime_SystemTimeAsFileTime: LocalFileTimeToFileTime", 1234);
}

// The cached setting is shared by every thread; a test-marked machine rewrites it at each reading
// while other threads read it.
TEST_F(AmbienteRelogio, LeiturasConcorrentes) {
    MarcaMaquinaDeTeste(ERaizRegistro::LocalMachine);
    DefineRelogio(kDeslocado);
    const ULONGLONG real = tq::Ticks(relogio.AgoraLocal());
    const ULONGLONG deslocado = tq::Ticks(GetCurrentTime_LocalFileTime());
    std::atomic<int> estranhos{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 300; ++i) {
                const ULONGLONG agora = tq::Ticks(GetCurrentTime_LocalFileTime());
                if (agora != real && agora != deslocado)
                    ++estranhos;
            }
        });
    for (int i = 0; i < 300; ++i)
        DefineRelogio(i % 2 ? kDeslocado : "0;00/00/0000;00:00:00:0000;00/00/0000;00:00:00:0000");
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(estranhos.load(), 0);
}
