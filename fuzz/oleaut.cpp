// The portable OLE Automation currency and decimal functions, and the money value's binary
// operators over them, against a slow reference: the compiler's 128-bit integers where the exact
// value fits them, and long division over the decimal digits where it does not (a DECIMAL
// quotient at scale 28 of a dividend at scale 0 needs some 190 bits).
#include "Fuzz.h"

#include "foundation/GeCurrencyEx.h"
#include "tqlibex/money/OleAutMoeda.h"

using U = unsigned __int128;
const U k2a96 = U{1} << 96;

const auto Modulo = [](LONGLONG v) { return v < 0 ? U{0} - v : U(v); };
// n / d to the nearest whole number, a tie to the even one.
static U Arredonda(U q, U resto, U d) {
    return 2 * resto > d || (2 * resto == d && q % 2) ? q + 1 : q;
}
// floor(n * 10^k / d) by long division, one decimal digit after another; the remainder comes
// back in resto. A quotient past 2^100 is held there: only whether it reaches 2^96 matters then.
static U Quociente(U n, int k, U d, U& resto) {
    U q = n / d;
    for (resto = n % d; k-- > 0; resto = resto * 10 % d)
        q = std::min(q * 10 + resto * 10 / d, U{1} << 100);
    return q;
}
using Cy = std::pair<HRESULT, LONGLONG>; // the status, and the raw result when it succeeds
// n / d rounded, with a sign, as currency: raw -2^63 to 2^63 - 1, or the overflow.
static Cy ParaCy(bool bNeg, U n, U d = 1) {
    const U m = Arredonda(n / d, n % d, d);
    if (m > (bNeg ? U{1} << 63 : (U{1} << 63) - 1))
        return {DISP_E_OVERFLOW, 0};
    return {S_OK, static_cast<LONGLONG>(bNeg ? 0 - static_cast<ULONGLONG>(m) : ULONGLONG(m))};
}
const auto Soma = [](__int128 s) { return ParaCy(s < 0, s < 0 ? U(-s) : U(s)); };
const auto Mantissa = [](const DECIMAL& d) { return U{d.Hi32} << 64 | d.Lo64; };
const auto Valido = [](const DECIMAL& d) { return d.scale <= 28 && (d.sign | 0x80) == 0x80; };
static Cy CyDeDecimal(const DECIMAL& d) {
    if (!Valido(d))
        return {E_INVALIDARG, 0};
    U potencia = 1;
    for (int i = 0; i < d.scale; ++i)
        potencia *= 10;
    return ParaCy(d.sign != 0, Mantissa(d) * 10000, potencia);
}
static DECIMAL Decimal(int escala, bool bNeg, U m) {
    DECIMAL d;
    std::memset(&d, 0, sizeof d);
    d.scale = static_cast<BYTE>(escala), d.sign = bNeg ? DECIMAL_NEG : 0;
    d.Hi32 = static_cast<ULONG>(m >> 64), d.Lo64 = static_cast<ULONGLONG>(m);
    return d;
}
// The quotient at the first scale from max(0, s1 - s2) where it is exact, or at the last one up
// to 28 whose digits fit 96 bits; rounded half to even, and one scale less when the rounding
// itself reaches 2^96.
static HRESULT DivideDecimal(const DECIMAL& e, const DECIMAL& d, DECIMAL& q) {
    if (!Valido(e) || !Valido(d))
        return E_INVALIDARG;
    if (Mantissa(d) == 0)
        return DISP_E_DIVBYZERO;
    const int e0 = e.scale - d.scale;
    int escala = e0 < 0 ? 0 : e0;
    U resto, r2, q2, m = Quociente(Mantissa(e), escala - e0, Mantissa(d), resto);
    if (m >= k2a96)
        return DISP_E_OVERFLOW;
    while (resto != 0 && escala < 28 &&
           (q2 = Quociente(Mantissa(e), escala + 1 - e0, Mantissa(d), r2)) < k2a96)
        m = q2, resto = r2, ++escala;
    m = Arredonda(m, resto, Mantissa(d));
    if (m == k2a96) {
        if (escala-- == 0)
            return DISP_E_OVERFLOW;
        m = Quociente(Mantissa(e), escala - e0, Mantissa(d), resto);
        m = Arredonda(m, resto, Mantissa(d));
    }
    q = Decimal(escala, ((e.sign ^ d.sign) & DECIMAL_NEG) != 0, m);
    return S_OK;
}

constexpr LONGLONG kIntocado = 0x5A5A5A5A5A5A5A5ALL; // an output no failure may touch

