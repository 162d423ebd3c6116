#include "support/AmbienteRelogio.h"

#include "tqlibex/Plataforma.h"
#include "tqlibex/Relogio.h"

#include <gtest/gtest.h>

#include <atomic>
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
TEST(ConversoesDeTempo, SystemTimeParaFileTime) {
    struct Caso {
        SYSTEMTIME st;
        ULONGLONG ticks;
    };
    const Caso casos[] = {
        {Momento(1, 1, 1601), 0},
        {Momento(1, 1, 1970), 116444736000000000ull},
        {Momento(29, 2, 2024, 12, 34, 56, 789), 133536836967890000ull},
        {Momento(31, 12, 30827, 23, 59, 59, 999), 0x7FFF35F4F06C58F0ull},
    };
    for (const Caso& c : casos) {
        FILETIME ft{};
        ASSERT_TRUE(SystemTimeToFileTime(&c.st, &ft)) << Texto(c.st);
        EXPECT_EQ(tq::Ticks(ft), c.ticks) << Texto(c.st);
        SYSTEMTIME volta{};
        ASSERT_TRUE(FileTimeToSystemTime(&ft, &volta));
        SYSTEMTIME esperado = c.st;
        esperado.wDayOfWeek = volta.wDayOfWeek;
        EXPECT_EQ(Texto(volta), Texto(esperado));
    }
}

TEST(ConversoesDeTempo, RecusaDatasInexistentes) {
    struct Caso {
        SYSTEMTIME st;
        bool bWineDifere; // wine's kernel32 takes 29 February of any year
    };
    const Caso casos[] = {
        {Momento(29, 2, 2023), true},           {Momento(31, 4, 2024), false},
        {Momento(1, 0, 2024), false},           {Momento(1, 13, 2024), false},
        {Momento(0, 1, 2024), false},           {Momento(31, 12, 1600), false},
        {Momento(1, 1, 2024, 24), false},       {Momento(1, 1, 2024, 0, 60), false},
        {Momento(1, 1, 2024, 0, 0, 60), false}, {Momento(1, 1, 2024, 0, 0, 0, 1000), false},
    };
    for (const Caso& c : casos) {
        FILETIME ft{};
        SetLastError(0);
        const bool bAceitou = SystemTimeToFileTime(&c.st, &ft) != 0;
        if (c.bWineDifere && tq::RodandoSobWine()) {
            EXPECT_TRUE(bAceitou) << Texto(c.st)
                                  << ": listed as a wine difference, but wine now refuses it";
            continue;
        }
        EXPECT_FALSE(bAceitou) << Texto(c.st);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER)) << Texto(c.st);
    }
    const FILETIME alem = tq::FileTimeDeTicks(0x8000000000000000ull);
    SYSTEMTIME st{};
    EXPECT_FALSE(FileTimeToSystemTime(&alem, &st));
}

TEST(ConversoesDeTempo, DiaDaSemana) {
    const FILETIME ft = Helper_SystemTimeToFileTime(Momento(15, 3, 2024));
    SYSTEMTIME st{};
    ASSERT_TRUE(FileTimeToSystemTime(&ft, &st));
    EXPECT_EQ(st.wDayOfWeek, 5); // a Friday
}

TEST_F(AmbienteRelogio, SemConfiguracaoUsaORelogioReal) {
    EXPECT_EQ(Texto(GetCurrentTime_LocalTime()), "15/03/2024 10:30:00.000 dow=5");
    EXPECT_STREQ(tq::detail::ConfiguracaoDoRelogio(),
                 "0;00/00/0000;00:00:00:0000;00/00/0000;00:00:00:0000");
}

TEST_F(AmbienteRelogio, ConfiguracoesIgnoradas) {
    for (const char* texto : {"0;00/00/0000;00:00:00:0000;00/00/0000;00:00:00:0000",
                              "0;01/01/2020;08:00:00:0000;15/03/2024;10:00:00:0000", // switch 0
                              "1;01/01/2020;08:00:00:0000;15/03/2024;10:00:00",      // 14 numbers
                              "", "lixo"}) {
        tq::detail::EsqueceConfiguracaoDoRelogio();
        DefineRelogio(texto);
        EXPECT_EQ(tq::Ticks(GetCurrentTime_LocalFileTime()), tq::Ticks(relogio.AgoraLocal()))
            << texto;
    }
}

