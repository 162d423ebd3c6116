// What only the POSIX registry does: a missing variable or file, and lines it cannot read.
#include "support/EscritorRegistro.h"
#include "support/Gravadores.h"

#include "tqlibex/registry/Registro.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

using tq::ERaizRegistro;

TEST(RegistroArquivo, SemArquivoOuSemVariavelNadaExiste) {
    tq::teste::EscritorRegistro escritor;
    escritor.Texto(ERaizRegistro::LocalMachine, "SOFTWARE\\X", "A", "1");
    tq::IRegistro& registro = tq::RegistroDaPlataforma();
    EXPECT_TRUE(registro.ExisteChave(ERaizRegistro::LocalMachine, "SOFTWARE\\X", true));
    std::filesystem::remove(escritor.Arquivo());
    EXPECT_FALSE(registro.ExisteChave(ERaizRegistro::LocalMachine, "SOFTWARE\\X", true));
    escritor.Texto(ERaizRegistro::LocalMachine, "SOFTWARE\\X", "A", "1");
    ::unsetenv("TQ_REGISTRY_FILE");
    EXPECT_FALSE(registro.ExisteChave(ERaizRegistro::LocalMachine, "SOFTWARE\\X", true));
}

TEST(RegistroArquivo, LinhaMalformadaVaiUmaVezParaOTrace) {
    tq::teste::GravadorTrace gravador;
    tq::teste::EscritorRegistro escritor;
    escritor.LinhaCrua("[HKEY_LOCAL_MACHINE\\SOFTWARE\\X]\r\n\"A\"=dword:zz\r\n\"B\"=\"lido\"");
    for (int i = 0; i < 3; ++i) {
        CTQString s;
        EXPECT_TRUE(tq::RegistroDaPlataforma().LeTexto(ERaizRegistro::LocalMachine, "SOFTWARE\\X",
                                                       "B", true, s));
        EXPECT_EQ(s, "lido");
    }
    ASSERT_EQ(gravador.registros.size(), 1u);
    const std::string texto = gravador.registros[0].sTexto.GetString();
    EXPECT_NE(texto.find("bad dword"), std::string::npos) << texto;
    EXPECT_NE(texto.find(escritor.Arquivo()), std::string::npos) << texto;
}
