// The POSIX registry: a real regedit export named by TQ_REGISTRY_FILE, and the clock shifted
// through it.
#include "support/AmbienteRelogio.h"
#include "support/Gravadores.h"

#include "tqlibex/Registro.h"
#include "tqlibex/Relogio.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

using tq::ERaizRegistro;

namespace {

class RegistroArquivo : public ::testing::Test {
protected:
    RegistroArquivo()
        : m_caminho(std::filesystem::temp_directory_path() /
                    ("tqge-registro-" + std::to_string(::getpid()) + ".reg")) {
        const char* antes = std::getenv("TQ_REGISTRY_FILE");
        m_bTinha = antes != nullptr;
        if (antes)
            m_anterior = antes;
        ::setenv("TQ_REGISTRY_FILE", m_caminho.c_str(), 1);
        tq::detail::EsqueceConfiguracaoDoRelogio();
    }
    ~RegistroArquivo() override {
        std::filesystem::remove(m_caminho);
        if (m_bTinha)
            ::setenv("TQ_REGISTRY_FILE", m_anterior.c_str(), 1);
        else
            ::unsetenv("TQ_REGISTRY_FILE");
        tq::detail::EsqueceConfiguracaoDoRelogio();
    }

    void Escreve(const std::string& corpo) {
        std::ofstream(m_caminho, std::ios::binary | std::ios::trunc)
            << "Windows Registry Editor Version 5.00\r\n\r\n"
            << corpo;
    }

    static std::string Le(ERaizRegistro raiz, const char* chave, const char* valor) {
        CTQString s;
        return tq::RegistroDaPlataforma().LeTexto(raiz, chave, valor, true, s) ? s.GetString()
                                                                               : "<missing>";
    }

    std::filesystem::path m_caminho;

private:
    bool m_bTinha = false;
    std::string m_anterior;
};

constexpr const char* kAmbiente =
    "[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment]\r\n";

} // namespace

TEST_F(RegistroArquivo, SemVariavelOuSemArquivoNadaExiste) {
    EXPECT_EQ(Le(ERaizRegistro::LocalMachine, "SOFTWARE\\X", "A"), "<missing>"); // no file yet
    ::unsetenv("TQ_REGISTRY_FILE");
    EXPECT_FALSE(
        tq::RegistroDaPlataforma().ExisteChave(ERaizRegistro::LocalMachine, "SOFTWARE", true));
}

TEST_F(RegistroArquivo, PercebeQueOArquivoMudou) {
    Escreve("[HKEY_LOCAL_MACHINE\\SOFTWARE\\X]\r\n\"A\"=\"primeiro\"\r\n");
    EXPECT_EQ(Le(ERaizRegistro::LocalMachine, "SOFTWARE\\X", "A"), "primeiro");
    Escreve(
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\X]\r\n\"A\"=\"segundo valor\"\r\n\"B\"=dword:00000002\r\n");
    EXPECT_EQ(Le(ERaizRegistro::LocalMachine, "SOFTWARE\\X", "A"), "segundo valor");
    DWORD b = 0;
    EXPECT_TRUE(tq::RegistroDaPlataforma().LeDword(ERaizRegistro::LocalMachine, "SOFTWARE\\X", "B",
                                                   true, b));
    EXPECT_EQ(b, 2u);
    std::filesystem::remove(m_caminho);
    EXPECT_EQ(Le(ERaizRegistro::LocalMachine, "SOFTWARE\\X", "A"), "<missing>");
}

TEST_F(RegistroArquivo, LinhaMalformadaVaiUmaVezParaOTrace) {
    tq::teste::GravadorTrace gravador;
    Escreve("[HKEY_LOCAL_MACHINE\\SOFTWARE\\X]\r\n\"A\"=dword:zz\r\n\"B\"=\"lido\"\r\n");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(Le(ERaizRegistro::LocalMachine, "SOFTWARE\\X", "B"), "lido");
    ASSERT_EQ(gravador.registros.size(), 1u);
    const std::string texto = gravador.registros[0].sTexto.GetString();
    EXPECT_NE(texto.find("bad dword"), std::string::npos) << texto;
    EXPECT_NE(texto.find(m_caminho.string()), std::string::npos) << texto;
}

TEST_F(RegistroArquivo, RelogioDeslocadoLidoUmaVez) {
    tq::CRelogioAjustavel relogio(tq::teste::Momento(15, 3, 2024, 10, 30), 180);
    tq::CEscopoRelogio escopo(relogio);
    Escreve(std::string(kAmbiente) +
            "\"TQ_DATETIME\"=\"1;01/01/2020;08:00:00:0000;15/03/2024;10:00:00:0000\"\r\n");
    const SYSTEMTIME st = GetCurrentTime_LocalTime();
    EXPECT_EQ(st.wDay, 1);
    EXPECT_EQ(st.wMonth, 1);
    EXPECT_EQ(st.wYear, 2020);
    EXPECT_EQ(st.wHour, 8);
    EXPECT_EQ(st.wMinute, 30);
    Escreve(std::string(kAmbiente) +
            "\"TQ_DATETIME\"=\"1;01/01/2030;08:00:00:0000;15/03/2024;10:00:00:0000\"\r\n");
    EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 2020) << "not test-marked: read once";
}

TEST_F(RegistroArquivo, RelogioRelidoEmMaquinaMarcada) {
    tq::CRelogioAjustavel relogio(tq::teste::Momento(15, 3, 2024, 10, 30), 180);
    tq::CEscopoRelogio escopo(relogio);
    const std::string marca =
        "[HKEY_CURRENT_USER\\SOFTWARE\\PTA]\r\n\"Env_PTA\"=dword:00000001\r\n";
    Escreve(marca + kAmbiente +
            "\"TQ_DATETIME\"=\"1;01/01/2020;08:00:00:0000;15/03/2024;10:00:00:0000\"\r\n");
    EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 2020);
    Escreve(marca + kAmbiente +
            "\"TQ_DATETIME\"=\"1;01/01/2030;08:00:00:0000;15/03/2024;10:00:00:0000\"\r\n");
    EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 2030);
    Escreve(marca + kAmbiente +
            "\"TQ_DATETIME\"=\"1;01/01/2030;08:00:00:0000;15/03/2024;10:00:00\"\r\n");
    EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 2024) << "fourteen numbers: the real clock";
    Escreve(marca + kAmbiente +
            "\"TQ_DATETIME\"=\"0;01/01/2030;08:00:00:0000;15/03/2024;10:00:00:0000\"\r\n");
    EXPECT_EQ(GetCurrentTime_LocalTime().wYear, 2024) << "switch 0: the real clock";
}
