// The event report, the connection route and the access-registry route: exactly what each hands on.
#include "tqlibex/base/GuidTexto.h"
#include "tqlibex/com/ConexaoGe.h"
#include "tqlibex/com/RuntimeFechado.h"
#include "tqlibex/diagnostics/EventoCom.h"
#include "tqlibex/system/Processo.h"

#include "support/Gravadores.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

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
    std::vector<std::string> chamadas;
    tq::CEscopoTrataErro2 gancho([&chamadas](LONGLONG hr, ULONG chamador, ULONG numero,
                                             const char* texto, const char* arquivo, int linha,
                                             const char* compilacao) {
        EXPECT_TRUE(DataDeCompilacao(compilacao)) << compilacao;
        chamadas.push_back(std::to_string(hr) + " " + std::to_string(chamador) + " " +
                           std::to_string(numero) + " " + texto + " " +
                           std::string(CGeLog::GetNomeDoArquivo(arquivo)) + ":" +
                           std::to_string(linha));
        return true;
    });
    const auto log = std::filesystem::temp_directory_path() / "tqge-conexao.log";
    std::filesystem::remove(log);
    ConexaoContratos conexao;
    conexao.SetLog(log.string().c_str());
    conexao.OnFailedHr(E_FAIL, 12, "Falha lendo itens",
                       "C:\\fontes\\followup\\CalculoApontamentos.cpp", 9);
    conexao.OnFailedHr(E_FAIL, 3, "Sem arquivo", 5); // the template's own file
    CTQDFConxTratamentoErrosConfig::SetTrataErros(false);
    conexao.OnFailedHr(E_FAIL, 1, "x", 1);
    CTQDFConxTratamentoErrosConfig::SetTrataErros(true);
    // The HRESULT widened with its sign; with TratarErros off the messages library is not called.
    EXPECT_EQ(chamadas, (std::vector<std::string>{"-2147467259 12 77 Contratos ConexaoGe.h:158",
                                                  "-2147467259 3 77 Contratos ConexaoGe.h:158"}));
    std::string l1, l2;
    {
        std::ifstream in(log);
        std::getline(in, l1);
        std::getline(in, l2);
    }
    EXPECT_EQ(l1, "Falha lendo itens, File=CalculoApontamentos.cpp, Codigo=9");
    EXPECT_EQ(l2, "Sem arquivo, File=ConexaoGe.h, Codigo=5");
    std::filesystem::remove(log);
}

TEST(RegistroDeServidores, UsaOUltimoAcessoENaoOResultado) {
    std::vector<std::string> chamadas;
    tq::CEscopoCallOnError gancho([&chamadas](CTQLumenException&, HRESULT hr, int codigo,
                                              int servidor, int linha, const char* arquivo,
                                              const char* compilacao) {
        EXPECT_TRUE(DataDeCompilacao(compilacao)) << compilacao;
        chamadas.push_back(std::to_string(static_cast<unsigned>(hr)) + " " +
                           std::to_string(codigo) + " " + std::to_string(servidor) + " " + arquivo +
                           ":" + std::to_string(linha));
        return true;
    });
    CTQDadosDF_Erro* ultimo = TQFC_GetServidores()->GetUltimoAcesso();
    ultimo->Define(0x80040005, 42, 65535); // as a module writes it: a 32-bit value everywhere
    const int linha = __LINE__ + 1;
    EXPECT_EQ(TQ_VIA_SERVIDORES(S_FALSE), S_FALSE) << "the server method's own result comes back";
    ultimo->Define(0, 0, 0);
    EXPECT_EQ(TQ_VIA_SERVIDORES(E_FAIL), E_FAIL);
    // The server number widened, not sign-extended; the registry's last access decides, not the
    // method's result.
    EXPECT_EQ(chamadas, std::vector<std::string>{"2147745797 42 65535 RotasErroTest:" +
                                                 std::to_string(linha)});
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
