#include "foundation/GeManipulaDatas.h"

#include "support/AmbienteRelogio.h"
#include "support/Tabela.h"

#include <gtest/gtest.h>

using tq::teste::Linha;

TEST(GeManipulaDatas, ConversaoDeHoras) {
    for (const Linha& l : tq::teste::LeTabela("horas.tsv")) {
        for (const bool bArredonda : {false, true}) {
            tagCY horas;
            horas.int64 = l.I64("entrada");
            const tagCY r =
                l.Texto("direcao") == "cs"
                    ? CGeManipulaDatas::ConverteHorasCentesimalParaSexagesimal(horas, bArredonda)
                    : CGeManipulaDatas::ConverteHorasSexagesimalParaCentesimal(horas, bArredonda);
            EXPECT_EQ(r.int64, l.I64(bArredonda ? "arredondado" : "sem_arredondar")) << l.Origem();
        }
    }
    for (const Linha& l : tq::teste::LeTabela("horas-curtas.tsv")) {
        const auto minutos = static_cast<unsigned short>(l.Int("minutos"));
        EXPECT_EQ(CGeManipulaDatas::ConverteHorasSexagesimalParaCentesimal(minutos), l.Int("hora"));
        EXPECT_EQ(CGeManipulaDatas::ConverteHoraCentesimalParaString(
                      static_cast<unsigned short>(l.Int("hora"))),
                  l.Texto("texto"));
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
