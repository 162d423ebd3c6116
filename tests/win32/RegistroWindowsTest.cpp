// The Windows registry adapter against the real registry (wine's, in the test prefix): values
// the test writes with advapi32 and removes afterwards.
#include "support/AmbienteRelogio.h"

#include "tqlibex/Registro.h"
#include "tqlibex/Relogio.h"
#include "tqlibex/TQComPtr.h"

#include <WinApi.h>

#include <gtest/gtest.h>

#include <string>

using tq::ERaizRegistro;

namespace {

void Grava(HKEY raiz, const char* chave, const char* valor, const std::string& texto) {
    HKEY h = nullptr;
    ASSERT_EQ(RegCreateKeyExA(raiz, chave, 0, nullptr, 0, KEY_WRITE | KEY_WOW64_64KEY, nullptr, &h,
                              nullptr),
              ERROR_SUCCESS);
    ASSERT_EQ(RegSetValueExA(h, valor, 0, REG_SZ, reinterpret_cast<const BYTE*>(texto.c_str()),
                             static_cast<DWORD>(texto.size() + 1)),
              ERROR_SUCCESS);
    RegCloseKey(h);
}

void GravaDword(HKEY raiz, const char* chave, const char* valor, DWORD dw) {
    HKEY h = nullptr;
    ASSERT_EQ(RegCreateKeyExA(raiz, chave, 0, nullptr, 0, KEY_WRITE | KEY_WOW64_64KEY, nullptr, &h,
                              nullptr),
              ERROR_SUCCESS);
    ASSERT_EQ(RegSetValueExA(h, valor, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&dw), sizeof dw),
              ERROR_SUCCESS);
    RegCloseKey(h);
}

void Apaga(HKEY raiz, const char* chave, const char* valor) {
    HKEY h = nullptr;
    if (RegOpenKeyExA(raiz, chave, 0, KEY_WRITE | KEY_WOW64_64KEY, &h) == ERROR_SUCCESS) {
        RegDeleteValueA(h, valor);
        RegCloseKey(h);
    }
}

constexpr const char* kTeste = "Software\\tqge-teste";
constexpr const char* kAmbiente =
    "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";

std::string Le(ERaizRegistro raiz, const char* chave, const char* valor) {
    CTQString s;
    return tq::RegistroDaPlataforma().LeTexto(raiz, chave, valor, true, s) ? s.GetString()
                                                                           : "<missing>";
}

} // namespace

TEST(RegistroWindows, LeValoresGravados) {
    Grava(HKEY_CURRENT_USER, kTeste, "Texto", "Descri\xE7\xE3o");
    Grava(HKEY_CURRENT_USER, kTeste, nullptr, "padrao");
    GravaDword(HKEY_CURRENT_USER, kTeste, "Numero", 0x800706BA);
    EXPECT_EQ(Le(ERaizRegistro::CurrentUser, kTeste, "Texto"), "Descri\xE7\xE3o");
    EXPECT_EQ(Le(ERaizRegistro::CurrentUser, "SOFTWARE\\TQGE-TESTE\\", nullptr), "padrao");
    DWORD dw = 0;
    EXPECT_TRUE(
        tq::RegistroDaPlataforma().LeDword(ERaizRegistro::CurrentUser, kTeste, "Numero", true, dw));
    EXPECT_EQ(dw, 0x800706BAu);
    EXPECT_FALSE(
        tq::RegistroDaPlataforma().LeDword(ERaizRegistro::CurrentUser, kTeste, "Texto", true, dw));
    EXPECT_EQ(Le(ERaizRegistro::CurrentUser, kTeste, "Numero"), "<missing>");
    EXPECT_EQ(Le(ERaizRegistro::CurrentUser, kTeste, "Falta"), "<missing>");
    EXPECT_FALSE(tq::RegistroDaPlataforma().ExisteChave(ERaizRegistro::CurrentUser,
                                                        "Software\\tqge-nada", true));
    RegDeleteTreeA(HKEY_CURRENT_USER, kTeste);
    EXPECT_FALSE(tq::RegistroDaPlataforma().ExisteChave(ERaizRegistro::CurrentUser, kTeste, true));
}

