#include "tqlibex/base/UInt128.h"

#include <gtest/gtest.h>

#include <random>

using tq::detail::U128Portavel;

TEST(UInt128, ProdutoConhecido) {
    // (2^64 - 1)^2 = 2^128 - 2^65 + 1
    const U128Portavel p = U128Portavel::Mul64(UINT64_MAX, UINT64_MAX);
    EXPECT_EQ(p.Hi(), UINT64_MAX - 1);
    EXPECT_EQ(p.Lo(), 1u);
    const U128Portavel q = U128Portavel::Mul64(0x100000000ull, 0x100000000ull);
    EXPECT_EQ(q, U128Portavel(1, 0));
}

TEST(UInt128, DivisaoConhecida) {
    U128Portavel q, r;
    // 2^96 - 1 = 3 * 26409387504754779197847983445
    U128Portavel::DivMod(U128Portavel(0xFFFFFFFFull, UINT64_MAX), U128Portavel(3), q, r);
    EXPECT_EQ(r, U128Portavel(0));
    EXPECT_EQ(q.MulSmall(3), U128Portavel(0xFFFFFFFFull, UINT64_MAX));
    // A divisor wider than 64 bits takes the bit-serial path.
    U128Portavel::DivMod(U128Portavel(5, 7), U128Portavel(2, 0), q, r);
    EXPECT_EQ(q, U128Portavel(2));
    EXPECT_EQ(r, U128Portavel(1, 7));
    // A divisor with the top bit set: the shifted remainder carries out of 128 bits.
    U128Portavel::DivMod(U128Portavel(UINT64_MAX, UINT64_MAX), U128Portavel(1ull << 63, 1), q, r);
    EXPECT_EQ(q, U128Portavel(1));
    EXPECT_EQ(r, U128Portavel((1ull << 63) - 1, UINT64_MAX - 1));
}

#ifdef __SIZEOF_INT128__
// Where the compiler has 128-bit integers, the portable type must agree with them bit for bit.
TEST(UInt128, PortavelIgualAoNativo) {
    using N = tq::detail::U128Nativo;
    const auto igual = [](const U128Portavel& p, const N& n) {
        return p.Hi() == n.Hi() && p.Lo() == n.Lo();
    };
    std::mt19937_64 g(7);
    for (int i = 0; i < 50000; ++i) {
        const std::uint64_t a = g() >> (g() % 64), b = g() >> (g() % 64);
        const std::uint64_t c = g() >> (g() % 64), d = (g() >> (g() % 64)) | 1;
        const U128Portavel p = U128Portavel::Mul64(a, b);
        const N n = N::Mul64(a, b);
        ASSERT_TRUE(igual(p, n)) << a << " * " << b;
        ASSERT_TRUE(igual(p + U128Portavel(c, d), n + N(c, d)));
        ASSERT_TRUE(igual(p - U128Portavel(c, d), n - N(c, d)));
        ASSERT_EQ(p < U128Portavel(c, d), n < N(c, d));
        const std::uint32_t m = static_cast<std::uint32_t>(g());
        ASSERT_TRUE(igual(p.MulSmall(m), n.MulSmall(m)));
        const U128Portavel div(i % 3 ? 0 : c, d);
        U128Portavel q, r;
        U128Portavel::DivMod(p, div, q, r);
        N qn, rn;
        N::DivMod(n, N(div.Hi(), div.Lo()), qn, rn);
        ASSERT_TRUE(igual(q, qn) && igual(r, rn)) << i;
    }
}
#endif
