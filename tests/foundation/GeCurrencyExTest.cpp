#include "foundation/GeCurrencyEx.h"

#include "support/Tabela.h"
#include "tqlibex/system/Plataforma.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

using tq::teste::LeTabela;
using tq::teste::Linha;

namespace {

tagCY Cy(LONGLONG raw) {
    tagCY cy;
    cy.int64 = raw;
    return cy;
}

CGeCurrencyEx Valor(LONGLONG raw, int nDecimais = 0) {
    return CGeCurrencyEx(Cy(raw), nDecimais);
}

LONGLONG Raw(const CGeCurrencyEx& v) {
    return v.GetAsCurrency().int64;
}

} // namespace

// What assignment does to the decimals count; emptiness ignores it.
TEST(GeCurrencyEx, AtribuicaoEDecimais) {
    CGeCurrencyEx v = Valor(12345, 4);
    v = Cy(999); // a currency keeps the decimals count
    EXPECT_EQ(v.GetDecimais(), 4);
    v = 123456789012LL; // a 64-bit integer resets it
    EXPECT_EQ(Raw(v), 123456789012LL);
    EXPECT_EQ(v.GetDecimais(), 0);
    v.SetDecimais(-2); // sign-extended
    EXPECT_EQ(v.GetDecimais(), -2);
    EXPECT_EQ(Valor(1, 70000).GetDecimais(), static_cast<short>(70000)); // read back as 16 bits
    v.Empty();
    EXPECT_TRUE(v.IsEmpty());
    EXPECT_EQ(v.GetDecimais(), 0);
    EXPECT_TRUE(Valor(0, 4).IsEmpty()) << "emptiness ignores the decimals count";
    EXPECT_FALSE(Valor(-1, 8).IsEmpty());
}

namespace {

// a op= b and a op b, with the right operand as a money value or as a tagCY.
template <class B>
CGeCurrencyEx Composto(CGeCurrencyEx a, char op, const B& b) {
    return op == '+' ? a += b : op == '-' ? a -= b : op == '*' ? a *= b : a /= b;
}
template <class B>
CGeCurrencyEx Binario(const CGeCurrencyEx& a, char op, const B& b) {
    return op == '+' ? a + b : op == '-' ? a - b : op == '*' ? a * b : a / b;
}

} // namespace

// The compound family works on raw integers; the binary family on four-decimal currency. The
// left operand keeps its count, a binary result has none, the right operand's count is ignored.
TEST(GeCurrencyEx, DuasFamiliasDeAritmetica) {
    for (const Linha& l : LeTabela("moeda-aritmetica.tsv")) {
        const char op = l.Texto("op")[0];
        const CGeCurrencyEx a = Valor(l.I64("a"), 4), b = Valor(l.I64("b"), 2);
        if (l.Texto("composto") != "-") {
            const CGeCurrencyEx r = Composto(a, op, b);
            EXPECT_EQ(Raw(r), l.I64("composto")) << l.Origem();
            EXPECT_EQ(Raw(Composto(a, op, Cy(l.I64("b")))), Raw(r)) << l.Origem();
            EXPECT_EQ(r.GetDecimais(), 4) << l.Origem();
        }
        if (l.Texto("binario") == "-")
            continue;
        const CGeCurrencyEx r = Binario(a, op, b);
        EXPECT_EQ(Raw(Binario(a, op, Cy(l.I64("b")))), Raw(r)) << l.Origem();
        EXPECT_EQ(r.GetDecimais(), 0) << l.Origem();
        if (l.Bool("wine_difere") && tq::RodandoSobWine())
            EXPECT_NE(Raw(r), l.I64("binario")) << l.Origem() << ": wine now agrees; unlist it";
        else
            EXPECT_EQ(Raw(r), l.I64("binario")) << l.Origem();
    }
}

#if defined(GTEST_HAS_DEATH_TEST) && GTEST_HAS_DEATH_TEST && !defined(GTEST_OS_WINDOWS)
TEST(GeCurrencyExDeathTest, DivisaoCompostaPorZeroEFaltaDaPlataforma) {
    volatile LONGLONG zero = 0;
    EXPECT_DEATH(
        {
            CGeCurrencyEx a = Valor(70000);
            a /= Valor(zero);
            volatile LONGLONG resultado = Raw(a); // keeps the division from being dropped
            (void)resultado;
        },
        "");
}
#endif

