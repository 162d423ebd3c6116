#include "foundation/GeCurrencyEx.h"
#include "tqlibex/Plataforma.h"

#include <gtest/gtest.h>

#include <climits>

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

TEST(GeCurrencyEx, ConstrucaoEAtribuicao) {
    const CGeCurrencyEx cinco(5); // raw units, not currency units
    EXPECT_EQ(Raw(cinco), 5);
    EXPECT_EQ(cinco.GetDecimais(), 0);
    EXPECT_EQ(Raw(CGeCurrencyEx(-7)), -7);

    CGeCurrencyEx v = Valor(12345, 4);
    v = Cy(999); // a currency keeps the decimals count
    EXPECT_EQ(Raw(v), 999);
    EXPECT_EQ(v.GetDecimais(), 4);
    v = 123456789012LL; // a 64-bit integer resets it
    EXPECT_EQ(Raw(v), 123456789012LL);
    EXPECT_EQ(v.GetDecimais(), 0);

    v.SetVlr(Cy(77), 8);
    EXPECT_EQ(Raw(v), 77);
    EXPECT_EQ(v.GetDecimais(), 8);
    v.SetDecimais(-2); // sign-extended
    EXPECT_EQ(v.GetDecimais(), -2);
    EXPECT_EQ(Valor(1, 70000).GetDecimais(), static_cast<short>(70000)); // read back as 16 bits
    v.GetAsCurrency().int64 = 5;
    EXPECT_EQ(Raw(v), 5);
    v.Empty();
    EXPECT_EQ(Raw(v), 0);
    EXPECT_EQ(v.GetDecimais(), 0);
}

TEST(GeCurrencyEx, VazioIgnoraDecimais) {
    EXPECT_TRUE(Valor(0, 4).IsEmpty());
    EXPECT_TRUE(CGeCurrencyEx().IsEmpty());
    EXPECT_FALSE(Valor(1, 0).IsEmpty());
    EXPECT_FALSE(Valor(-1, 8).IsEmpty());
}

// The compound family works on raw integers; the binary family on four-decimal currency.
TEST(GeCurrencyEx, DuasFamiliasDeAritmetica) {
    struct Caso {
        LONGLONG a;
        char op;
        LONGLONG b;
        LONGLONG composto; // a op= b
        LONGLONG binario;  // a op b
        bool bWineDifere;  // wine's oleaut32 answers otherwise than Windows
    };
    const Caso casos[] = {
        {20000, '*', 20000, 400000000, 40000, false}, // 2.0000 and 2.0000
        {20000, '*', 30000, 600000000, 60000, false},
        {70000, '/', 20000, 3, 35000, false},
        {-70000, '/', 20000, -3, -35000, false},
        {10000, '/', 30000, 0, 3333, true}, // wine: 3334
        {20000, '/', 30000, 0, 6667, false},
        {15000, '+', 25000, 40000, 40000, false},
        {15000, '-', 25000, -10000, -10000, false},
        {12345, '*', -10000, -123450000, -12345, false},
    };
    for (const Caso& c : casos) {
        CGeCurrencyEx a = Valor(c.a, 4);
        const CGeCurrencyEx b = Valor(c.b, 2);
        CGeCurrencyEx r;
        switch (c.op) {
            case '+':
                r = a + b;
                a += b;
                break;
            case '-':
                r = a - b;
                a -= b;
                break;
            case '*':
                r = a * b;
                a *= b;
                break;
            case '/':
                r = a / b;
                a /= b;
                break;
        }
        EXPECT_EQ(Raw(a), c.composto) << c.a << c.op << "=" << c.b;
        EXPECT_EQ(a.GetDecimais(), 4) << "the left operand keeps its count";
        if (c.bWineDifere && tq::RodandoSobWine())
            EXPECT_NE(Raw(r), c.binario) << "listed as a wine difference, but wine now agrees";
        else
            EXPECT_EQ(Raw(r), c.binario) << c.a << c.op << c.b;
        EXPECT_EQ(r.GetDecimais(), 0) << "a binary result has no count";
    }
}

TEST(GeCurrencyEx, OperadoresComTagCY) {
    CGeCurrencyEx a = Valor(20000, 4);
    EXPECT_EQ(Raw(a * Cy(30000)), 60000);
    EXPECT_EQ(Raw(a / Cy(30000)), 6667);
    EXPECT_EQ(Raw(a + Cy(1)), 20001);
    EXPECT_EQ(Raw(a - Cy(1)), 19999);
    a += Cy(5);
    a -= Cy(1);
    a *= Cy(2);
    a /= Cy(4);
    EXPECT_EQ(Raw(a), 10002);
}

TEST(GeCurrencyEx, CompostosDaoAVolta) {
    CGeCurrencyEx a = Valor(LLONG_MAX);
    a += Valor(1);
    EXPECT_EQ(Raw(a), LLONG_MIN);
    a -= Valor(1);
    EXPECT_EQ(Raw(a), LLONG_MAX);
    CGeCurrencyEx b = Valor(1LL << 62);
    b *= Valor(4);
    EXPECT_EQ(Raw(b), 0);
}

