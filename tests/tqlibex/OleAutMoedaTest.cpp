// The OLE Automation currency functions: the shared reference vectors and our own ties and
// boundaries, against the portable implementation everywhere and against the platform's
// functions (oleaut32 in the Windows build).
#include "support/VetoresOleAut.h"

#include "tqlibex/OleAutMoeda.h"
#include "tqlibex/Plataforma.h"

#include <MoedaPlataforma.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <random>

using namespace tq::teste;

namespace {

constexpr const char* kMax = "9223372036854775807";
constexpr const char* kMin = "-9223372036854775808";
constexpr const char* kM96 = "79228162514264337593543950335"; // 2^96 - 1
constexpr HRESULT kOk = S_OK;

// A case of our own; bWineDifere marks the rows where wine's oleaut32 (which goes through
// doubles) is known to answer otherwise than Windows. Such a row must keep differing under wine:
// when it starts to agree, the list is stale and the test says so.
struct Caso {
    VetorOleAut v;
    bool bWineDifere;
};

std::string Dec(int s, int sinal, const char* m) {
    return "s=" + std::to_string(s) + ";sign=0x" + (sinal ? "80" : "00") + ";m=" + m;
}

const std::vector<Caso>& CasosProprios() {
    static const std::vector<Caso> casos = {
        // Multiply: ties go to the even neighbour, on both signs.
        {{"mul", "1", "5000", kOk, "0", "0.0001 x 0.5: tie to 0"}, true},
        {{"mul", "3", "5000", kOk, "2", "0.0003 x 0.5: tie up to even"}, true},
        {{"mul", "5", "5000", kOk, "2", "0.0005 x 0.5: tie down to even"}, true},
        {{"mul", "7", "5000", kOk, "4", "0.0007 x 0.5: tie up to even"}, true},
        {{"mul", "-1", "5000", kOk, "0", "negative tie to 0"}, true},
        {{"mul", "-3", "5000", kOk, "-2", "negative tie to even"}, true},
        {{"mul", "-5", "-5000", kOk, "2", "two negatives"}, true},
        {{"mul", "12345", "5000", kOk, "6172", "1.2345 x 0.5"}, false},
        {{"mul", "3", "3333", kOk, "1", "below a tie rounds to nearest"}, false},
        {{"mul", "922337203685477", "10000", kOk, "922337203685477", "x 1 at the 64-bit edge"},
         false},
        {{"mul", kMax, "10000", kOk, kMax, "max x 1: product beyond 64 bits"}, true},
        {{"mul", kMin, "10000", kOk, kMin, "min x 1"}, true},
        {{"mul", kMin, "-10000", DISP_E_OVERFLOW, "-", "min x -1 overflows"}, false},
        {{"mul", "4611686018427387904", "20000", DISP_E_OVERFLOW, "-", "2^62 x 2"}, false},
        {{"mul", "4611686018427387905", "5000", kOk, "2305843009213693952", "huge tie"}, true},
        {{"mul", "4611686018427387907", "5000", kOk, "2305843009213693954", "huge tie up"}, true},
        {{"mul", "9007199254740993", "10000", kOk, "9007199254740993", "2^53 + 1 x 1"}, true},
        {{"mul", "-9223372036854775807", "5000", kOk, "-4611686018427387904", "-max x 0.5"}, true},
        // Add and subtract: exact, and the range ends exactly at -2^63 and 2^63 - 1.
        {{"add", kMax, "1", DISP_E_OVERFLOW, "-", "max + raw 1"}, false},
        {{"add", kMin, "-1", DISP_E_OVERFLOW, "-", "min - raw 1"}, false},
        {{"add", "-1", "-9223372036854775807", kOk, kMin, "reaches min"}, true},
        {{"sub", kMin, "1", DISP_E_OVERFLOW, "-", "min - 1"}, false},
        {{"sub", "-1", kMax, kOk, kMin, "-1 - max"}, true},
        {{"sub", "0", kMin, DISP_E_OVERFLOW, "-", "0 - min"}, false},
        {{"sub", kMax, kMax, kOk, "0", "max - max"}, false},
        {{"add", "9007199254740993", "0", kOk, "9007199254740993", "2^53 + 1 + 0"}, true},
        // Decimal to currency: half-to-even on the digit dropped, remembering the rest.
        {{"cyfromdec", Dec(5, 0, "5"), "-", kOk, "0", "0.00005"}, true},
        {{"cyfromdec", Dec(5, 0, "15"), "-", kOk, "2", "0.00015"}, false},
        {{"cyfromdec", Dec(5, 0, "25"), "-", kOk, "2", "0.00025"}, true},
        {{"cyfromdec", Dec(5, 0, "35"), "-", kOk, "4", "0.00035"}, false},
        {{"cyfromdec", Dec(5, 1, "15"), "-", kOk, "-2", "-0.00015"}, false},
        {{"cyfromdec", Dec(6, 0, "50"), "-", kOk, "0", "0.000050"}, true},
        {{"cyfromdec", Dec(6, 0, "51"), "-", kOk, "1", "0.000051: above the tie"}, false},
        {{"cyfromdec", Dec(6, 0, "150"), "-", kOk, "2", "0.000150"}, false},
        {{"cyfromdec", Dec(28, 0, "500000000000000000000000"), "-", kOk, "0", "tie at scale 28"},
         true},
        {{"cyfromdec", Dec(28, 0, "500000000000000000000001"), "-", kOk, "1", "tie + 10^-28"},
         false},
        {{"cyfromdec", Dec(28, 0, kM96), "-", kOk, "79228", "96-bit mantissa at scale 28"}, true},
        {{"cyfromdec", Dec(0, 0, kM96), "-", DISP_E_OVERFLOW, "-", "96-bit integer"}, false},
        {{"cyfromdec", Dec(4, 0, kMax), "-", kOk, kMax, "max"}, true},
        {{"cyfromdec", Dec(4, 1, "9223372036854775808"), "-", kOk, kMin, "min"}, true},
        {{"cyfromdec", Dec(4, 0, "9223372036854775808"), "-", DISP_E_OVERFLOW, "-", "2^63"}, false},
        {{"cyfromdec", Dec(5, 1, "92233720368547758075"), "-", kOk, kMin, "tie onto min"}, true},
        {{"cyfromdec", Dec(5, 0, "92233720368547758075"), "-", DISP_E_OVERFLOW, "-",
          "tie past max"},
         true},
        {{"cyfromdec", Dec(0, 1, "0"), "-", kOk, "0", "negative zero"}, false},
        // Currency to decimal at the ends of the range.
        {{"decfromcy", kMin, "-", kOk, Dec(4, 1, "9223372036854775808"), "min to decimal"}, false},
        {{"decfromcy", kMax, "-", kOk, Dec(4, 0, kMax), "max to decimal"}, false},
        // Decimal division: exact quotients stop early, inexact ones fill 28 decimals or 96 bits.
        {{"decdiv", Dec(0, 0, "1"), Dec(0, 0, "8"), kOk, Dec(3, 0, "125"), "1/8 exact"}, false},
        {{"decdiv", Dec(0, 0, "1"), Dec(0, 0, "7"), kOk, Dec(28, 0, "1428571428571428571428571429"),
          "1/7"},
         false},
        {{"decdiv", Dec(0, 0, "5"), Dec(0, 0, "2"), kOk, Dec(1, 0, "25"), "5/2"}, false},
        {{"decdiv", Dec(0, 0, "10"), Dec(0, 0, "4"), kOk, Dec(1, 0, "25"), "10/4"}, false},
        {{"decdiv", Dec(0, 0, kM96), Dec(0, 0, "1"), kOk, Dec(0, 0, kM96), "max/1"}, false},
        {{"decdiv", Dec(0, 0, kM96), Dec(1, 0, "1"), DISP_E_OVERFLOW, "-", "max/0.1"}, false},
        {{"decdiv", Dec(0, 0, kM96), Dec(0, 0, "3"), kOk,
          Dec(0, 0, "26409387504754779197847983445"), "max/3"},
         false},
        {{"decdiv", Dec(0, 0, kM96), Dec(0, 0, "2"), kOk,
          Dec(0, 0, "39614081257132168796771975168"), "max/2: tie, no room for a digit"},
         true},
        {{"decdiv", Dec(0, 0, "1"), Dec(0, 0, kM96), kOk, Dec(28, 0, "0"), "1/max underflows to 0"},
         false},
        // m = (7 * 2^96 - 2) / 10, so 10m/7 = 2^96 - 1 + 5/7: rounding carries into a 97th bit.
        {{"decdiv", Dec(1, 0, "55459713759985036315480765235"), Dec(0, 0, "7"), kOk,
          Dec(1, 0, "7922816251426433759354395034"), "rounding carry gives up a digit"},
         true},
        {{"decdiv", Dec(0, 0, "55459713759985036315480765235"), Dec(1, 0, "7"), DISP_E_OVERFLOW,
          "-", "rounding carry at scale 0 overflows"},
         true},
        {{"decdiv", Dec(28, 0, "1"), Dec(0, 0, "2"), kOk, Dec(28, 0, "0"), "tie at scale 28 to 0"},
         true},
        {{"decdiv", Dec(28, 0, "3"), Dec(0, 0, "2"), kOk, Dec(28, 0, "2"), "tie at scale 28 up"},
         false},
        {{"decdiv", Dec(28, 0, "5"), Dec(0, 0, "2"), kOk, Dec(28, 0, "2"), "tie at scale 28 down"},
         true},
        {{"decdiv", Dec(0, 0, "1"), Dec(28, 0, "1"), kOk,
          Dec(0, 0, "10000000000000000000000000000"), "scale -28"},
         false},
        {{"decdiv", Dec(0, 0, "8"), Dec(28, 0, "1"), DISP_E_OVERFLOW, "-", "scale -28 overflows"},
         false},
        {{"decdiv", Dec(0, 1, "1"), Dec(0, 0, "3"), kOk, Dec(28, 1, "3333333333333333333333333333"),
          "-1/3"},
         false},
    };
    return casos;
}

void ConfereTudo(const FuncoesOleAut& f, const std::vector<VetorOleAut>& linhas) {
    for (const VetorOleAut& v : linhas) {
        const Resultado r = Executa(f, v);
        EXPECT_TRUE(Confere(v, r)) << v.origem << ": " << v.op << " " << v.esquerdo << " "
                                   << v.direito << " expected " << std::hex << v.hr << " "
                                   << v.esperado << ", got " << r.hr << std::dec << " " << r.valor;
    }
}

std::vector<VetorOleAut> SoOsVetores(const std::vector<Caso>& casos) {
    std::vector<VetorOleAut> v;
    for (const Caso& c : casos)
        v.push_back(c.v);
    return v;
}

} // namespace

