#include "tqlibex/diagnostics/TraceHResult.h"

#include "support/Gravadores.h"
#include "tqlibex/diagnostics/NomesHResult.h"

#include <gtest/gtest.h>

#include <string>

using tq::teste::GravadorTrace;
using tq::teste::Mensagem;

namespace {
int g_nAvaliacoes = 0;
HRESULT Devolve(HRESULT hr) {
    ++g_nAvaliacoes;
    return hr;
}
} // namespace

// A member of a class template, as the COM access layer's traces come from (global, so that the
// qualified name has no namespace in it; the interface need not be complete).
struct ITQGE_Apontamentos;
template <class I>
struct Sonda {
    HRESULT CoCreateInstance(HRESULT resultado) {
        HRESULT hr;
        TQ_LOG_HR_EM("TQComPtr", hr, Devolve(resultado));
        return hr;
    }
};

namespace {

class TraceHResult : public ::testing::Test {
protected:
    TraceHResult() { g_nAvaliacoes = 0; }
    GravadorTrace gravador;
    tq::detail::CEscopoBibliotecaMensagens semBiblioteca{"tqge-nao-existe"};
};

} // namespace

TEST_F(TraceHResult, LinhaExataComNomeQualificado) {
    EXPECT_EQ(Sonda<ITQGE_Apontamentos>().CoCreateInstance(E_INVALIDARG), E_INVALIDARG);
    EXPECT_EQ(g_nAvaliacoes, 1) << "the expression is evaluated once";
    ASSERT_EQ(gravador.registros.size(), 1u);
    const CRegistroTrace& r = gravador.registros[0];
    EXPECT_EQ(std::string(r.sFuncao.GetString()),
              "Sonda<struct ITQGE_Apontamentos>::CoCreateInstance");
    EXPECT_EQ(Mensagem(r),
              "hr = Devolve(resultado)\thr = 0X80070057 \tSEVERITY = 1 SEVERITY_ERROR\t"
              "FACILITY = 7 FACILITY_WIN32\tCODE = 87 ERROR_INVALID_PARAMETER\t"
              "Descri\xE7\xE3o = E_INVALIDARG\t");
    const std::string texto = r.sTexto.GetString();
    EXPECT_NE(texto.find("\tTQComPtr\t"), std::string::npos) << texto;
}

TEST_F(TraceHResult, QuaisValoresDeixamLinha) {
    HRESULT hr;
    TQ_LOG_HR(hr, Devolve(0));
    EXPECT_TRUE(gravador.registros.empty()) << "0 writes nothing";
    TQ_LOG_HR(hr, Devolve(-1));
    EXPECT_TRUE(gravador.registros.empty()) << "-1 never writes";
    TQ_LOG_HR(hr, Devolve(E_FAIL), E_INVALIDARG, E_FAIL);
    EXPECT_TRUE(gravador.registros.empty()) << "a tolerated value writes nothing";
    TQ_LOG_HR(hr, Devolve(S_FALSE));
    ASSERT_EQ(gravador.registros.size(), 1u) << "1, a success code, writes a line";
    EXPECT_EQ(Mensagem(gravador.registros[0]),
              "hr = Devolve(S_FALSE)\thr = 0X1 \tSEVERITY = 0 SEVERITY_SUCCESS\tFACILITY = 0 "
              "FACILITY_NULL\t"
              "CODE = 1 ERROR_INVALID_FUNCTION\tDescri\xE7\xE3o = S_FALSE\t");
    EXPECT_EQ(std::string(gravador.registros[0].sFuncao.GetString()),
              "TraceHResult_QuaisValoresDeixamLinha_Test::TestBody");
    EXPECT_EQ(g_nAvaliacoes, 4);
}

TEST_F(TraceHResult, RegistroCompleto) {
    const CTQContextoTrace contexto("Contratos");
    GravaTrace(&contexto, "Funcao", "Arquivo", 42, "%s-%d", "x", 7);
    ASSERT_EQ(gravador.registros.size(), 1u);
    const CRegistroTrace r = gravador.registros[0];
    EXPECT_EQ(r.pContexto, &contexto);
    EXPECT_EQ(std::string(r.sFuncao.GetString()), "Funcao");
    const std::string texto = r.sTexto.GetString();
    EXPECT_EQ(texto.substr(texto.size() - 16), "\tArquivo\t42\tx-7\t") << texto;
    EXPECT_FALSE(r.sUsuario.IsEmpty());
    const std::string processo = r.sProcesso.GetString();
    EXPECT_FALSE(processo.empty());
    EXPECT_EQ(CTQString(processo).MakeLower(), processo.c_str()) << "process names are lower case";
    GravaTrace(nullptr, "Funcao", "Arquivo", 42, "%s", "y");
    EXPECT_FALSE(gravador.registros[1].guid == r.guid) << "each record has a fresh GUID";
}

TEST(TextoDoRegistroTrace, CamposEVersoes) {
    EXPECT_EQ(std::string(tq::detail::TextoDoRegistroTrace(123456789012LL, 0x00010002, 0x00020003,
                                                           0x23F00206, "TQComPtr", 158, "msg")),
              "123456789012\t1.2.131075\t6.2.9200\tTQComPtr\t158\tmsg\t");
    EXPECT_EQ(std::string(tq::detail::TextoDoRegistroTrace(7, 0x00030005, 0x00070009, 0x23F10307,
                                                           "f", 2, "odd")),
              "7\t3.5.458761\t7.3.9201\tf\t2\todd\t");
    // A system version with the top bit set has no build number.
    EXPECT_EQ(std::string(tq::detail::TextoDoRegistroTrace(0, 0, 0, 0x80000A04, "f", 1, "")),
              "0\t0.0.0\t4.10.0\tf\t1\t\t");
}
