// Time records and their items as the client holds them, to and from the server's records.
#include "followup/Apontamento.h"

#include "support/Tabela.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(ItemApontamento, QuantidadeComoTexto) {
    for (const tq::teste::Linha& l : tq::teste::LeTabela("quantidade-texto.tsv")) {
        CItemApontamento item;
        tagCY q;
        q.int64 = l.I64("bruto");
        item.SetQuantidade(q);
        EXPECT_EQ(item.GetQuantidadeAsString({l.Bool("tempo"), l.Int("decimais")}).str(),
                  l.Texto("texto"))
            << l.Origem();
    }
}

// The server's record read whole (its texts no further than their fields), branch and client
// cleared, only listarNF == 1 listed; written back field for field.
TEST(Apontamento, DoRegistroEDeVolta) {
    _REG_ITEM_APONTAMENTO_PS itens[2] = {};
    itens[0].servico = 10;
    itens[0].quantidade.int64 = 15000;
    itens[0].data = CTQDma(5, 3, 2024).GetCompactado();
    itens[0].horaInicial = 800;
    itens[1].pesoSaida.int64 = -3;
    _REG_APONTAMENTO_PS reg;
    std::memset(&reg, 'X', sizeof reg); // texts with no terminator, reserved bytes dirty
    reg.listarNF = 2;
    reg.ma = CTQMa(3, 2024).GetCompactado();
    reg.ponteiro = 7;
    reg.pontContr = 1234;
    reg.qtdItens = 2;
    reg.itens = itens;
    CApontamento a;
    a.SetFilial(5);
    a.SetCliente(7);
    a = reg;
    EXPECT_EQ(a.GetFilial(), 0u);
    EXPECT_EQ(a.GetCliente(), 0u);
    EXPECT_FALSE(a.GetListarNF()) << "only 1 lists";
    EXPECT_EQ(a.GetApontamento(), std::string(56, 'X').c_str());
    EXPECT_EQ(a.GetResiduos(), std::string(52, 'X').c_str());
    EXPECT_EQ(a.GetCodigo(), "03/2024-7");
    ASSERT_EQ(a.GetQtdItens(), 2);
    EXPECT_EQ(a.GetItem(0).GetData(), CTQDma(5, 3, 2024));

    CGeArrayEx<_REG_ITEM_APONTAMENTO_PS, const _REG_ITEM_APONTAMENTO_PS&> volta;
    _REG_APONTAMENTO_PS regVolta;
    a.GetSafeReg(regVolta, volta);
    EXPECT_EQ(std::string(regVolta.apontamento), std::string(55, 'X')) << "cut to fit, ended";
    EXPECT_EQ(regVolta.pontContr, 1234u);
    EXPECT_EQ(regVolta.qtdItens, 2u);
    EXPECT_EQ(regVolta.itens, nullptr);
    ASSERT_EQ(volta.GetSize(), 2);
    EXPECT_EQ(std::memcmp(&volta[0], &itens[0], sizeof itens[0]), 0);
    EXPECT_EQ(std::memcmp(&volta[1], &itens[1], sizeof itens[1]), 0);

    reg.qtdItens = 3;
    reg.itens = nullptr;
    a = reg;
    EXPECT_EQ(a.GetQtdItens(), 0) << "a count with no array has no items";
}

TEST(Apontamento, TaLimpoEToString) {
    CApontamento a;
    a.SetFilial(3);
    a.Limpa();
    EXPECT_TRUE(a.TaLimpo());
    a.SetListarNF(true);
    EXPECT_TRUE(a.TaLimpo()) << "listarNF is not looked at";
    a.SetMunicipio(9);
    EXPECT_FALSE(a.TaLimpo());
    a.SetApontamento("101");
    a.SetPonteiro(4);
    EXPECT_EQ(a.toString(),
              "Pos=4, Pont=4, Ma=0, Filial=0, Cliente=0, PontContr=0, Apont=101, ListarNF=1");
}
