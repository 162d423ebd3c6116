#include "tqlibex/base/MapaPorChave.h"

#include "support/Tabela.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>
#include <string>
#include <unordered_map>
#include <vector>

using tq::teste::LeTabela;
using tq::teste::Linha;

// Month after month, the index answers as a reference map does: a code's value from its first
// insertion, null for a code the month did not name (last month's among them), its size the
// month's distinct codes, every entry visited once. Its table keeps twice the entries at least, and
// is emptied to the size the month just gone needed: never a large month's table after a small
// month.
TEST(MapaPorChave, MesesSeguidos) {
    for (const Linha& l : LeTabela("mapa-meses.tsv")) {
        SCOPED_TRACE(l.Origem());
        std::mt19937 gerador(static_cast<unsigned>(l.I64("semente")));
        tq::detail::CMapaPorChave<int> mapa;
        std::vector<ULONG> anteriores;
        std::stringstream meses(l.Texto("meses"));
        std::string mes;
        while (std::getline(meses, mes, ',')) {
            SCOPED_TRACE("month of " + mes);
            const std::size_t nCodigos = std::stoul(mes);
            // Distinct codes, spread over the 32-bit range, each named about four times.
            std::unordered_map<ULONG, int> referencia;
            std::vector<ULONG> codigos;
            while (codigos.size() < nCodigos) {
                const ULONG c = static_cast<ULONG>(gerador());
                if (referencia.emplace(c, -1).second)
                    codigos.push_back(c);
            }
            std::vector<ULONG> itens;
            for (int vez = 0; vez < 4; ++vez)
                itens.insert(itens.end(), codigos.begin(), codigos.end());
            std::shuffle(itens.begin(), itens.end(), gerador);
            int nInseridos = 0;
            for (ULONG c : itens) {
                bool bNovo;
                const int v = mapa.Obtem(c, nInseridos, bNovo);
                ASSERT_EQ(bNovo, referencia[c] == -1) << c;
                if (bNovo)
                    referencia[c] = nInseridos++;
                ASSERT_EQ(v, referencia[c]) << c;
            }
            EXPECT_EQ(mapa.Tamanho(), nCodigos);
            std::unordered_map<ULONG, int> visitados;
            mapa.ParaCada(
                [&](ULONG c, int v) { EXPECT_TRUE(visitados.emplace(c, v).second) << c; });
            EXPECT_EQ(visitados, referencia) << "every entry visited once, with its value";
            EXPECT_GE(mapa.Capacidade(), 2 * nCodigos);
            const auto& constante = mapa;
            for (ULONG c : codigos) {
                ASSERT_NE(mapa.Procura(c), nullptr) << c;
                ASSERT_EQ(*mapa.Procura(c), referencia[c]) << c;
                ASSERT_EQ(constante.Procura(c), mapa.Procura(c)) << c;
            }
            for (ULONG c : anteriores) {
                if (!referencia.count(c)) {
                    ASSERT_EQ(mapa.Procura(c), nullptr) << "last month's " << c;
                }
            }
            mapa.Limpa();
            EXPECT_EQ(mapa.Tamanho(), 0u);
            EXPECT_LE(mapa.Capacidade(), std::max<std::size_t>(16, 4 * (nCodigos + 1)));
            for (ULONG c : codigos)
                ASSERT_EQ(mapa.Procura(c), nullptr) << "emptied, yet " << c;
            anteriores = codigos;
        }
    }
}
