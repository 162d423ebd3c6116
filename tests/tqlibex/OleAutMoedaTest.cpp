// The OLE Automation currency functions: the shared reference vectors and our own ties and
// boundaries (tests/data), against the portable implementation everywhere and against the
// platform's functions (oleaut32 in the Windows build).
#include "support/VetoresOleAut.h"

#include "foundation/GeCurrencyEx.h"
#include "support/Tabela.h"
#include "tqlibex/base/UInt128.h"
#include "tqlibex/money/OleAutMoeda.h"
#include "tqlibex/system/Plataforma.h"

#include <MoedaPlataforma.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <random>

using namespace tq::teste;

namespace {

// A row listed as a wine difference must keep differing under wine: when it starts to agree,
// the list is stale and the test says so. Wine agrees with every reference row.
void ConfereTudo(const FuncoesOleAut& f, const char* arquivo, bool bPlataforma) {
    const bool bWine = bPlataforma && tq::RodandoSobWine();
    for (const Linha& v : LeTabela(arquivo)) {
        const Resultado r = Executa(f, v);
        if (bWine && v.Tem("wine_difere") && v.Bool("wine_difere"))
            EXPECT_FALSE(Confere(v, r)) << v.Origem() << ": listed as a wine difference but wine "
                                        << "now answers " << r.valor << "; take it off the list";
        else
            EXPECT_TRUE(Confere(v, r))
                << v.Origem() << ": got " << std::hex << r.hr << std::dec << " " << r.valor;
    }
}

class OleAutMoeda : public ::testing::TestWithParam<const char*> {};

} // namespace

TEST_P(OleAutMoeda, Portavel) {
    ConfereTudo(FuncoesPortaveis(), GetParam(), false);
}

TEST_P(OleAutMoeda, Plataforma) {
    ConfereTudo(FuncoesDaPlataforma(), GetParam(), true);
}

INSTANTIATE_TEST_SUITE_P(Vetores, OleAutMoeda,
                         ::testing::Values("oleaut-cy-vectors.tsv", "oleaut-casos-proprios.tsv"));

TEST(OleAutMoedaPortavel, ArgumentosRuinsDeixamASaida) {
    CY um, out;
    um.int64 = 10000;
    DECIMAL d{};
    EXPECT_EQ(tq::oleaut::VarCyAdd(um, um, nullptr), E_INVALIDARG);
    EXPECT_EQ(tq::oleaut::VarCyMul(um, um, nullptr), E_INVALIDARG);
    EXPECT_EQ(tq::oleaut::CyDiv(um, um, nullptr), E_INVALIDARG);
    EXPECT_EQ(tq::oleaut::VarDecFromCy(um, nullptr), E_INVALIDARG);
    EXPECT_EQ(tq::oleaut::VarCyFromDec(nullptr, &um), E_INVALIDARG);
    EXPECT_EQ(tq::oleaut::VarDecDiv(&d, nullptr, &d), E_INVALIDARG);
    // What Windows' VarDecDiv does with a malformed DECIMAL is not on record (wine computes on
    // regardless); the portable one refuses it, as VarCyFromDec does.
    for (const char* ruim : {"s=29;sign=0x00;m=1", "s=0;sign=0x01;m=1", "s=0;sign=0x7F;m=1"}) {
        DECIMAL a = LeDecimal(ruim), b = LeDecimal("s=0;sign=0x00;m=3"),
                q = LeDecimal("s=0;sign=0x00;m=7");
        EXPECT_EQ(tq::oleaut::VarDecDiv(&a, &b, &q), E_INVALIDARG) << ruim;
        EXPECT_EQ(tq::oleaut::VarDecDiv(&b, &a, &q), E_INVALIDARG) << ruim;
        EXPECT_EQ(EscreveDecimal(q), "s=0;sign=0x00;m=7") << "the output was touched";
    }
    CY max;
    max.int64 = INT64_MAX;
    out.int64 = 42;
    EXPECT_EQ(tq::oleaut::VarCyAdd(max, um, &out), DISP_E_OVERFLOW);
    EXPECT_EQ(out.int64, 42);
    um.int64 = 0;
    EXPECT_EQ(tq::oleaut::CyDiv(max, um, &out), DISP_E_DIVBYZERO);
    EXPECT_EQ(out.int64, 42);
}

namespace {

// The division chain the money value's division runs on Windows, over the portable set.
HRESULT CadeiaPortavel(CY a, CY b, CY* out) {
    DECIMAL da, db, dq;
    tq::oleaut::VarDecFromCy(a, &da);
    tq::oleaut::VarDecFromCy(b, &db);
    const HRESULT hr = tq::oleaut::VarDecDiv(&da, &db, &dq);
    return FAILED(hr) ? hr : tq::oleaut::VarCyFromDec(&dq, out);
}

void ConfereDivisao(LONGLONG a, LONGLONG b) {
    CY ca, cb, pelaCadeia, direto;
    ca.int64 = a;
    cb.int64 = b;
    pelaCadeia.int64 = direto.int64 = 0;
    const HRESULT hrCadeia = CadeiaPortavel(ca, cb, &pelaCadeia);
    ASSERT_EQ(hrCadeia, tq::oleaut::CyDiv(ca, cb, &direto)) << a << " / " << b;
    ASSERT_EQ(pelaCadeia.int64, direto.int64) << a << " / " << b;
}

} // namespace

