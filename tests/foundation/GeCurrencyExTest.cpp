#include "foundation/GeCurrencyEx.h"

#include "support/Tabela.h"
#include "tqlibex/Plataforma.h"

#include <gtest/gtest.h>

#include <map>

using tq::teste::LeTabela;
using tq::teste::Linha;

namespace {

tagCY Cy(LONGLONG raw) {
    tagCY cy;
    cy.int64 = raw;
    return cy;
}

CGeCurrencyEx Valor(LONGLONG raw, int nDecimais = 0) {
    return CGeCurrencyEx(Cy(raw), nDecimais);
}

LONGLONG Raw(const CGeCurrencyEx& v) {
    return v.GetAsCurrency().int64;
}

} // namespace

// What assignment does to the decimals count; emptiness ignores it.
TEST(GeCurrencyEx, AtribuicaoEDecimais) {
    CGeCurrencyEx v = Valor(12345, 4);
    v = Cy(999); // a currency keeps the decimals count
    EXPECT_EQ(v.GetDecimais(), 4);
    v = 123456789012LL; // a 64-bit integer resets it
    EXPECT_EQ(Raw(v), 123456789012LL);
    EXPECT_EQ(v.GetDecimais(), 0);
    v.SetDecimais(-2); // sign-extended
    EXPECT_EQ(v.GetDecimais(), -2);
    EXPECT_EQ(Valor(1, 70000).GetDecimais(), static_cast<short>(70000)); // read back as 16 bits
    v.Empty();
    EXPECT_TRUE(v.IsEmpty());
    EXPECT_EQ(v.GetDecimais(), 0);
    EXPECT_TRUE(Valor(0, 4).IsEmpty()) << "emptiness ignores the decimals count";
    EXPECT_FALSE(Valor(-1, 8).IsEmpty());
}

namespace {

// a op= b and a op b, with the right operand as a money value or as a tagCY.
template <class B>
CGeCurrencyEx Composto(CGeCurrencyEx a, char op, const B& b) {
    return op == '+' ? a += b : op == '-' ? a -= b : op == '*' ? a *= b : a /= b;
}
template <class B>
CGeCurrencyEx Binario(const CGeCurrencyEx& a, char op, const B& b) {
    return op == '+' ? a + b : op == '-' ? a - b : op == '*' ? a * b : a / b;
}

} // namespace

// The compound family works on raw integers; the binary family on four-decimal currency. The
// left operand keeps its count, a binary result has none, the right operand's count is ignored.
TEST(GeCurrencyEx, DuasFamiliasDeAritmetica) {
    for (const Linha& l : LeTabela("moeda-aritmetica.tsv")) {
        const char op = l.Texto("op")[0];
        const CGeCurrencyEx a = Valor(l.I64("a"), 4), b = Valor(l.I64("b"), 2);
        if (l.Texto("composto") != "-") {
            const CGeCurrencyEx r = Composto(a, op, b);
            EXPECT_EQ(Raw(r), l.I64("composto")) << l.Origem();
            EXPECT_EQ(Raw(Composto(a, op, Cy(l.I64("b")))), Raw(r)) << l.Origem();
            EXPECT_EQ(r.GetDecimais(), 4) << l.Origem();
        }
        if (l.Texto("binario") == "-")
            continue;
        const CGeCurrencyEx r = Binario(a, op, b);
        EXPECT_EQ(Raw(Binario(a, op, Cy(l.I64("b")))), Raw(r)) << l.Origem();
        EXPECT_EQ(r.GetDecimais(), 0) << l.Origem();
        if (l.Bool("wine_difere") && tq::RodandoSobWine())
            EXPECT_NE(Raw(r), l.I64("binario")) << l.Origem() << ": wine now agrees; unlist it";
        else
            EXPECT_EQ(Raw(r), l.I64("binario")) << l.Origem();
    }
}

#if defined(GTEST_HAS_DEATH_TEST) && GTEST_HAS_DEATH_TEST && !defined(GTEST_OS_WINDOWS)
TEST(GeCurrencyExDeathTest, DivisaoCompostaPorZeroEFaltaDaPlataforma) {
    volatile LONGLONG zero = 0;
    EXPECT_DEATH(
        {
            CGeCurrencyEx a = Valor(70000);
            a /= Valor(zero);
            volatile LONGLONG resultado = Raw(a); // keeps the division from being dropped
            (void)resultado;
        },
        "");
}
#endif

TEST(GeCurrencyEx, Converte) {
    const std::map<int, void (CGeCurrencyEx::*)(bool)> atalhos = {
        {2, &CGeCurrencyEx::ConverteParaDoisDecimais},
        {4, &CGeCurrencyEx::ConverteParaQuatroDecimais},
        {8, &CGeCurrencyEx::ConverteParaOitoDecimais}};
    for (const Linha& l : LeTabela("moeda-converte.tsv")) {
        CGeCurrencyEx v = Valor(l.I64("raw"), l.Int("de"));
        const auto atalho = atalhos.find(l.Int("para")); // the shorthand where there is one
        if (atalho != atalhos.end())
            (v.*atalho->second)(l.Bool("arredonda"));
        else
            v.Converte(l.Int("para"), l.Bool("arredonda"));
        EXPECT_EQ(Raw(v), l.I64("esperado")) << l.Origem();
        EXPECT_EQ(v.GetDecimais(), l.Int("para")) << l.Origem();
    }
}

TEST(GeCurrencyEx, STruncaArredondaMantendoAEscala) {
    for (const Linha& l : LeTabela("moeda-strunca.tsv")) {
        tagCY cy = Cy(l.I64("raw"));
        CGeCurrencyEx::STrunca(cy, l.Int("atuais"), l.Int("desejados"));
        EXPECT_EQ(cy.int64, l.I64("esperado")) << l.Origem();
    }
}

TEST(GeCurrencyEx, Texto) {
    for (const Linha& l : LeTabela("moeda-formata.tsv")) {
        EXPECT_EQ(l.Texto("texto"), CGeCurrencyEx::FormataValor(l.I64("raw"), l.Int("decimais")))
            << l.Origem();
    }
    for (const Linha& l : LeTabela("moeda-desconto.tsv")) {
        EXPECT_STREQ(CGeCurrencyEx::ImprimeDesconto(Cy(l.I64("raw"))), l.Texto("texto").c_str())
            << l.Origem();
    }
}