TEST(GeCurrencyEx, Converte) {
    const std::map<int, void (CGeCurrencyEx::*)(bool)> atalhos = {
        {2, &CGeCurrencyEx::ConverteParaDoisDecimais},
        {4, &CGeCurrencyEx::ConverteParaQuatroDecimais},
        {8, &CGeCurrencyEx::ConverteParaOitoDecimais}};
    for (const Linha& l : LeTabela("moeda-converte.tsv")) {
        CGeCurrencyEx v = Valor(l.I64("raw"), l.Int("de"));
        const auto atalho = atalhos.find(l.Int("para")); // the shorthand where there is one
        if (atalho != atalhos.end())
            (v.*atalho->second)(l.Bool("arredonda"));
        else
            v.Converte(l.Int("para"), l.Bool("arredonda"));
        EXPECT_EQ(Raw(v), l.I64("esperado")) << l.Origem();
        EXPECT_EQ(v.GetDecimais(), l.Int("para")) << l.Origem();
    }
}

TEST(GeCurrencyEx, STruncaArredondaMantendoAEscala) {
    for (const Linha& l : LeTabela("moeda-strunca.tsv")) {
        tagCY cy = Cy(l.I64("raw"));
        CGeCurrencyEx::STrunca(cy, l.Int("atuais"), l.Int("desejados"));
        EXPECT_EQ(cy.int64, l.I64("esperado")) << l.Origem();
    }
}

TEST(GeCurrencyEx, Texto) {
    for (const Linha& l : LeTabela("moeda-formata.tsv")) {
        EXPECT_EQ(l.Texto("texto"), CGeCurrencyEx::FormataValor(l.I64("raw"), l.Int("decimais")))
            << l.Origem();
    }
    for (const Linha& l : LeTabela("moeda-desconto.tsv")) {
        EXPECT_STREQ(CGeCurrencyEx::ImprimeDesconto(Cy(l.I64("raw"))), l.Texto("texto").c_str())
            << l.Origem();
    }
}

// The plain decimal text scenarios and reports use, at the 64-bit ends and around every refusal.
TEST(GeCurrencyEx, TextoDecimal) {
    for (const Linha& l : LeTabela("moeda-decimal.tsv")) {
        LONGLONG raw = 42;
        const bool lido =
            CGeCurrencyEx::LeDecimal(l.Texto("texto").c_str(), l.Int("decimais"), raw);
        if (l.Texto("raw") == "-") {
            EXPECT_FALSE(lido) << l.Origem();
            EXPECT_EQ(raw, 42) << l.Origem() << ": a refused text leaves the value alone";
            continue;
        }
        ASSERT_TRUE(lido) << l.Origem();
        EXPECT_EQ(raw, l.I64("raw")) << l.Origem();
        EXPECT_EQ(CGeCurrencyEx::TextoDecimal(raw, l.Int("decimais")).str(), l.Texto("volta"))
            << l.Origem();
    }
}

