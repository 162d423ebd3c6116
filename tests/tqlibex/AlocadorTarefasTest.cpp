#include "tqlibex/com/AlocadorTarefas.h"

#include "servers/RegistrosGE.h"
#include "support/EspiaContadora.h"
#include "support/Tabela.h"

#include <ComApi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

using tq::teste::LeTabela;
using tq::teste::Linha;

namespace {

// "10,0,3*2": the numbers of a list, n*v meaning v n times.
std::vector<long long> Lista(const std::string& texto) {
    std::vector<long long> valores;
    std::stringstream fluxo(texto);
    std::string item;
    while (std::getline(fluxo, item, ',')) {
        const std::size_t x = item.find('*');
        const long long n = x == std::string::npos ? 1 : std::stoll(item.substr(0, x));
        const long long v = std::stoll(x == std::string::npos ? item : item.substr(x + 1));
        valores.insert(valores.end(), static_cast<std::size_t>(n), v);
    }
    return valores;
}

// The order blocks 0..n-1 are freed in.
std::vector<std::size_t> Ordem(const std::string& ordem, std::size_t n) {
    std::vector<std::size_t> indices;
    for (std::size_t i = 0; i < n; ++i)
        indices.push_back(i);
    if (ordem == "decrescente")
        std::reverse(indices.begin(), indices.end());
    else if (ordem == "alternada")
        std::stable_partition(indices.begin(), indices.end(),
                              [](std::size_t i) { return i % 2 == 0; });
    else
        EXPECT_EQ(ordem, "crescente");
    return indices;
}

} // namespace

// The spy sees the platform's real task allocator: ole32's on Windows, malloc on POSIX.
TEST(AlocadorTarefas, EspiaVeCadaBlocoUmaVez) {
    void* pAntes = CoTaskMemAlloc(4); // handed out before any spy watched
    {
        tq::teste::EspiaContadora espia;
        void* a = CoTaskMemAlloc(16);
        void* b = CoTaskMemAlloc(0);
        ASSERT_NE(a, nullptr);
        ASSERT_NE(b, nullptr) << "a zero-byte block is still a block";
        EXPECT_EQ(espia.Vivos(), 2u);
        EXPECT_EQ(espia.Bytes(), 16u);
        CoTaskMemFree(a);
        CoTaskMemFree(nullptr);
        EXPECT_EQ(espia.Vivos(), 1u);
        CoTaskMemFree(b);
        EXPECT_EQ(espia.Vivos(), 0u);
        EXPECT_EQ(espia.LiberacoesInvalidas(), 0u);
        CoTaskMemFree(pAntes);
        EXPECT_EQ(espia.LiberacoesInvalidas(), 1u) << "a block the spy never saw handed out";
    }
    tq::teste::EspiaContadora depois;
    void* c = CoTaskMemAlloc(8);
    {
        tq::teste::EspiaContadora interna; // the innermost scope sees, then gives way
        CoTaskMemFree(CoTaskMemAlloc(2));
        EXPECT_EQ(interna.Alocados(), 1u);
    }
    CoTaskMemFree(c);
    EXPECT_EQ(depois.Alocados(), 1u);
    EXPECT_EQ(depois.Vivos(), 0u);
}

// A server's count held to the block it came in, counts whose size in bytes wraps a 32-bit
// size_t among them (4 + 2^28 records of 16 bytes would need 64 bytes there).
TEST(AlocadorTarefas, ContagemPresaAoBloco) {
    struct Registro16 {
        char b[16];
    };
    auto* p = static_cast<Registro16*>(CoTaskMemAlloc(4 * sizeof(Registro16)));
    ASSERT_NE(p, nullptr);
    for (const auto& [n, noBloco] : {std::pair<ULONG, ULONG>{0, 0},
                                     {3, 3},
                                     {4, 4},
                                     {5, 4},
                                     {0x10000004u, 4},
                                     {0xFFFFFFFFu, 4}}) {
        EXPECT_EQ(tq::RegistrosNoBloco(p, n), noBloco) << n;
        EXPECT_EQ(tq::ArrayChegou(p, n), noBloco == n) << n;
    }
    EXPECT_TRUE(tq::ArrayChegou<Registro16>(nullptr, 0)) << "no records need no array";
    EXPECT_FALSE(tq::ArrayChegou<Registro16>(nullptr, 1));
#ifndef _WIN32
    // A pointer into the middle of a block is no block (Windows leaves GetSize undefined there).
    EXPECT_FALSE(tq::ArrayChegou(p + 1, 1));
#endif
    CoTaskMemFree(p);
}

