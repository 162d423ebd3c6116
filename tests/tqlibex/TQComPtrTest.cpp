#include "tqlibex/TQComPtr.h"

#include "tqlibex/Registro.h"

#include <gtest/gtest.h>

#include <string>

using tq::ERaizRegistro;

namespace {
const GUID kClsid = {0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55}};
const char* const kChaveClasse = "CLSID\\{11111111-2222-3333-4444-555555555555}";
const char* const kChaveApp = "AppID\\{AAAAAAAA-2222-3333-4444-555555555555}";
} // namespace

TEST(TQComPtr, NomeDoServidorRemoto) {
    tq::CRegistroEmMemoria registro;
    tq::CEscopoRegistro escopo(registro);
    EXPECT_EQ(std::string(tq::NomeDoServidorRemoto(kClsid)), "") << "no class: local";

    registro.DefineTexto(ERaizRegistro::ClassesRoot, kChaveClasse, "AppID",
                         "{AAAAAAAA-2222-3333-4444-555555555555}");
    EXPECT_EQ(std::string(tq::NomeDoServidorRemoto(kClsid)), "")
        << "an AppID without a server name: local";

    // Registered under HKLM\Software\Classes, as servers register themselves, and seen through
    // HKCR.
    registro.DefineTexto(ERaizRegistro::LocalMachine,
                         std::string("Software\\Classes\\") + kChaveApp, "RemoteServerName",
                         "srv-negocios");
    EXPECT_EQ(std::string(tq::NomeDoServidorRemoto(kClsid)), "srv-negocios");

    registro.DefineTexto(ERaizRegistro::ClassesRoot, kChaveClasse, "AppID", "");
    EXPECT_EQ(std::string(tq::NomeDoServidorRemoto(kClsid)), "") << "an empty AppID: local";
}

TEST(TQComPtr, FlagsDeCriacao) {
    EXPECT_EQ(static_cast<unsigned>(eTQCCI_LOG_FAILURE | eTQCCI_RETRY), 3u);
    EXPECT_FALSE(g_bSemAutenticacao);
    EXPECT_FALSE(g_bSemKeepAlive);
}
