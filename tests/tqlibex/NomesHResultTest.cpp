#include "tqlibex/NomesHResult.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr HRESULT H(unsigned v) {
    return static_cast<HRESULT>(v);
}
std::string S(const CTQString& s) {
    return s.GetString();
}

const char* const kDfsrel1 =
    "DFSREL: Modelo de relat\xF3rio deve ser definido para realizar a exporta\xE7\xE3o";
const char* const kDesconhecida = "Desconhecido ou novo c\xF3"
                                  "digo de FACILITY";

// Tests never reach a messages library unless they ask for it.
class NomesHResult : public ::testing::Test {
    tq::detail::CEscopoBibliotecaMensagens m_semBiblioteca{"tqge-nao-existe"};
};

} // namespace

TEST_F(NomesHResult, PartesENomes) {
    struct Caso {
        unsigned hr;
        const char *severidade, *facilidade, *win32, *nome;
    };
    const Caso casos[] = {
        {0x00000000, "SEVERITY_SUCCESS", "FACILITY_NULL", "ERROR_SUCCESS", "S_OK"},
        {0x00000001, "SEVERITY_SUCCESS", "FACILITY_NULL", "ERROR_INVALID_FUNCTION", "S_FALSE"},
        {0x80070057, "SEVERITY_ERROR", "FACILITY_WIN32", "ERROR_INVALID_PARAMETER", "E_INVALIDARG"},
        {0x800706BA, "SEVERITY_ERROR", "FACILITY_WIN32", "RPC_S_SERVER_UNAVAILABLE", ""},
        {0x80040154, "SEVERITY_ERROR", "FACILITY_ITF", "",
         "REGDB_E_CLASSNOTREG"}, // ITF: no Win32 name
        {0x8002000A, "SEVERITY_ERROR", "FACILITY_DISPATCH", "ERROR_BAD_ENVIRONMENT",
         "DISP_E_OVERFLOW"},
        {0x80090001, "SEVERITY_ERROR", "FACILITY_SSPI", "ERROR_INVALID_FUNCTION", "NTE_BAD_UID"},
        {0x80FF0AF8, "SEVERITY_ERROR", "TQ_FACILITY_DF_EMPRESARIAL", "", ""},
        {0x81060001, "SEVERITY_ERROR", "TQ_FACILITY_RW_LUMENWEB", "ERROR_INVALID_FUNCTION", ""},
        {0x810A0001, "SEVERITY_ERROR", "TQ_FACILITY_CQ_QUALIDADE", "ERROR_INVALID_FUNCTION", ""},
        {0x81000001, "SEVERITY_ERROR", kDesconhecida, "ERROR_INVALID_FUNCTION", ""}, // 256
        {0x81050001, "SEVERITY_ERROR", kDesconhecida, "ERROR_INVALID_FUNCTION", ""}, // 261
        {0x80EB0001, "SEVERITY_ERROR", kDesconhecida, "ERROR_INVALID_FUNCTION", ""}, // 235
        {0xFFFFFFFF, "SEVERITY_ERROR", kDesconhecida, "", ""},
    };
    for (const Caso& c : casos) {
        EXPECT_EQ(S(GetNomeSeverity(H(c.hr))), c.severidade) << std::hex << c.hr;
        EXPECT_EQ(S(GetNomeFacility(H(c.hr))), c.facilidade) << std::hex << c.hr;
        EXPECT_EQ(S(GetNomeCodigoWin32(H(c.hr))), c.win32) << std::hex << c.hr;
        EXPECT_EQ(S(GetNomeHResult(H(c.hr))), c.nome) << std::hex << c.hr;
    }
}

TEST_F(NomesHResult, DescricoesDaCasaValemParaAsDuasSeveridades) {
    EXPECT_EQ(S(GetDescricaoHResult(H(0x80040001))), kDfsrel1);
    EXPECT_EQ(S(GetDescricaoHResult(H(0x00040001))), kDfsrel1);
    EXPECT_EQ(S(GetDescricaoHResult(H(0x80040923))), "DFSPRO: C\xF3"
                                                     "digo de produto com h\xED"
                                                     "fen");
    EXPECT_EQ(S(GetDescricaoHResult(H(0x800401FC))), "") << "508 has no text of its own";
    EXPECT_EQ(S(GetDescricaoHResult(H(0x80070057))), "") << "not facility 4, and no library";
}

TEST_F(NomesHResult, ListaComparaAntesDoTerminador) {
    EXPECT_TRUE(HResultNaLista(H(0x80004005), H(0x80070057), H(0x80004005), -1));
    EXPECT_FALSE(HResultNaLista(H(0x80004005), H(0x80070057), -1));
    EXPECT_FALSE(HResultNaLista(0, -1));
    EXPECT_TRUE(HResultNaLista(-1, -1)) << "-1 is always in the list, even an empty one";
    EXPECT_TRUE(tq::detail::HResultNaLista(-1, {}));
    EXPECT_TRUE(tq::detail::HResultNaLista(7, {1, 7}));
    EXPECT_FALSE(tq::detail::HResultNaLista(7, {}));
}

// The messages library the tests build: found under its real name, silent when absent.
TEST(BibliotecaDeMensagens, EncontradaEAusente) {
    EXPECT_EQ(S(GetDescricaoHResult(H(0x800401FC))), "Mensagem de teste 0x800401FC");
    EXPECT_EQ(S(GetDescricaoHResult(H(0x800706BA))), "Mensagem de teste 0x800706BA");
    EXPECT_EQ(S(GetDescricaoHResult(H(0x80040001))), kDfsrel1) << "the house text comes first";
    tq::detail::CEscopoBibliotecaMensagens ausente("tqge-nao-existe");
    EXPECT_EQ(S(GetDescricaoHResult(H(0x800401FC))), "");
}
