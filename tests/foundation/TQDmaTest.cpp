#include "foundation/TQDma.h"

#include "support/Tabela.h"

#include <gtest/gtest.h>

#include <string>

using tq::teste::Linha;

TEST(TQDma, FormasCompactadasEValidade) {
    EXPECT_EQ(CTQDma(15, 3, 2024).GetCompactado(), 0x07E8030Fu);
    EXPECT_EQ(CTQMa(3, 2024).GetCompactado(), 0x7E83u);
    const CTQDma d = CTQDma::DeCompactado(0x07E8030F);
    EXPECT_EQ(d.Formata(), "15/03/2024");
    EXPECT_EQ(d.GetMa(), CTQMa(3, 2024));
    EXPECT_EQ(CTQMa::DeCompactado(0x7E83).Formata(), "03/2024");
    EXPECT_TRUE(CTQDma().IsEmpty());
    EXPECT_TRUE(CTQMa().IsEmpty());
    // The packed numbers order as the calendar does.
    EXPECT_LT(CTQDma(31, 12, 2023), CTQDma(1, 1, 2024));
    EXPECT_LT(CTQDma(30, 1, 2024), CTQDma(1, 2, 2024));
    EXPECT_LT(CTQMa(12, 2023), CTQMa(1, 2024));

    EXPECT_TRUE(CTQDma(29, 2, 2000).IsValida());
    EXPECT_FALSE(CTQDma(29, 2, 1900).IsValida());
    EXPECT_FALSE(CTQDma(31, 4, 2024).IsValida());
    EXPECT_FALSE(CTQDma().IsValida());
    EXPECT_EQ(CTQDma(10, 2, 2024).UltimoDiaDoMes(), 29);
    EXPECT_TRUE(CTQDma(30, 4, 2024).EhUltimoDiaDoMes());
    EXPECT_EQ(CTQDma(15, 3, 2024).DiaDaSemana(), 5); // Friday
    EXPECT_EQ(CTQMa(2, 2023).UltimoDiaDoMes(), 28);
    EXPECT_EQ(CTQDma(1, 1, 2025).DiasDesde(CTQDma(1, 1, 2024)), 366);
    EXPECT_EQ(CTQDma(1, 1, 2024).DiasDesde(CTQDma(1, 1, 2025)), -366);
    // A part too large for its field never becomes another date.
    EXPECT_TRUE(CTQDma(261, 1, 2024).IsEmpty());
    EXPECT_TRUE(CTQDma(1, 257, 2024).IsEmpty());
    EXPECT_TRUE(CTQDma(1, 1, 65536).IsEmpty());
    EXPECT_TRUE(CTQMa(17, 2024).IsEmpty());
    EXPECT_TRUE(CTQMa(1, 4096).IsEmpty());
    EXPECT_TRUE(CTQMa(1, -1).IsEmpty());
    CTQDma invalida(31, 2, 2024);
    EXPECT_EQ(invalida.SomaMeses(1).GetCompactado(), CTQDma(31, 2, 2024).GetCompactado());
}

TEST(TQDma, SomaDiasMesesEAnos) {
    for (const Linha& l : tq::teste::LeTabela("datas-soma.tsv")) {
        const std::string de = l.Texto("de"), soma = l.Texto("soma");
        std::string para;
        if (de.size() == 7) {
            CTQMa ma;
            ASSERT_TRUE(CTQMa::Le(de.c_str(), ma)) << l.Origem();
            para = ma.SomaMeses(l.Int("n")).Formata().str();
        } else {
            CTQDma d;
            ASSERT_TRUE(CTQDma::Le(de.c_str(), d)) << l.Origem();
            para = (soma == "dias"    ? d.SomaDias(l.Int("n"))
                    : soma == "meses" ? d.SomaMeses(l.Int("n"))
                                      : d.SomaAnos(l.Int("n")))
                       .Formata()
                       .str();
        }
        EXPECT_EQ(para, l.Texto("para")) << l.Origem();
    }
}

// A text read gives the date it names; a refused text leaves the value as it was.
TEST(TQDma, Texto) {
    for (const Linha& l : tq::teste::LeTabela("datas-texto.tsv")) {
        const std::string texto = l.Texto("texto");
        CTQDma d(1, 1, 2000);
        CTQMa ma(1, 2000);
        const bool bLido =
            texto.size() == 7 ? CTQMa::Le(texto.c_str(), ma) : CTQDma::Le(texto.c_str(), d);
        EXPECT_EQ(bLido, l.Bool("valido")) << l.Origem();
        const std::string volta = texto.size() == 7 ? ma.Formata().str() : d.Formata().str();
        EXPECT_EQ(volta, bLido               ? texto
                         : texto.size() == 7 ? "01/2000"
                                             : "01/01/2000")
            << l.Origem();
    }
    CTQMa ma;
    EXPECT_FALSE(CTQMa::Le(nullptr, ma));
}