TEST(OleAutMoeda, VetoresDeReferenciaPortavel) {
    const auto linhas = LeVetoresDeReferencia();
    ASSERT_GT(linhas.size(), 60u);
    ConfereTudo(FuncoesPortaveis(), linhas);
}

// Wine's oleaut32 agrees with every reference row, so no row of that file is exempt here.
TEST(OleAutMoeda, VetoresDeReferenciaPlataforma) {
    ConfereTudo(FuncoesDaPlataforma(), LeVetoresDeReferencia());
}

TEST(OleAutMoeda, CasosPropriosPortavel) {
    ConfereTudo(FuncoesPortaveis(), SoOsVetores(CasosProprios()));
}

TEST(OleAutMoeda, CasosPropriosPlataforma) {
    const bool bWine = tq::RodandoSobWine();
    for (const Caso& c : CasosProprios()) {
        const Resultado r = Executa(FuncoesDaPlataforma(), c.v);
        if (bWine && c.bWineDifere)
            EXPECT_FALSE(Confere(c.v, r))
                << c.v.origem << ": listed as a wine difference but wine now answers " << r.valor
                << "; take it off the list";
        else
            EXPECT_TRUE(Confere(c.v, r))
                << c.v.origem << ": " << c.v.op << " " << c.v.esquerdo << " " << c.v.direito
                << " expected " << c.v.esperado << ", got " << std::hex << r.hr << std::dec << " "
                << r.valor;
    }
}

