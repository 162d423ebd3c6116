#include "tqlibex/diagnostics/NomesHResult.h"

#include "support/Tabela.h"

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
    for (const tq::teste::Linha& l : tq::teste::LeTabela("nomes-hresult.tsv")) {
        const HRESULT hr = l.Hr("hr");
        const std::string facilidade = l.Texto("facilidade");
        EXPECT_EQ(S(GetNomeSeverity(hr)), l.Texto("severidade")) << l.Origem();
        EXPECT_EQ(S(GetNomeFacility(hr)), facilidade == "*" ? kDesconhecida : facilidade)
            << l.Origem();
        EXPECT_EQ(S(GetNomeCodigoWin32(hr)), l.Texto("win32")) << l.Origem();
        EXPECT_EQ(S(GetNomeHResult(hr)), l.Texto("nome")) << l.Origem();
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
