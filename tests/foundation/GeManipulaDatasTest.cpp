#include "foundation/GeManipulaDatas.h"

#include "support/AmbienteRelogio.h"

#include <gtest/gtest.h>

namespace {
tagCY Cy(LONGLONG raw) {
    tagCY cy;
    cy.int64 = raw;
    return cy;
}
} // namespace

// The worked table of hour conversions, raw four-decimal values.
TEST(GeManipulaDatas, ConversaoDeHoras) {
    enum Direcao { CentParaSex, SexParaCent };
    struct Caso {
        LONGLONG entrada;
        Direcao direcao;
        LONGLONG semArredondar, arredondado;
    };
    const Caso casos[] = {
        {15000, CentParaSex, 13000, 13000},    {13333, CentParaSex, 11980, 12000},
        {10100, CentParaSex, 10060, 10100},    {17599, CentParaSex, 14500, 14500},
        {13000, SexParaCent, 15000, 15000},    {12000, SexParaCent, 13333, 13300},
        {10100, SexParaCent, 10166, 10200},    {-13000, SexParaCent, -15000, -14900},
        {-15000, CentParaSex, -13000, -12900}, {0, CentParaSex, 0, 0},
        {10000, SexParaCent, 10000, 10000},
    };
    for (const Caso& c : casos) {
        for (const bool bArredonda : {false, true}) {
            const tagCY r = c.direcao == CentParaSex
                                ? CGeManipulaDatas::ConverteHorasCentesimalParaSexagesimal(
                                      Cy(c.entrada), bArredonda)
                                : CGeManipulaDatas::ConverteHorasSexagesimalParaCentesimal(
                                      Cy(c.entrada), bArredonda);
            EXPECT_EQ(r.int64, bArredonda ? c.arredondado : c.semArredondar)
                << c.entrada << (c.direcao == CentParaSex ? " cent->sex" : " sex->cent")
                << (bArredonda ? " rounded" : "");
        }
    }
}

TEST(GeManipulaDatas, MinutosEHorasCurtas) {
    const struct {
        unsigned short minutos, hora;
        const char* texto;
    } casos[] = {{0, 0, "00:00"},    {5, 5, "00:05"},      {60, 100, "01:00"},
                 {90, 130, "01:30"}, {845, 1405, "14:05"}, {1439, 2359, "23:59"}};
    for (const auto& c : casos) {
        EXPECT_EQ(CGeManipulaDatas::ConverteHorasSexagesimalParaCentesimal(c.minutos), c.hora)
            << c.minutos;
        EXPECT_STREQ(CGeManipulaDatas::ConverteHoraCentesimalParaString(c.hora), c.texto);
    }
}

class GeManipulaDatasRelogio : public tq::teste::AmbienteRelogio {};

TEST_F(GeManipulaDatasRelogio, DataEHoraDoRelogioDeslocado) {
    relogio.Define(tq::teste::Momento(15, 3, 2024, 14, 5, 59), 180);
    EXPECT_EQ(CGeManipulaDatas::PegaDataAtual(), CTQDma(15, 3, 2024));
    EXPECT_EQ(CGeManipulaDatas::GetHoraAtualComoCentesimal(), 1405);
    EXPECT_STREQ(CGeManipulaDatas::GetHoraAtualComoString(), "14:05");

    tq::detail::EsqueceConfiguracaoDoRelogio();
    DefineRelogio("1;01/01/2020;08:00:00:0000;15/03/2024;14:00:00:0000");
    EXPECT_EQ(CGeManipulaDatas::PegaDataAtual(), CTQDma(1, 1, 2020));
    EXPECT_STREQ(CGeManipulaDatas::GetHoraAtualComoString(), "08:05");
}