// Each block cut in series is a block of its own: its size, its bytes (no other block's), the
// spy told of it once, and freed once in any order, before or after the series lets go; what the
// series shares between them goes when the last holder does (LeakSanitizer and AddressSanitizer
// watch the asan build).
TEST(AlocadorTarefas, BlocosEmSerie) {
    for (const Linha& l : LeTabela("blocos-em-serie.tsv")) {
        SCOPED_TRACE(l.Origem());
        tq::teste::EspiaContadora espia;
        std::vector<void*> blocos;
        std::vector<std::size_t> tamanhos;
        {
            const std::string modo = l.Texto("modo");
            auto serie = std::make_unique<tq::CBlocosEmSerie>(modo == "longe");
            bool bFaltou = false;
            std::vector<unsigned char> origem;
            for (long long cb : Lista(l.Texto("tamanhos"))) {
                const auto n = static_cast<std::size_t>(cb);
                const int byte = static_cast<int>((blocos.size() + 1) & 0xFF);
                void* p = nullptr;
                if (modo == "aloca") {
                    p = serie->Aloca(n);
                    if (p)
                        std::memset(p, byte, n);
                } else {
                    ASSERT_TRUE(modo == "copia" || modo == "longe") << modo;
                    if (cb >= 0)
                        origem.assign(n, static_cast<unsigned char>(byte));
                    p = serie->Copia(origem.data(), n);
                }
                if (!p) {
                    bFaltou = true;
                    break;
                }
                tamanhos.push_back(n);
                blocos.push_back(p);
            }
            EXPECT_EQ(!bFaltou, l.Bool("aloca"));
            std::size_t nBytes = 0;
            for (std::size_t i = 0; i < blocos.size(); ++i) {
                nBytes += tamanhos[i];
                EXPECT_EQ(tq::detail::TamanhoDoBlocoDeTarefa(blocos[i]), tamanhos[i]) << i;
#ifndef _WIN32
                if (tamanhos[i] >= 32) {
                    EXPECT_EQ(
                        tq::detail::TamanhoDoBlocoDeTarefa(static_cast<char*>(blocos[i]) + 16), 0u)
                        << "the middle of a block is no block";
                }
#endif
            }
            EXPECT_EQ(espia.Alocados(), blocos.size());
            EXPECT_EQ(espia.Bytes(), nBytes);
            if (l.Bool("serie_antes"))
                serie.reset(); // after it, even streaming stores are seen
            // Every block held has its own bytes, whatever was freed around it: all of them
            // once the series is in the state the row asks for, then a freed block's neighbours.
            std::vector<bool> vivo(blocos.size(), true);
            const auto confere = [&](std::size_t i) {
                if (i >= blocos.size() || !vivo[i])
                    return true;
                const auto* b = static_cast<const unsigned char*>(blocos[i]);
                return std::all_of(b, b + tamanhos[i],
                                   [&](unsigned char c) { return c == ((i + 1) & 0xFF); });
            };
            for (std::size_t i = 0; i < blocos.size(); ++i)
                ASSERT_TRUE(confere(i)) << "block " << i;
            for (std::size_t i : Ordem(l.Texto("ordem"), blocos.size())) {
                CoTaskMemFree(blocos[i]);
                vivo[i] = false;
                ASSERT_TRUE(confere(i - 1) && confere(i + 1)) << "beside block " << i;
            }
        }
        EXPECT_EQ(espia.Vivos(), 0u);
        EXPECT_EQ(espia.LiberacoesInvalidas(), 0u);
    }
}

// A server's records taken where they came: whatever the reader did, and whatever the answer
// claimed, every block is freed exactly once (the records the reader finished with, the rest
// when the holder goes, a refused answer on arrival), and no record is read past its block.
TEST(AlocadorTarefas, ApontamentosRecebidos) {
    for (const Linha& l : LeTabela("apontamentos-recebidos.tsv")) {
        SCOPED_TRACE(l.Origem());
        tq::teste::EspiaContadora espia;
        const std::vector<long long> itens = Lista(l.Texto("itens"));
        _REG_APONTAMENTO_PS* p = nullptr;
        if (!itens.empty()) {
            p = static_cast<_REG_APONTAMENTO_PS*>(
                CoTaskMemAlloc(itens.size() * sizeof(_REG_APONTAMENTO_PS)));
            ASSERT_NE(p, nullptr);
            std::memset(p, 0, itens.size() * sizeof(_REG_APONTAMENTO_PS));
        }
        for (std::size_t i = 0; i < itens.size(); ++i) {
            p[i].qtdItens = static_cast<ULONG>(itens[i]);
            if (itens[i] > 0)
                p[i].itens = static_cast<_REG_ITEM_APONTAMENTO_PS*>(CoTaskMemAlloc(
                    static_cast<std::size_t>(itens[i]) * sizeof(_REG_ITEM_APONTAMENTO_PS)));
        }
        if (l.I64("itens_a_mais_em") >= 0)
            ++p[l.I64("itens_a_mais_em")].qtdItens;
        const ULONG n = l.Texto("contagem").empty() ? static_cast<ULONG>(itens.size())
                                                    : static_cast<ULONG>(l.I64("contagem"));
        long long nChegaram = 0;
        {
            tq::CApontamentosRecebidos recebidos;
            ASSERT_EQ(recebidos.Recebe(p, n), l.Hr("recebe"));
            _REG_APONTAMENTO_PS* r = recebidos.begin();
            for (ULONG i = 0; i < recebidos.GetSize() && i < l.I64("lidos"); ++i) {
                if (!tq::CApontamentosRecebidos::ItensChegaram(r[i]))
                    break;
                ++nChegaram;
                recebidos.LiberaItens(r[i]);
            }
        }
        EXPECT_EQ(nChegaram, l.I64("chegaram"));
        EXPECT_EQ(espia.Vivos(), 0u);
        EXPECT_EQ(espia.LiberacoesInvalidas(), 0u);
    }
}