static std::string Texto(const DECIMAL& d) {
    char t[64];
    std::snprintf(t, sizeof t, "s=%u;sign=0x%02X;m=0x%08X%016llX", d.scale, d.sign, d.Hi32, d.Lo64);
    return t;
}
static void Confere(const char* op, HRESULT hr, CY saida, Cy ref, const std::string& entradas) {
    TQ_CONFERE(hr == ref.first && saida.int64 == (FAILED(hr) ? kIntocado : ref.second),
               "%s %s: 0x%08X %lld, reference 0x%08X %lld", op, entradas.c_str(),
               static_cast<unsigned>(hr), saida.int64, static_cast<unsigned>(ref.first),
               ref.second);
}
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* dados, std::size_t tamanho) {
    FuzzedDataProvider in(dados, tamanho);
    const LONGLONG a = in.ConsumeIntegral<LONGLONG>(), b = in.ConsumeIntegral<LONGLONG>();
    const SHORT s = in.ConsumeIntegral<SHORT>();
    DECIMAL ds[2] = {}, q, qRef, da, db, &de = ds[0], &dd = ds[1];
    for (DECIMAL& d : ds) { // mostly valid: a scale up to 31, and for an even byte a plain sign
        in.ConsumeData(&d, sizeof d);
        d.scale %= 32;
        d.sign = d.sign & 1 ? d.sign : (d.sign & DECIMAL_NEG);
    }
    const std::string operandos = std::to_string(a) + " " + std::to_string(b);
    CY ca{.int64 = a}, cb{.int64 = b}, r;
    const bool bNeg = (a < 0) != (b < 0);
    const Cy refs[] = {
        Soma(__int128{a} + b), Soma(__int128{a} - b), ParaCy(bNeg, Modulo(a) * Modulo(b), 10000),
        b == 0 ? Cy{DISP_E_DIVBYZERO, 0} : ParaCy(bNeg, Modulo(a) * 10000, Modulo(b))};
    using Funcao = HRESULT (*)(CY, CY, LPCY);
    const Funcao funcoes[] = {tq::oleaut::VarCyAdd, tq::oleaut::VarCySub, tq::oleaut::VarCyMul,
                              tq::oleaut::CyDiv};
    const CGeCurrencyEx v(ca), operadores[] = {v + cb, v - cb, v * cb, v / cb};
    for (int i = 0; i < 4; ++i) {
        r.int64 = kIntocado;
        const HRESULT hr = funcoes[i](ca, cb, &r);
        Confere(&"+\0-\0*\0/"[2 * i], hr, r, refs[i], operandos);
        // The money value's operator gives the function's result, or 0 when it fails.
        TQ_CONFERE(operadores[i].GetAsCurrency().int64 == (SUCCEEDED(hr) ? r.int64 : 0),
                   "operator %c %s", "+-*/"[i], operandos.c_str());
    }
    r.int64 = kIntocado;
    const HRESULT hrDec = tq::oleaut::VarCyFromDec(&de, &r);
    Confere("cyfromdec", hrDec, r, CyDeDecimal(de), Texto(de));

    // Both outputs start alike, so that an output written on failure shows.
    std::memset(&q, 0x5A, sizeof q);
    std::memset(&qRef, 0x5A, sizeof qRef);
    const HRESULT hrDiv = tq::oleaut::VarDecDiv(&de, &dd, &q), hrRef = DivideDecimal(de, dd, qRef);
    TQ_CONFERE(hrDiv == hrRef && std::memcmp(&q, &qRef, sizeof q) == 0,
               "decdiv %s %s: 0x%08X %s, reference 0x%08X %s", Texto(de).c_str(), Texto(dd).c_str(),
               static_cast<unsigned>(hrDiv), Texto(q).c_str(), static_cast<unsigned>(hrRef),
               Texto(qRef).c_str());

    // Conversions into DECIMAL, and the division chain CyDiv stands for.
    TQ_CONFERE(tq::oleaut::VarDecFromI2(s, &da) == S_OK &&
                   std::memcmp(&da, &(qRef = Decimal(0, s < 0, Modulo(s))), sizeof da) == 0 &&
                   tq::oleaut::VarDecFromCy(ca, &da) == S_OK &&
                   std::memcmp(&da, &(qRef = Decimal(4, a < 0, Modulo(a))), sizeof da) == 0,
               "decfromi2 %d, decfromcy %lld", s, a);
    tq::oleaut::VarDecFromCy(cb, &db);
    r.int64 = kIntocado;
    HRESULT hrCadeia = tq::oleaut::VarDecDiv(&da, &db, &q);
    if (SUCCEEDED(hrCadeia))
        hrCadeia = tq::oleaut::VarCyFromDec(&q, &r);
    Confere("chain /", hrCadeia, r, refs[3], operandos);
    return 0;
}
