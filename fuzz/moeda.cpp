// The money value's rescaling and printing over any raw value and any count of decimals: no
// crash anywhere, and against plain references where the behaviour is a rule (up to nine digits
// rescaled; every count for the printing).
#include "Fuzz.h"

#include "foundation/GeCurrencyEx.h"

// Rescaling by k digits (|k| <= 9): more decimals multiply, fewer divide toward zero after
// adding 5, 55, 555, ... when rounding; the 64-bit arithmetic wraps.
static LONGLONG RefConverte(LONGLONG v, long long k, bool bArredonda) {
    unsigned long long potencia = 1, adendo = 0;
    for (long long i = 0; i < (k < 0 ? -k : k); ++i)
        potencia *= 10, adendo = adendo * 10 + 5;
    if (k >= 0)
        return static_cast<LONGLONG>(static_cast<unsigned long long>(v) * potencia);
    if (bArredonda)
        v = static_cast<LONGLONG>(static_cast<unsigned long long>(v) + adendo);
    return v / static_cast<LONGLONG>(potencia);
}

// Four decimals always: "." every three digits of the whole part, "," and the first decimals
// (zeros past the fourth, eight at most).
static std::string RefFormata(LONGLONG v, int nDecimais) {
    std::string d = std::to_string(v < 0 ? 0 - static_cast<unsigned long long>(v)
                                         : static_cast<unsigned long long>(v));
    d.insert(0, d.size() < 5 ? 5 - d.size() : 0, '0');
    const std::string inteiro = d.substr(0, d.size() - 4);
    std::string texto = v < 0 ? "-" : "";
    for (std::size_t i = 0; i < inteiro.size(); ++i)
        texto += (i > 0 && (inteiro.size() - i) % 3 == 0 ? "." : "") + inteiro.substr(i, 1);
    if (nDecimais > 0)
        texto += "," + (d.substr(d.size() - 4) + "0000").substr(0, std::min(nDecimais, 8));
    return texto;
}

static int Decimais(FuzzedDataProvider& in) {
    return in.ConsumeBool() ? in.ConsumeIntegralInRange(-12, 20) : in.ConsumeIntegral<int>();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* dados, std::size_t tamanho) {
    FuzzedDataProvider in(dados, tamanho);
    tagCY cy, arredondado;
    arredondado.int64 = cy.int64 = in.ConsumeIntegral<LONGLONG>();
    const int de = Decimais(in), para = Decimais(in);
    const bool bArredonda = in.ConsumeBool();
    const long long k = static_cast<long long>(para) - de;
    const bool bRegra = k >= -9 && k <= 9;
    char e[96];
    std::snprintf(e, sizeof e, "raw %lld, %d decimals to %d, rounding %d", cy.int64, de, para,
                  bArredonda);

    CGeCurrencyEx v(cy, de);
    v.Converte(para, bArredonda);
    TQ_CONFERE(v.GetDecimais() == static_cast<short>(para) &&
                   (!bRegra || v.GetAsCurrency().int64 == RefConverte(cy.int64, k, bArredonda)),
               "Converte %s: %lld", e, v.GetAsCurrency().int64);
    CGeCurrencyEx::STrunca(arredondado, de, para);
    TQ_CONFERE(!bRegra ||
                   arredondado.int64 == RefConverte(RefConverte(cy.int64, k, true), -k, true),
               "STrunca %s: %lld", e, arredondado.int64);
    const std::string texto = CGeCurrencyEx(cy, de).GetFormatado().str(),
                      desconto = CGeCurrencyEx::ImprimeDesconto(cy).str();
    TQ_CONFERE(texto == RefFormata(cy.int64, de) && desconto == RefFormata(cy.int64 / 10000, 2),
               "FormataValor %s: %s, ImprimeDesconto: %s", e, texto.c_str(), desconto.c_str());
    return 0;
}