TEST(RegistroWindows, ClassesRootVeAsClassesDaMaquina) {
    const char* chave = "Software\\Classes\\AppID\\{AAAAAAAA-2222-3333-4444-555555555555}";
    Grava(HKEY_LOCAL_MACHINE, chave, "RemoteServerName", "maquina-do-servidor");
    EXPECT_EQ(Le(ERaizRegistro::ClassesRoot, "AppID\\{AAAAAAAA-2222-3333-4444-555555555555}",
                 "RemoteServerName"),
              "maquina-do-servidor");
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, chave);
}

// The remote server lookup of the COM access layer, through wine's real HKCR.
TEST(RegistroWindows, NomeDoServidorRemoto) {
    const GUID clsid = {
        0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x56}};
    const char* classe = "Software\\Classes\\CLSID\\{11111111-2222-3333-4444-555555555556}";
    const char* app = "Software\\Classes\\AppID\\{AAAAAAAA-2222-3333-4444-555555555556}";
    EXPECT_EQ(std::string(tq::NomeDoServidorRemoto(clsid)), "");
    Grava(HKEY_LOCAL_MACHINE, classe, "AppID", "{AAAAAAAA-2222-3333-4444-555555555556}");
    Grava(HKEY_LOCAL_MACHINE, app, "RemoteServerName", "srv-negocios");
    EXPECT_EQ(std::string(tq::NomeDoServidorRemoto(clsid)), "srv-negocios");
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, classe);
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, app);
    EXPECT_EQ(std::string(tq::NomeDoServidorRemoto(clsid)), "");
}

// The shifted clock through the real registry: the environment value and the test mark.
class RelogioNoRegistroWindows : public ::testing::Test {
protected:
    RelogioNoRegistroWindows()
        : relogio(tq::teste::Momento(15, 3, 2024, 10, 30), 180), escopo(relogio) {
        tq::detail::EsqueceConfiguracaoDoRelogio();
    }
    ~RelogioNoRegistroWindows() override {
        Apaga(HKEY_LOCAL_MACHINE, kAmbiente, "TQ_DATETIME");
        Apaga(HKEY_CURRENT_USER, "SOFTWARE\\PTA", "Env_PTA");
        tq::detail::EsqueceConfiguracaoDoRelogio();
    }
    tq::CRelogioAjustavel relogio;
    tq::CEscopoRelogio escopo;
};

TEST_F(RelogioNoRegistroWindows, LidoUmaVez) {
    Grava(HKEY_LOCAL_MACHINE, kAmbiente, "TQ_DATETIME",
          "1;01/01/2020;08:00:00:0000;15/03/2024;10:00:00:0000");
    const SYSTEMTIME st = GetCurrentTime_LocalTime();
    EXPECT_EQ(st.wYear, 2020);
    EXPECT_EQ(st.wHour, 8);
    EXPECT_EQ(st.wMinute, 30);
    Grava(HKEY_LOCAL_MACHINE, kAmbiente, "TQ_DATETIME",
          "1;01/01/2030;08:00:00:0000;15/03/2024;10:00:00:0000");
    EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 2020);
}

TEST_F(RelogioNoRegistroWindows, RelidoEmMaquinaMarcada) {
    GravaDword(HKEY_CURRENT_USER, "SOFTWARE\\PTA", "Env_PTA", 1);
    Grava(HKEY_LOCAL_MACHINE, kAmbiente, "TQ_DATETIME",
          "1;01/01/2020;08:00:00:0000;15/03/2024;10:00:00:0000");
    EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 2020);
    Grava(HKEY_LOCAL_MACHINE, kAmbiente, "TQ_DATETIME",
          "1;01/01/2030;08:00:00:0000;15/03/2024;10:00:00:0000");
    EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 2030);
    Grava(HKEY_LOCAL_MACHINE, kAmbiente, "TQ_DATETIME",
          "0;01/01/2030;08:00:00:0000;15/03/2024;10:00:00:0000");
    EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 2024) << "switch 0: the real clock";
    Grava(HKEY_LOCAL_MACHINE, kAmbiente, "TQ_DATETIME",
          "1;01/01/2030;08:00:00:0000;15/03/2024;10:00:00");
    EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 2024) << "fourteen numbers: the real clock";
}