// CyDiv replaces the three-step chain on POSIX: it must agree with it everywhere, ties and the
// ends of the range included.
TEST(OleAutMoedaPortavel, CyDivIgualACadeiaDecimal) {
    const std::vector<Linha> extremos = LeTabela("oleaut-divisao-extremos.tsv");
    for (const Linha& a : extremos)
        for (const Linha& b : extremos)
            ConfereDivisao(a.I64("raw"), b.I64("raw"));
    std::mt19937_64 gerador(20261122);
    const auto aleatorio = [&gerador] {
        // Mixed magnitudes: everyday amounts, 32-bit ones and the whole 64-bit range.
        const int bits = 1 + static_cast<int>(gerador() % 63);
        return static_cast<LONGLONG>(gerador() >> (64 - bits)) * (gerador() & 1 ? -1 : 1);
    };
    for (int i = 0; i < 20000; ++i) {
        ConfereDivisao(aleatorio(), aleatorio());
        // An exact tie: a/b = (2k+1)/2 units of 0.0001.
        const LONGLONG t = 1 + static_cast<LONGLONG>(gerador() % 100000);
        const LONGLONG k = static_cast<LONGLONG>(gerador() % 1000000);
        ConfereDivisao((2 * k + 1) * t, 20000 * t);
        ConfereDivisao(-(2 * k + 1) * t, 20000 * t);
    }
}

TEST(OleAutMoedaPortavel, DivisaoMoedaZeraNaFalha) {
    CY a, b, out;
    a.int64 = 70000;
    b.int64 = 20000;
    out.int64 = 99;
    tq::detail::DivisaoMoeda(a, b, out);
    EXPECT_EQ(out.int64, 35000);
    b.int64 = 0;
    tq::detail::DivisaoMoeda(a, b, out);
    EXPECT_EQ(out.int64, 0);
    a.int64 = INT64_MAX;
    b.int64 = 1; // 922337203685477.5807 / 0.0001 does not fit
    out.int64 = 99;
    tq::detail::DivisaoMoeda(a, b, out);
    EXPECT_EQ(out.int64, 0);
}

namespace {

// The exact currency product by another road: the magnitudes' 128-bit product divided by 10^4
// bit by bit (the portable 128-bit type, which tests hold to the compiler's), the quotient taken
// up when twice the remainder passes 10^4 or equals it with the quotient odd, then held to the
// currency range.
HRESULT ProdutoExato(LONGLONG a, LONGLONG b, LONGLONG& r) {
    using tq::detail::U128Portavel;
    const auto modulo = [](LONGLONG v) {
        return v < 0 ? 0 - static_cast<unsigned long long>(v) : static_cast<unsigned long long>(v);
    };
    const bool bNegativo = (a < 0) != (b < 0);
    U128Portavel q, resto;
    U128Portavel::DivMod(U128Portavel::Mul64(modulo(a), modulo(b)), U128Portavel(10000), q, resto);
    if (resto.Lo() * 2 > 10000 || (resto.Lo() * 2 == 10000 && q.IsOdd()))
        q = q + U128Portavel(1);
    if (q.Hi() != 0 || q.Lo() > (bNegativo ? 1ull << 63 : (1ull << 63) - 1))
        return DISP_E_OVERFLOW;
    r = static_cast<LONGLONG>(bNegativo ? 0 - q.Lo() : q.Lo());
    return S_OK;
}

// VarCyMul against the reference: the status, the result, and an output left alone on failure;
// on POSIX the money value's product is that result too (0 on failure).
void ConfereProduto(LONGLONG a, LONGLONG b) {
    constexpr LONGLONG kIntocado = 0x5A5A5A5A5A5A5A5ALL;
    LONGLONG esperado = kIntocado;
    const HRESULT hrEsperado = ProdutoExato(a, b, esperado);
    CY ca, cb, r;
    ca.int64 = a;
    cb.int64 = b;
    r.int64 = kIntocado;
    ASSERT_EQ(tq::oleaut::VarCyMul(ca, cb, &r), hrEsperado) << a << " * " << b;
    ASSERT_EQ(r.int64, esperado) << a << " * " << b;
#ifndef _WIN32
    ASSERT_EQ((CGeCurrencyEx(ca) * cb).GetAsCurrency().int64, SUCCEEDED(hrEsperado) ? esperado : 0)
        << a << " * " << b;
#endif
}

} // namespace

// The product's quick path for everyday amounts must give exactly what the exact product rounded
// half to even gives: every pair of small operands, every remainder of 10^4 on both sides of
// each edge where the computation changes course, and pseudo-random operands of every magnitude.
TEST(OleAutMoedaPortavel, VarCyMulIgualAoProdutoExato) {
    for (LONGLONG a = -1000; a <= 1000; ++a)
        for (LONGLONG b = -1000; b <= 1000; ++b)
            ConfereProduto(a, b);
    for (const Linha& l : LeTabela("oleaut-multiplicacao-extremos.tsv")) {
        SCOPED_TRACE(l.Origem());
        const LONGLONG a = l.I64("a"), b = l.I64("b");
        for (LONGLONG i = 0; i < 10000; ++i) {
            ConfereProduto(a + i, b);
            ConfereProduto(a + i, -b);
            ConfereProduto(b, a + i);
        }
    }
    std::mt19937_64 gerador(20261123);
    const auto aleatorio = [&gerador] {
        const int bits = 1 + static_cast<int>(gerador() % 63);
        return static_cast<LONGLONG>(gerador() >> (64 - bits)) * (gerador() & 1 ? -1 : 1);
    };
    for (int i = 0; i < 200000; ++i)
        ConfereProduto(aleatorio(), aleatorio());
}
