#include "foundation/TQDma.h"

#include <gtest/gtest.h>

#include <string>

namespace {
std::string T(const CTQDma& d) {
    return d.Formata().GetString();
}
} // namespace

TEST(TQDma, FormasCompactadas) {
    EXPECT_EQ(CTQDma(15, 3, 2024).GetCompactado(), 0x07E8030Fu);
    EXPECT_EQ(CTQMa(3, 2024).GetCompactado(), 0x7E83u);
    const CTQDma d = CTQDma::DeCompactado(0x07E8030F);
    EXPECT_EQ(d.GetDia(), 15);
    EXPECT_EQ(d.GetMes(), 3);
    EXPECT_EQ(d.GetAno(), 2024);
    EXPECT_EQ(d.GetMa(), CTQMa(3, 2024));
    EXPECT_EQ(CTQMa::DeCompactado(0x7E83).GetAno(), 2024);
    EXPECT_TRUE(CTQDma().IsEmpty());
    EXPECT_TRUE(CTQMa().IsEmpty());
    // The packed numbers order as the calendar does.
    EXPECT_LT(CTQDma(31, 12, 2023), CTQDma(1, 1, 2024));
    EXPECT_LT(CTQDma(30, 1, 2024), CTQDma(1, 2, 2024));
    EXPECT_LT(CTQMa(12, 2023), CTQMa(1, 2024));
}

TEST(TQDma, Validade) {
    EXPECT_TRUE(CTQDma(29, 2, 2024).IsValida());
    EXPECT_FALSE(CTQDma(29, 2, 2023).IsValida());
    EXPECT_TRUE(CTQDma(29, 2, 2000).IsValida());
    EXPECT_FALSE(CTQDma(29, 2, 1900).IsValida());
    EXPECT_FALSE(CTQDma(31, 4, 2024).IsValida());
    EXPECT_FALSE(CTQDma(0, 1, 2024).IsValida());
    EXPECT_FALSE(CTQDma(1, 13, 2024).IsValida());
    EXPECT_FALSE(CTQDma().IsValida());
    EXPECT_EQ(CTQDma(10, 2, 2024).UltimoDiaDoMes(), 29);
    EXPECT_TRUE(CTQDma(30, 4, 2024).EhUltimoDiaDoMes());
    EXPECT_EQ(CTQDma(15, 3, 2024).DiaDaSemana(), 5); // Friday
    EXPECT_EQ(CTQMa(2, 2023).UltimoDiaDoMes(), 28);
}

TEST(TQDma, SomaDias) {
    struct Caso {
        CTQDma de;
        long dias;
        const char* para;
    };
    const Caso casos[] = {
        {{31, 12, 2023}, 1, "01/01/2024"},
        {{28, 2, 2024}, 1, "29/02/2024"},
        {{28, 2, 2023}, 1, "01/03/2023"},
        {{1, 3, 2024}, -1, "29/02/2024"},
        {{1, 1, 2024}, 366, "01/01/2025"},
        {{15, 3, 2024}, -36525, "15/03/1924"},
        {{
             1,
             1,
             1,
         },
         -1,
         "01/01/0001"}, // before year 1 the date stays
    };
    for (const Caso& c : casos) {
        CTQDma d = c.de;
        EXPECT_EQ(T(d.SomaDias(c.dias)), c.para) << T(c.de) << " + " << c.dias;
    }
    EXPECT_EQ(CTQDma(1, 1, 2025).DiasDesde(CTQDma(1, 1, 2024)), 366);
    EXPECT_EQ(CTQDma(1, 1, 2024).DiasDesde(CTQDma(1, 1, 2025)), -366);
}

TEST(TQDma, SomaMesesFicaNoUltimoDia) {
    struct Caso {
        CTQDma de;
        int meses;
        const char* para;
    };
    const Caso casos[] = {
        {{31, 1, 2024}, 1, "29/02/2024"},   {{31, 1, 2023}, 1, "28/02/2023"},
        {{31, 3, 2024}, -1, "29/02/2024"},  {{15, 11, 2024}, 3, "15/02/2025"},
        {{15, 1, 2024}, -13, "15/12/2022"}, {{29, 2, 2024}, 12, "28/02/2025"},
        {{31, 5, 2024}, 0, "31/05/2024"},
    };
    for (const Caso& c : casos) {
        CTQDma d = c.de;
        EXPECT_EQ(T(d.SomaMeses(c.meses)), c.para) << T(c.de) << " + " << c.meses << " months";
    }
    CTQDma d(29, 2, 2024);
    EXPECT_EQ(T(d.SomaAnos(4)), "29/02/2028");
    CTQDma invalida(31, 2, 2024);
    EXPECT_EQ(invalida.SomaMeses(1).GetCompactado(), CTQDma(31, 2, 2024).GetCompactado());
    CTQMa ma(11, 2024);
    EXPECT_EQ(ma.SomaMeses(3).Formata(), "02/2025");
    EXPECT_EQ(ma.SomaMeses(-26).Formata(), "12/2022");
}

TEST(TQDma, Texto) {
    EXPECT_EQ(T(CTQDma(5, 3, 2024)), "05/03/2024");
    EXPECT_EQ(CTQMa(3, 2024).Formata(), "03/2024");
    CTQDma d;
    ASSERT_TRUE(CTQDma::Le("29/02/2024", d));
    EXPECT_EQ(d, CTQDma(29, 2, 2024));
    for (const char* ruim : {"29/02/2023", "1/03/2024", "01-03-2024", "01/03/24", "01/03/2024 ",
                             "aa/bb/cccc", "00/01/2024", ""}) {
        CTQDma x(1, 1, 2000);
        EXPECT_FALSE(CTQDma::Le(ruim, x)) << ruim;
        EXPECT_EQ(x, CTQDma(1, 1, 2000)) << ruim;
    }
    CTQMa ma;
    EXPECT_TRUE(CTQMa::Le("12/2023", ma));
    EXPECT_EQ(ma, CTQMa(12, 2023));
    EXPECT_FALSE(CTQMa::Le("13/2023", ma));
    EXPECT_FALSE(CTQMa::Le("00/2023", ma));
    EXPECT_FALSE(CTQMa::Le(nullptr, ma));
}
