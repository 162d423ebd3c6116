#include "tqlibex/diagnostics/GeLog.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

class GeLogArquivo : public ::testing::Test {
protected:
    GeLogArquivo() : pasta(std::filesystem::temp_directory_path() / ("tqge-log-" + Nome())) {
        std::filesystem::create_directories(pasta);
    }
    ~GeLogArquivo() override { std::filesystem::remove_all(pasta); }

    static std::string Nome() {
        return ::testing::UnitTest::GetInstance()->current_test_info()->name();
    }
    std::vector<std::string> Linhas(const std::filesystem::path& arquivo) const {
        std::ifstream in(arquivo, std::ios::binary);
        std::vector<std::string> linhas;
        for (std::string l; std::getline(in, l);)
            linhas.push_back(l);
        return linhas;
    }
    std::filesystem::path Ini(const std::string& corpo) const {
        const auto ini = pasta / "log.ini";
        std::ofstream(ini) << corpo;
        return ini;
    }

    std::filesystem::path pasta;
};

} // namespace

TEST_F(GeLogArquivo, UmaLinhaPorRegistroSemQuebras) {
    const auto arquivo = pasta / "trace.log";
    CGeLog log;
    ASSERT_TRUE(log.ConfiguraPorIni(
        Ini("; switches\n[Log]\nArquivo = " + arquivo.string() + "\nAtivo=1\n").string().c_str()));
    EXPECT_TRUE(log.EstaAtivo());
    const CTQContextoTrace contexto("Faturamento");
    CRegistroTrace r;
    r.pContexto = &contexto;
    r.sFuncao = "CTQComPtr<struct ITQGE_Apontamentos>::CoCreateInstance";
    r.guid = {0x0002DF01, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    r.sProcesso = "modulo.exe";
    r.sUsuario = "ana";
    r.sTexto = "0\t0.0.0\t6.2.9200\tTQComPtr\t158\tlinha\r\ncom quebra\t";
    log.Grava(r);
    log.Grava("%s, File=%s, Codigo=%d", "msg\n", "x.cpp", 7);
    const auto linhas = Linhas(arquivo);
    ASSERT_EQ(linhas.size(), 2u);
    EXPECT_EQ(linhas[0], "{0002DF01-0000-0000-C000-000000000046}\tmodulo.exe\tana\tFaturamento\t"
                         "CTQComPtr<struct ITQGE_Apontamentos>::CoCreateInstance\t"
                         "0\t0.0.0\t6.2.9200\tTQComPtr\t158\tlinhacom quebra\t");
    EXPECT_EQ(linhas[1], "msg, File=x.cpp, Codigo=7");
}

TEST_F(GeLogArquivo, SemIniOuDesligadoNadaEscreve) {
    const auto arquivo = pasta / "trace.log";
    CGeLog semIni;
    EXPECT_FALSE(semIni.ConfiguraPorIni((pasta / "nao-existe.ini").string().c_str()));
    semIni.Grava("x");
    CGeLog desligado;
    ASSERT_TRUE(desligado.ConfiguraPorIni(
        Ini("[Log]\nArquivo=" + arquivo.string() + "\nAtivo=0\n").string().c_str()));
    EXPECT_FALSE(desligado.EstaAtivo());
    desligado.Grava("x");
    CGeLog outraSecao;
    ASSERT_TRUE(outraSecao.ConfiguraPorIni(
        Ini("[Outra]\nArquivo=" + arquivo.string() + "\n").string().c_str()));
    outraSecao.Grava("x");
    EXPECT_FALSE(std::filesystem::exists(arquivo));
}

TEST_F(GeLogArquivo, VariasThreadsLinhasInteiras) {
    const auto arquivo = pasta / "trace.log";
    CGeLog log(arquivo.string().c_str());
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&log, t] {
            for (int i = 0; i < 100; ++i)
                log.Grava("thread %d linha %03d %s", t, i, std::string(200, 'x').c_str());
        });
    for (auto& th : threads)
        th.join();
    const auto linhas = Linhas(arquivo);
    ASSERT_EQ(linhas.size(), 400u);
    for (const std::string& l : linhas)
        EXPECT_EQ(l.size(), std::string("thread 0 linha 000 ").size() + 200) << l;
}

TEST(GeLog, NomeDoArquivo) {
    EXPECT_STREQ(CGeLog::GetNomeDoArquivo("C:\\src\\tqlibex\\ConexaoGe.h"), "ConexaoGe.h");
    EXPECT_STREQ(CGeLog::GetNomeDoArquivo("/src/tqlibex/com/ConexaoGe.h"), "ConexaoGe.h");
    EXPECT_STREQ(CGeLog::GetNomeDoArquivo("ConexaoGe.h"), "ConexaoGe.h");
}
