// The platform's registry adapter against the real thing: advapi32 on Windows (wine's registry in
// the test prefix), the TQ_REGISTRY_FILE export on POSIX. The same tests on both.
#include "support/EscritorRegistro.h"

#include "tqlibex/com/TQComPtr.h"
#include "tqlibex/registry/Registro.h"

#include <gtest/gtest.h>

#include <string>

using tq::ERaizRegistro;

namespace {

constexpr ERaizRegistro HKLM = ERaizRegistro::LocalMachine;
constexpr ERaizRegistro HKCU = ERaizRegistro::CurrentUser;
constexpr const char* kTeste = "Software\\tqge-teste";

std::string Le(ERaizRegistro raiz, const char* chave, const char* valor) {
    CTQString s;
    return tq::RegistroDaPlataforma().LeTexto(raiz, chave, valor, true, s) ? s.GetString()
                                                                           : "<missing>";
}

} // namespace

TEST(RegistroPlataforma, LeOQueFoiGravado) {
    tq::teste::EscritorRegistro escritor;
    escritor.Texto(HKCU, kTeste, "Texto", "Descri\xE7\xE3o");
    escritor.Texto(HKCU, kTeste, nullptr, "padrao");
    escritor.Dword(HKCU, kTeste, "Numero", 0x800706BA);
    EXPECT_EQ(Le(HKCU, kTeste, "Texto"), "Descri\xE7\xE3o");
    EXPECT_EQ(Le(HKCU, "SOFTWARE\\TQGE-TESTE\\", nullptr), "padrao");
    DWORD dw = 0;
    tq::IRegistro& registro = tq::RegistroDaPlataforma();
    EXPECT_TRUE(registro.LeDword(HKCU, kTeste, "Numero", true, dw));
    EXPECT_EQ(dw, 0x800706BAu);
    EXPECT_FALSE(registro.LeDword(HKCU, kTeste, "Texto", true, dw)) << "a value of another type";
    EXPECT_EQ(Le(HKCU, kTeste, "Numero"), "<missing>");
    EXPECT_EQ(Le(HKCU, kTeste, "Falta"), "<missing>");
    EXPECT_FALSE(registro.ExisteChave(HKCU, "Software\\tqge-nada", true));
    escritor.Texto(HKCU, kTeste, "Texto", "mudou de novo"); // read again once written
    EXPECT_EQ(Le(HKCU, kTeste, "Texto"), "mudou de novo");
    escritor.RemoveChave(HKCU, kTeste);
    EXPECT_FALSE(registro.ExisteChave(HKCU, kTeste, true));
    EXPECT_EQ(Le(HKCU, kTeste, "Texto"), "<missing>");
}

// The remote server lookup of the COM access layer sees the machine's classes through HKCR:
// registered under HKLM\Software\Classes, as servers register themselves.
TEST(RegistroPlataforma, NomeDoServidorRemoto) {
    tq::teste::EscritorRegistro escritor;
    const GUID clsid = {
        0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x56}};
    const char* classe = "Software\\Classes\\CLSID\\{11111111-2222-3333-4444-555555555556}";
    const char* app = "Software\\Classes\\AppID\\{AAAAAAAA-2222-3333-4444-555555555556}";
    EXPECT_EQ(std::string(tq::NomeDoServidorRemoto(clsid)), "");
    escritor.Texto(HKLM, classe, "AppID", "{AAAAAAAA-2222-3333-4444-555555555556}");
    EXPECT_EQ(std::string(tq::NomeDoServidorRemoto(clsid)), "")
        << "an AppID without a server name: local";
    escritor.Texto(HKLM, app, "RemoteServerName", "srv-negocios");
    EXPECT_EQ(std::string(tq::NomeDoServidorRemoto(clsid)), "srv-negocios");
    escritor.Texto(HKLM, classe, "AppID", "");
    EXPECT_EQ(std::string(tq::NomeDoServidorRemoto(clsid)), "") << "an empty AppID: local";
}