TEST(OleAutMoeda, ArgumentosNulos) {
    CY um;
    um.int64 = 10000;
    DECIMAL d{};
    EXPECT_EQ(tq::oleaut::VarCyAdd(um, um, nullptr), E_INVALIDARG);
    EXPECT_EQ(tq::oleaut::VarCyMul(um, um, nullptr), E_INVALIDARG);
    EXPECT_EQ(tq::oleaut::CyDiv(um, um, nullptr), E_INVALIDARG);
    EXPECT_EQ(tq::oleaut::VarDecFromCy(um, nullptr), E_INVALIDARG);
    EXPECT_EQ(tq::oleaut::VarCyFromDec(nullptr, &um), E_INVALIDARG);
    EXPECT_EQ(tq::oleaut::VarDecDiv(&d, nullptr, &d), E_INVALIDARG);
}

// What Windows' VarDecDiv does with a malformed DECIMAL is not on record (wine computes on
// regardless); the portable one refuses it, as VarCyFromDec does.
TEST(OleAutMoeda, DecimalMalformadoRecusado) {
    for (const char* ruim : {"s=29;sign=0x00;m=1", "s=0;sign=0x01;m=1", "s=0;sign=0x7F;m=1"}) {
        DECIMAL a = LeDecimal(ruim), b = LeDecimal("s=0;sign=0x00;m=3"),
                q = LeDecimal("s=0;sign=0x00;m=7");
        EXPECT_EQ(tq::oleaut::VarDecDiv(&a, &b, &q), E_INVALIDARG) << ruim;
        EXPECT_EQ(tq::oleaut::VarDecDiv(&b, &a, &q), E_INVALIDARG) << ruim;
        EXPECT_EQ(EscreveDecimal(q), "s=0;sign=0x00;m=7") << "the output was touched";
    }
}