namespace {

// Reads an amount in words (UTF-8) back into signed cents, refusing every text the rules would
// not write: a wrong comma, "e", "de", number or scale form fails, not only a wrong digit.
class LeitorExtenso {
public:
    static std::optional<long long> Le(const std::string& texto) {
        LeitorExtenso l;
        for (std::size_t i = 0, f; i <= texto.size(); i = f + 1) {
            f = std::min(texto.find(' ', i), texto.size());
            std::string palavra = texto.substr(i, f - i);
            const bool virgula = palavra.size() > 1 && palavra.back() == ',';
            l.m_t.push_back(virgula ? palavra.substr(0, palavra.size() - 1) : palavra);
            if (virgula)
                l.m_t.push_back(",");
        }
        if (texto == "zero reais")
            return 0;
        const bool negativo = l.Ve("menos");
        long long reais = 0;
        if (std::find(l.m_t.begin(), l.m_t.end(), "real") != l.m_t.end() ||
            std::find(l.m_t.begin(), l.m_t.end(), "reais") != l.m_t.end()) {
            reais = l.Inteiro();
            if (reais <= 0 || l.Ve("de") != (reais % 1000000 == 0) ||
                !l.Ve(reais == 1 ? "real" : "reais"))
                return std::nullopt;
            if (l.m_p == l.m_t.size())
                return negativo ? -reais * 100 : reais * 100;
            if (!l.Ve("e"))
                return std::nullopt;
        }
        const int centavos = l.Grupo();
        if (centavos <= 0 || centavos > 99 || !l.Ve(centavos == 1 ? "centavo" : "centavos") ||
            l.m_p != l.m_t.size())
            return std::nullopt;
        return (negativo ? -1 : 1) * (reais * 100 + centavos);
    }

private:
    bool Ve(const std::string& palavra) {
        const bool ve = m_p < m_t.size() && m_t[m_p] == palavra;
        m_p += ve;
        return ve;
    }
    int Palavra() { // the value of the number word here (consumed), 0 if there is none
        static const std::map<std::string, int> numeros = {
            {"um", 1},           {"dois", 2},         {"três", 3},           {"quatro", 4},
            {"cinco", 5},        {"seis", 6},         {"sete", 7},           {"oito", 8},
            {"nove", 9},         {"dez", 10},         {"onze", 11},          {"doze", 12},
            {"treze", 13},       {"quatorze", 14},    {"quinze", 15},        {"dezesseis", 16},
            {"dezessete", 17},   {"dezoito", 18},     {"dezenove", 19},      {"vinte", 20},
            {"trinta", 30},      {"quarenta", 40},    {"cinquenta", 50},     {"sessenta", 60},
            {"setenta", 70},     {"oitenta", 80},     {"noventa", 90},       {"cento", 100},
            {"duzentos", 200},   {"trezentos", 300},  {"quatrocentos", 400}, {"quinhentos", 500},
            {"seiscentos", 600}, {"setecentos", 700}, {"oitocentos", 800},   {"novecentos", 900}};
        const auto i = m_p < m_t.size() ? numeros.find(m_t[m_p]) : numeros.end();
        return i == numeros.end() ? 0 : (++m_p, i->second);
    }
    // 1..999, each word of a lower order than the one before and joined to it by "e"; 0 when no
    // number starts here, -1 when the words break the rules.
    int Grupo() {
        if (Ve("cem"))
            return 100;
        int v = 0, ordem = 3;
        for (bool primeiro = true;; primeiro = false) {
            if (!primeiro && !Ve("e"))
                break;
            const int w = Palavra();
            const int o = w >= 100 ? 2 : w >= 10 ? 1 : 0;
            if (w == 0 || o >= ordem)
                return primeiro ? 0 : -1;
            v += w;
            ordem = o;
            if (w < 20)
                break;
        }
        return v == 100 ? -1 : v; // "cento" is never alone
    }
    // The scale word here: 1 mil .. 4 trilhão, 0 none, -1 when its number does not agree with g.
    int Escala(int g) {
        static const char* escalas[][2] = {
            {"mil", "mil"}, {"milhão", "milhões"}, {"bilhão", "bilhões"}, {"trilhão", "trilhões"}};
        for (int e = 1; e <= 4; ++e) {
            if (Ve(escalas[e - 1][0]))
                return (e == 1 ? g != 1 : g == 1) ? e : -1;
            if (Ve(escalas[e - 1][1]))
                return g > 1 ? e : -1;
        }
        return 0;
    }
    // Whole reais: groups with their scales, from the highest, with the separators the rules
    // require between them; -1 for anything else.
    long long Inteiro() {
        struct Parte {
            int grupo, escala;
            char separador;
        };
        std::vector<Parte> partes;
        for (char separador = 0;;) {
            const std::size_t inicio = m_p;
            int g = Grupo();
            const int e = g < 0 ? -1 : Escala(g);
            if (e < 0 || (g == 0 && e != 1)) {
                if (e == 0 && g == 0 && separador == ' ')
                    m_p = inicio; // nothing more: the number has ended
                else
                    return -1;
                break;
            }
            if (!partes.empty() && e >= partes.back().escala)
                return -1;
            partes.push_back({g == 0 ? 1 : g, e, separador});
            if (e == 0)
                break;
            separador = Ve(",") ? ',' : Ve("e") ? 'e' : ' ';
        }
        long long total = 0;
        for (std::size_t i = 0; i < partes.size(); ++i) {
            const Parte& p = partes[i];
            const char esperado = i == 0                                ? 0
                                  : i + 1 < partes.size()               ? ','
                                  : p.grupo < 100 || p.grupo % 100 == 0 ? 'e'
                                                                        : ' ';
            if (p.separador != esperado)
                return -1;
            long long escala = 1;
            for (int k = 0; k < p.escala; ++k)
                escala *= 1000;
            total += p.grupo * escala;
        }
        return total;
    }