TEST(GeCurrencyEx, DivisaoBinariaPorZeroDaZero) {
    const CGeCurrencyEx a = Valor(70000, 4);
    EXPECT_EQ(Raw(a / Valor(0)), 0);
    EXPECT_EQ(Raw(a / Cy(0)), 0);
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

// The worked table: raw four-decimal values converted to two decimals.
TEST(GeCurrencyEx, ConverteDeQuatroParaDois) {
    struct Caso {
        LONGLONG raw, comArredondamento, semArredondamento;
    };
    const Caso casos[] = {
        {12345, 124, 123}, {12344, 123, 123}, {12349, 124, 123},    {12300, 123, 123},
        {45, 1, 0},        {44, 0, 0},        {-12345, -122, -123}, {-12455, -124, -124},
        {-100, 0, -1},     {-1, 0, 0},
    };
    for (const Caso& c : casos) {
        for (const bool bArredonda : {true, false}) {
            CGeCurrencyEx v = Valor(c.raw, 4);
            v.Converte(2, bArredonda);
            EXPECT_EQ(Raw(v), bArredonda ? c.comArredondamento : c.semArredondamento)
                << c.raw << (bArredonda ? " rounded" : " cut");
            EXPECT_EQ(v.GetDecimais(), 2);
        }
    }
}

TEST(GeCurrencyEx, ConverteOutrasEscalas) {
    CGeCurrencyEx v = Valor(123456789, 8);
    v.Converte(2, true);
    EXPECT_EQ(Raw(v), 124);
    v = Valor(123456789, 8);
    v.ConverteParaDoisDecimais(false);
    EXPECT_EQ(Raw(v), 123);
    v = Valor(123456789, 8);
    v.ConverteParaQuatroDecimais(true);
    EXPECT_EQ(Raw(v), 12346);
    v.ConverteParaOitoDecimais(true); // more decimals: multiply, the flag does nothing
    EXPECT_EQ(Raw(v), 123460000);
    EXPECT_EQ(v.GetDecimais(), 8);
    v.Converte(8, true); // the same count changes nothing
    EXPECT_EQ(Raw(v), 123460000);
    CGeCurrencyEx semConta = Valor(5); // count 0 relabelled as 2 by multiplying
    semConta.ConverteParaDoisDecimais(true);
    EXPECT_EQ(Raw(semConta), 500);
    EXPECT_EQ(semConta.GetDecimais(), 2);
}

// Dropping n digits rounds up exactly from 10^n - 55...5 on: the repeated-5 addend, n = 1..9.
TEST(GeCurrencyEx, AdendoDeCincosRepetidos) {
    LONGLONG potencia = 1, adendo = 0;
    for (int n = 1; n <= 9; ++n) {
        potencia *= 10;
        adendo = adendo * 10 + 5;
        CGeCurrencyEx sobe = Valor(potencia - adendo, n), fica = Valor(potencia - adendo - 1, n);
        sobe.Converte(0, true);
        fica.Converte(0, true);
        EXPECT_EQ(Raw(sobe), 1) << n << " digits";
        EXPECT_EQ(Raw(fica), 0) << n << " digits";
    }
}

TEST(GeCurrencyEx, STruncaArredondaMantendoAEscala) {
    struct Caso {
        LONGLONG raw;
        int atuais, desejados;
        LONGLONG esperado;
    };
    const Caso casos[] = {
        {12345, 4, 2, 12400},         {12344, 4, 2, 12300}, {-12345, 4, 2, -12200},
        {999999, 4, 2, 1000000},      {-1, 2, 4, 0},        {7, 2, 4, 7},
        {123456789, 8, 4, 123460000},
    };
    for (const Caso& c : casos) {
        tagCY cy = Cy(c.raw);
        CGeCurrencyEx::STrunca(cy, c.atuais, c.desejados);
        EXPECT_EQ(cy.int64, c.esperado) << c.raw << " " << c.atuais << "->" << c.desejados;
    }
}

TEST(GeCurrencyEx, FormataValor) {
    struct Caso {
        LONGLONG raw;
        int nDecimais;
        const char* texto;
    };
    const Caso casos[] = {
        {12345678912LL, 2, "1.234.567,89"},
        {12345678912LL, 0, "1.234.567"},
        {12345678912LL, 6, "1.234.567,891200"},
        {12345678912LL, 8, "1.234.567,89120000"},
        {12345678912LL, 12, "1.234.567,89120000"}, // more than eight print eight
        {12345678912LL, -3, "1.234.567"},          // negative counts as zero
        {-5000, 2, "-0,50"},
        {0, 2, "0,00"},
        {5000, 2, "0,50"},
        {124, 2, "0,01"}, // a value already at two decimals still reads as four
        {-1, 2, "-0,00"},
        {9999, 4, "0,9999"},
        {10000000, 1, "1.000,0"},
        {1000000, 1, "100,0"},
        {LLONG_MIN, 4, "-922.337.203.685.477,5808"},
        {LLONG_MAX, 4, "922.337.203.685.477,5807"},
    };
    for (const Caso& c : casos)
        EXPECT_STREQ(CGeCurrencyEx::FormataValor(c.raw, c.nDecimais), c.texto)
            << c.raw << " with " << c.nDecimais;
    EXPECT_STREQ(Valor(12345678912LL, 2).GetFormatado(), "1.234.567,89");
    EXPECT_STREQ(Valor(12345678912LL).GetFormatado(), "1.234.567");
}

TEST(GeCurrencyEx, ImprimeDesconto) {
    struct Caso {
        LONGLONG raw;
        const char* texto;
    };
    const Caso casos[] = {
        {1250000000, "12,50"}, // 125,000.0000: 12.5%
        {500000000, "5,00"},   {12500000, "0,12"},      {999999999, "9,99"},
        {9999, "0,00"},        {-1250000000, "-12,50"},
    };
    for (const Caso& c : casos) {
        EXPECT_STREQ(CGeCurrencyEx::ImprimeDesconto(Cy(c.raw)), c.texto) << c.raw;
        EXPECT_STREQ(Valor(c.raw, 2).ImprimeComoDesconto(), c.texto) << c.raw;
    }
}
