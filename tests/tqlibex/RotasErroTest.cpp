// The event report, the connection route and the access-registry route: exactly what each hands on.
#include "tqlibex/ConexaoGe.h"
#include "tqlibex/EventoCom.h"
#include "tqlibex/GuidTexto.h"
#include "tqlibex/Processo.h"
#include "tqlibex/RuntimeFechado.h"

#include "support/Gravadores.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

namespace {

constexpr HRESULT H(unsigned v) {
    return static_cast<HRESULT>(v);
}
const GUID kClsid = {0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55}};

struct ITQGE_Contratos {};

class ConexaoContratos : public CConexaoGe<ITQGE_Contratos> {
protected:
    ULONG GetNumeroErro() const override { return 77; }
    const char* GetTextoErro() const override { return "Contratos"; }
};

struct ChamadaTrataErro2 {
    LONGLONG hr = 0;
    ULONG chamador = 0, numero = 0;
    std::string texto, arquivo, compilacao;
    int linha = 0;
    int vezes = 0;
};

bool DataDeCompilacao(const std::string& s) {
    return std::regex_match(
        s, std::regex("[A-Z][a-z]{2} [ 0-3][0-9] [0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}"));
}

} // namespace

TEST(ReportaEventoCom, TextosEIdentificador) {
    tq::teste::GravadorEventos gravador;
    ReportaEventoCom(kClsid, H(0x800706BA), EVENTLOG_WARNING_TYPE,
                     "\n\nA primeira tentativa de instanciar o servidor falhou");
    ASSERT_EQ(gravador.eventos.size(), 1u);
    const tq::teste::Evento& e = gravador.eventos[0];
    EXPECT_EQ(e.fonte, "TQ Sistemas");
    EXPECT_EQ(e.tipo, EVENTLOG_WARNING_TYPE);
    EXPECT_EQ(e.categoria, 0);
    EXPECT_EQ(e.id, 0x800706BAu);
    EXPECT_EQ(e.texto1, "\n\nA primeira tentativa de instanciar o servidor falhou");
    const std::string sistema = tq::detail::TextoDoSistema(H(0x800706BA)).GetString();
    EXPECT_EQ(e.texto2, "\nHR: 0x800706BA (" + sistema +
                            ")\nCLSID: {11111111-2222-3333-4444-555555555555}\n"
                            "Programa: " +
                            tq::detail::CaminhoDoPrograma().GetString() + "\n");
    EXPECT_EQ(sistema.find('\n'), std::string::npos);
}

TEST(ConexaoGe, OnFailedHrEntregaOsArgumentos) {
    ChamadaTrataErro2 c;
    tq::CEscopoTrataErro2 gancho([&c](LONGLONG hr, ULONG chamador, ULONG numero, const char* texto,
                                      const char* arquivo, int linha, const char* compilacao) {
        c = {hr, chamador, numero, texto, arquivo, compilacao, linha, c.vezes + 1};
        return true;
    });
    const auto log = std::filesystem::temp_directory_path() / "tqge-conexao.log";
    std::filesystem::remove(log);
    ConexaoContratos conexao;
    conexao.SetLog(log.string().c_str());
    conexao.OnFailedHr(E_FAIL, 12, "Falha lendo itens",
                       "C:\\fontes\\followup\\CalculoApontamentos.cpp", 9);
    EXPECT_EQ(c.vezes, 1);
    EXPECT_EQ(c.hr, -2147467259LL) << "widened with its sign";
    EXPECT_EQ(c.chamador, 12u);
    EXPECT_EQ(c.numero, 77u);
    EXPECT_EQ(c.texto, "Contratos");
    EXPECT_EQ(CGeLog::GetNomeDoArquivo(c.arquivo.c_str()), "ConexaoGe.h");
    EXPECT_EQ(c.linha, 158);
    EXPECT_TRUE(DataDeCompilacao(c.compilacao)) << c.compilacao;

    conexao.OnFailedHr(E_FAIL, 3, "Sem arquivo", 5); // the template's own file
    std::string l1, l2;
    {
        std::ifstream in(log);
        std::getline(in, l1);
        std::getline(in, l2);
    }
    EXPECT_EQ(l1, "Falha lendo itens, File=CalculoApontamentos.cpp, Codigo=9");
    EXPECT_EQ(l2, "Sem arquivo, File=ConexaoGe.h, Codigo=5");
    std::filesystem::remove(log);

    CTQDFConxTratamentoErrosConfig::SetTrataErros(false);
    conexao.OnFailedHr(E_FAIL, 1, "x", 1);
    CTQDFConxTratamentoErrosConfig::SetTrataErros(true);
    EXPECT_EQ(c.vezes, 2) << "with TratarErros off the messages library is not called";
}

TEST(RegistroDeServidores, UsaOUltimoAcessoENaoOResultado) {
    struct {
        HRESULT hr = 0;
        int codigo = 0, servidor = 0, linha = 0, vezes = 0;
        std::string arquivo, compilacao;
    } c;
    tq::CEscopoCallOnError gancho([&c](CTQLumenException&, HRESULT hr, int codigo, int servidor,
                                       int linha, const char* arquivo, const char* compilacao) {
        c = {hr, codigo, servidor, linha, c.vezes + 1, arquivo, compilacao};
        return true;
    });
    CTQDadosDF_Erro* ultimo = TQFC_GetServidores()->GetUltimoAcesso();

    ultimo->Define(0x80040005, 42, 65535); // as a module writes it: a 32-bit value everywhere
    const int linha = __LINE__ + 1;
    const HRESULT hr = TQ_VIA_SERVIDORES(S_FALSE);
    EXPECT_EQ(hr, S_FALSE) << "the server method's own result comes back";
    EXPECT_EQ(c.vezes, 1);
    EXPECT_EQ(c.hr, H(0x80040005));
    EXPECT_EQ(c.codigo, 42);
    EXPECT_EQ(c.servidor, 65535) << "the server number is widened, not sign-extended";
    EXPECT_EQ(c.linha, linha);
    EXPECT_EQ(c.arquivo, "RotasErroTest");
    EXPECT_TRUE(DataDeCompilacao(c.compilacao)) << c.compilacao;

    ultimo->Define(0, 0, 0);
    EXPECT_EQ(TQ_VIA_SERVIDORES(E_FAIL), E_FAIL);
    EXPECT_EQ(c.vezes, 1) << "the registry's last access decides, not the method's result";
}

TEST(RegistroDeServidores, GanchoPadraoTracaOHResultDe32Bits) {
    tq::teste::GravadorTrace trace;
    TQFC_GetServidores()->GetUltimoAcesso()->Define(0x80040005, 7, 3);
    EXPECT_EQ(TQ_VIA_SERVIDORES(S_OK), S_OK);
    TQFC_GetServidores()->GetUltimoAcesso()->Define(0, 0, 0);
    ASSERT_EQ(trace.registros.size(), 1u);
    EXPECT_EQ(tq::teste::Mensagem(trace.registros[0]).rfind("HR = 0X80040005 Codigo = 7", 0), 0u)
        << tq::teste::Mensagem(trace.registros[0]);
}