    std::vector<std::string> m_t;
    std::size_t m_p = 0;
};

// Cents, half away from zero: the rounding the words must show.
long long Centavos(LONGLONG raw) {
    const long long q = raw / 100, r = raw % 100;
    return q + (r >= 50) - (r <= -50);
}

} // namespace

// Worked values at the rules' edges; the reader must read each back and refuse the text with any
// one separator (", ", " e ", " ") swapped for another.
TEST(GeCurrencyEx, Extenso) {
    for (const Linha& l : LeTabela("moeda-extenso.tsv")) {
        LONGLONG raw = 0;
        std::string esperado;
        ASSERT_TRUE(CGeCurrencyEx::LeDecimal(l.Texto("valor").c_str(), 4, raw)) << l.Origem();
        ASSERT_TRUE(tq::DeUtf8(l.Texto("extenso"), esperado)) << l.Origem();
        for (int nDecimais : {0, 2, 4, 8})
            EXPECT_EQ(Valor(raw, nDecimais).GetExtenso().str(), esperado) << l.Origem();
        const std::string texto = l.Texto("extenso");
        EXPECT_EQ(LeitorExtenso::Le(texto), Centavos(raw)) << l.Origem();
        for (std::size_t i = 0; i < texto.size();) {
            const std::size_t n = texto.compare(i, 2, ", ") == 0    ? 2
                                  : texto.compare(i, 3, " e ") == 0 ? 3
                                  : texto[i] == ' '                 ? 1
                                                                    : 0;
            for (const char* outro : {", ", " e ", " "})
                if (n > 0 && std::string(outro).size() != n) {
                    const std::string trocado = texto.substr(0, i) + outro + texto.substr(i + n);
                    EXPECT_EQ(LeitorExtenso::Le(trocado), std::nullopt) << l.Origem() << trocado;
                }
            i += n > 0 ? n : 1;
        }
    }
}

// Every amount's words read back as its cents: every value up to 1.000,00, every group in every
// scale, the range ends, and 200,000 pseudo-random values log-uniform over 1..2^63, both signs.
TEST(GeCurrencyEx, ExtensoLidoDeVolta) {
    // the ends, and the cent ties next to them
    std::vector<LONGLONG> valores = {
        LLONG_MIN, LLONG_MIN + 58, LLONG_MIN + 59, LLONG_MAX, LLONG_MAX - 57, LLONG_MAX - 58, -49,
        -50};
    for (LONGLONG c = 0; c <= 100000; ++c)
        valores.push_back(c * 100);
    for (LONGLONG g = 1; g <= 999; ++g)
        for (LONGLONG escala :
             {10000LL, 10000000LL, 10000000000LL, 10000000000000LL, 10000000000000000LL})
            if (g <= LLONG_MAX / escala)
                valores.push_back(g * escala);
    std::mt19937_64 aleatorio(2026);
    for (int i = 0; i < 200000; ++i) {
        const unsigned long long r = aleatorio(), bits = r % 63; // magnitude in [2^bits, 2^bits+1)
        const LONGLONG m =
            static_cast<LONGLONG>((1ull << bits) | (aleatorio() & ((1ull << bits) - 1)));
        valores.push_back(r >> 63 ? -m : m);
    }
    for (LONGLONG raw : valores) {
        const std::string texto = tq::ParaUtf8(Valor(raw).GetExtenso().str());
        ASSERT_EQ(LeitorExtenso::Le(texto), Centavos(raw)) << raw << ": " << texto;
    }
}