TEST(OleAutMoeda, SaidaIntactaNaFalha) {
    CY a, b, out;
    a.int64 = INT64_MAX;
    b.int64 = 1;
    out.int64 = 42;
    EXPECT_EQ(tq::oleaut::VarCyAdd(a, b, &out), DISP_E_OVERFLOW);
    EXPECT_EQ(out.int64, 42);
    b.int64 = 0;
    EXPECT_EQ(tq::oleaut::CyDiv(a, b, &out), DISP_E_DIVBYZERO);
    EXPECT_EQ(out.int64, 42);
}

namespace {

// The division chain as the money value's division runs it on Windows, over the portable set.
HRESULT CadeiaPortavel(CY a, CY b, CY* out) {
    DECIMAL da, db, dq;
    tq::oleaut::VarDecFromI2(0, &da);
    tq::oleaut::VarDecFromI2(0, &db);
    tq::oleaut::VarDecFromI2(0, &dq);
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
    const HRESULT hrDireto = tq::oleaut::CyDiv(ca, cb, &direto);
    ASSERT_EQ(hrCadeia, hrDireto) << a << " / " << b;
    ASSERT_EQ(pelaCadeia.int64, direto.int64) << a << " / " << b;
}

} // namespace

// CyDiv replaces the three-step chain on POSIX: it must agree with it everywhere, ties and the
// ends of the range included.
TEST(OleAutMoeda, CyDivIgualACadeiaDecimal) {
    std::mt19937_64 gerador(20261122);
    const LONGLONG extremos[] = {0,
                                 1,
                                 -1,
                                 2,
                                 3,
                                 5000,
                                 9999,
                                 10000,
                                 10001,
                                 -10000,
                                 3333,
                                 INT64_MAX,
                                 INT64_MIN,
                                 INT64_MAX - 1,
                                 INT64_MIN + 1,
                                 922337203685477,
                                 922337203685478,
                                 1844674407370955,
                                 1844674407370956,
                                 4294967296,
                                 -4294967295};
    for (LONGLONG a : extremos)
        for (LONGLONG b : extremos)
            ConfereDivisao(a, b);
    for (int i = 0; i < 20000; ++i) {
        // Mixed magnitudes: everyday amounts, 32-bit ones and the whole 64-bit range.
        const int bitsA = 1 + static_cast<int>(gerador() % 63),
                  bitsB = 1 + static_cast<int>(gerador() % 63);
        const LONGLONG a =
            static_cast<LONGLONG>(gerador() >> (64 - bitsA)) * (gerador() & 1 ? -1 : 1);
        const LONGLONG b =
            static_cast<LONGLONG>(gerador() >> (64 - bitsB)) * (gerador() & 1 ? -1 : 1);
        ConfereDivisao(a, b);
        // An exact tie: a/b = (2k+1)/2 units of 0.0001.
        const LONGLONG t = 1 + static_cast<LONGLONG>(gerador() % 100000);
        const LONGLONG k = static_cast<LONGLONG>(gerador() % 1000000);
        ConfereDivisao((2 * k + 1) * t, 20000 * t);
        ConfereDivisao(-(2 * k + 1) * t, 20000 * t);
    }
}

TEST(OleAutMoeda, DivisaoMoedaZeraNaFalha) {
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
