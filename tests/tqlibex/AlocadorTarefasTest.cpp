#include "tqlibex/com/AlocadorTarefas.h"

#include "support/EspiaContadora.h"

#include <ComApi.h>
#include <gtest/gtest.h>

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