TEST_F(AmbienteRelogio, RelogioDeslocado) {
    DefineRelogio(kDeslocado);
    // Real 15/03/2024 10:30, reference 10:00 of that day, simulated 01/01/2020 08:00.
    const SYSTEMTIME local = GetCurrentTime_LocalTime();
    EXPECT_EQ(Texto(local), "01/01/2020 08:30:00.000 dow=3");
    EXPECT_EQ(Texto(GetCurrentTime_SystemTime()), "01/01/2020 11:30:00.000 dow=3"); // bias 180
    EXPECT_EQ(tq::Ticks(GetCurrentTime_SystemTimeAsFileTime()),
              tq::Ticks(GetCurrentTime_LocalFileTime()) + 3ull * 3600 * tq::kTicksPorSegundo);
    relogio.Avanca(90 * tq::kTicksPorSegundo + 5 * 10000); // the shifted clock runs at real speed
    EXPECT_EQ(Texto(GetCurrentTime_LocalTime()), "01/01/2020 08:31:30.005 dow=3");
}

TEST_F(AmbienteRelogio, ReferenciaNoFuturo) {
    DefineRelogio("1;01/01/2020;08:00:00:0000;15/03/2024;11:00:00:0000");
    EXPECT_EQ(Texto(GetCurrentTime_LocalTime()), "01/01/2020 07:30:00.000 dow=3");
}

TEST_F(AmbienteRelogio, LidaUmaVezSemMarcaDeTeste) {
    DefineRelogio(kDeslocado);
    EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 2020);
    DefineRelogio("0;00/00/0000;00:00:00:0000;00/00/0000;00:00:00:0000");
    EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 2020)
        << "read once: the change waits for a restart";
    tq::detail::EsqueceConfiguracaoDoRelogio(); // a new process
    EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 2024);
}

TEST_F(AmbienteRelogio, RelidaEmMaquinaDeTeste) {
    for (ERaizRegistro raiz : {ERaizRegistro::LocalMachine, ERaizRegistro::CurrentUser}) {
        tq::detail::EsqueceConfiguracaoDoRelogio();
        registro.RemoveValor(ERaizRegistro::LocalMachine, "SOFTWARE\\PTA", "Env_PTA");
        registro.RemoveValor(ERaizRegistro::CurrentUser, "SOFTWARE\\PTA", "Env_PTA");
        MarcaMaquinaDeTeste(raiz);
        DefineRelogio(kDeslocado);
        EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 2020);
        DefineRelogio("1;01/01/2030;08:00:00:0000;15/03/2024;10:00:00:0000");
        EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 2030) << "marked: read at every call";
        registro.RemoveValor(ERaizRegistro::LocalMachine, kChaveAmbiente, "TQ_DATETIME");
        EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 2024) << "removed: the real clock again";
    }
}

TEST_F(AmbienteRelogio, MarcaDiferenteDeUmNaoConta) {
    registro.DefineDword(ERaizRegistro::LocalMachine, "SOFTWARE\\PTA", "Env_PTA", 2);
    registro.DefineTexto(ERaizRegistro::CurrentUser, "SOFTWARE\\PTA", "Env_PTA",
                         "1"); // not a DWORD
    DefineRelogio(kDeslocado);
    EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 2020);
    DefineRelogio("1;01/01/2030;08:00:00:0000;15/03/2024;10:00:00:0000");
    EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 2020);
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
    DefineRelogio("1;31/02/2020;08:00:00:0000;15/03/2024;10:00:00:0000");
    EsperaCTQException(GetCurrentTime_LocalTime,
                       "Helper_SystemTimeToFileTime: SystemTimeToFileTime",
                       ERROR_INVALID_PARAMETER);

    // Past the last representable moment: the ticks exist but no calendar date does.
    tq::detail::EsqueceConfiguracaoDoRelogio();
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
