// The amount in words, as an invoice, a receipt or a billing statement carries its total.
#include "foundation/GeCurrencyEx.h"

namespace {

// Windows-1252, like every text the suite shows. Everything is masculine: real, centavo and the
// scale nouns all are.
constexpr const char* kAteDezenove[20] = {
    "",         "um",     "dois",      "tr\xEAs",   "quatro",  "cinco",   "seis",
    "sete",     "oito",   "nove",      "dez",       "onze",    "doze",    "treze",
    "quatorze", "quinze", "dezesseis", "dezessete", "dezoito", "dezenove"};
constexpr const char* kDezenas[10] = {"",          "",         "vinte",   "trinta",  "quarenta",
                                      "cinquenta", "sessenta", "setenta", "oitenta", "noventa"};
constexpr const char* kCentenas[10] = {
    "",           "cento",      "duzentos",   "trezentos",  "quatrocentos",
    "quinhentos", "seiscentos", "setecentos", "oitocentos", "novecentos"};

// The scale of each group of three digits; from the millions up the word ends in "ão", plural
// "ões". 2^63 raw is below 10^15 reais, so trillions are the last scale needed.
constexpr int kGrupos = 5;
constexpr const char* kEscalas[kGrupos] = {"", "mil", "milh", "bilh", "trilh"};
constexpr char kAo[] = "\xE3o";
constexpr char kOes[] = {'\xF5', 'e', 's', '\0'};

// 1..999: hundreds, tens and units joined by "e"; a hundred alone is "cem".
void EscreveGrupo(CTQString& texto, unsigned n) {
    if (n == 100) {
        texto += "cem";
        return;
    }
    const char* separador = "";
    if (n >= 100) {
        texto += kCentenas[n / 100];
        separador = " e ";
        n %= 100;
    }
    if (n >= 20) {
        texto += separador;
        texto += kDezenas[n / 10];
        separador = " e ";
        n %= 10;
    }
    if (n > 0) {
        texto += separador;
        texto += kAteDezenove[n];
    }
}

// A positive whole number of reais. Commas separate the groups, except before the last non-zero
// one: there "e" joins it when it is below a hundred or a whole hundred ("mil e cem"), and
// otherwise the two stand side by side ("mil cento e um").
void EscreveInteiro(CTQString& texto, unsigned long long n) {
    unsigned grupos[kGrupos];
    for (unsigned& g : grupos) {
        g = static_cast<unsigned>(n % 1000);
        n /= 1000;
    }
    int ultimo = 0;
    while (grupos[ultimo] == 0)
        ++ultimo;
    bool primeiro = true;
    for (int i = kGrupos - 1; i >= ultimo; --i) {
        const unsigned g = grupos[i];
        if (g == 0)
            continue;
        if (!primeiro)
            texto += i != ultimo ? ", " : g < 100 || g % 100 == 0 ? " e " : " ";
        primeiro = false;
        if (i != 1 || g != 1) { // a thousand is "mil", never "um mil"
            EscreveGrupo(texto, g);
            if (i > 0)
                texto += ' ';
        }
        texto += kEscalas[i];
        if (i > 1)
            texto += g == 1 ? kAo : kOes;
    }
}

} // namespace

CTQString CGeCurrencyEx::GetExtenso() const {
    const LONGLONG bruto = m_cyValor.int64;
    const unsigned long long modulo = bruto < 0 ? 0 - static_cast<unsigned long long>(bruto)
                                                : static_cast<unsigned long long>(bruto);
    // Cents, half away from zero on the magnitude; 2^63 + 50 still fits the unsigned type.
    const unsigned long long totalCentavos = (modulo + 50) / 100;
    if (totalCentavos == 0)
        return "zero reais"; // a negative that rounds to nothing has no sign either
    const unsigned long long reais = totalCentavos / 100;
    const unsigned centavos = static_cast<unsigned>(totalCentavos % 100);

    CTQString texto = bruto < 0 ? "menos " : "";
    if (reais > 0) {
        EscreveInteiro(texto, reais);
        if (reais % 1000000 == 0) // whole millions and above take "de"
            texto += " de";
        texto += reais == 1 ? " real" : " reais";
        if (centavos > 0)
            texto += " e ";
    }
    if (centavos > 0) {
        EscreveGrupo(texto, centavos);
        texto += centavos == 1 ? " centavo" : " centavos";
    }
    return texto;
}
