#include "support/VetoresOleAut.h"

#include "support/Tabela.h"
#include "tqlibex/base/UInt128.h"
#include "tqlibex/money/OleAutMoeda.h"

#include <cstdio>
#include <stdexcept>

namespace tq::teste {

using tq::detail::U128Portavel;

FuncoesOleAut FuncoesPortaveis() {
    return {tq::oleaut::VarCyAdd,     tq::oleaut::VarCySub,     tq::oleaut::VarCyMul,
            tq::oleaut::VarDecFromCy, tq::oleaut::VarDecFromI2, tq::oleaut::VarDecDiv,
            tq::oleaut::VarCyFromDec};
}

// Wrapped, because on 32-bit Windows the platform's functions are __stdcall.
FuncoesOleAut FuncoesDaPlataforma() {
    return {[](CY a, CY b, LPCY r) { return ::VarCyAdd(a, b, r); },
            [](CY a, CY b, LPCY r) { return ::VarCySub(a, b, r); },
            [](CY a, CY b, LPCY r) { return ::VarCyMul(a, b, r); },
            [](CY a, DECIMAL* r) { return ::VarDecFromCy(a, r); },
            [](SHORT a, DECIMAL* r) { return ::VarDecFromI2(a, r); },
            [](LPDECIMAL a, LPDECIMAL b, LPDECIMAL r) { return ::VarDecDiv(a, b, r); },
            [](DECIMAL* a, CY* r) { return ::VarCyFromDec(a, r); }};
}

DECIMAL LeDecimal(const std::string& texto) {
    unsigned escala = 0, sinal = 0;
    char mantissa[64] = {};
    if (std::sscanf(texto.c_str(), "s=%u;sign=0x%x;m=%63s", &escala, &sinal, mantissa) != 3)
        throw std::invalid_argument("bad DECIMAL: " + texto);
    U128Portavel m;
    for (const char* p = mantissa; *p; ++p)
        m = m.MulSmall(10) + U128Portavel(static_cast<std::uint64_t>(*p - '0'));
    DECIMAL d{};
    d.scale = static_cast<BYTE>(escala);
    d.sign = static_cast<BYTE>(sinal);
    d.Hi32 = static_cast<ULONG>(m.Hi());
    d.Lo64 = m.Lo();
    return d;
}

std::string EscreveDecimal(const DECIMAL& d) {
    U128Portavel m(d.Hi32, d.Lo64);
    std::string digitos;
    do {
        std::uint32_t r = 0;
        m = m.DivSmall(10, r);
        digitos.insert(digitos.begin(), static_cast<char>('0' + r));
    } while (m != U128Portavel(0));
    char cabeca[32];
    std::snprintf(cabeca, sizeof cabeca, "s=%u;sign=0x%02X;m=", static_cast<unsigned>(d.scale),
                  static_cast<unsigned>(d.sign));
    return cabeca + digitos;
}

namespace {
CY LeCy(const std::string& texto) {
    CY cy;
    cy.int64 = std::stoll(texto);
    return cy;
}
Resultado DeCy(HRESULT hr, const CY& cy) {
    return {hr, SUCCEEDED(hr) ? std::to_string(cy.int64) : "-"};
}
Resultado DeDecimal(HRESULT hr, const DECIMAL& d) {
    return {hr, SUCCEEDED(hr) ? EscreveDecimal(d) : "-"};
}
} // namespace

Resultado Executa(const FuncoesOleAut& f, const Linha& v) {
    const std::string op = v.Texto("op"), esquerdo = v.Texto("left"), direito = v.Texto("right");
    CY cy{};
    DECIMAL d{};
    const auto aritmetica = op == "add"   ? f.add
                            : op == "sub" ? f.sub
                            : op == "mul" ? f.mul
                                          : nullptr;
    if (aritmetica)
        return DeCy(aritmetica(LeCy(esquerdo), LeCy(direito), &cy), cy);
    if (op == "decfromcy")
        return DeDecimal(f.decFromCy(LeCy(esquerdo), &d), d);
    if (op == "decfromi2")
        return DeDecimal(f.decFromI2(static_cast<SHORT>(std::stoi(esquerdo)), &d), d);
    if (op == "cyfromdec") {
        DECIMAL in = LeDecimal(esquerdo);
        return DeCy(f.cyFromDec(&in, &cy), cy);
    }
    if (op == "decdiv") {
        DECIMAL a = LeDecimal(esquerdo), b = LeDecimal(direito);
        return DeDecimal(f.decDiv(&a, &b, &d), d);
    }
    throw std::invalid_argument("unknown op: " + op);
}

bool Confere(const Linha& v, const Resultado& r) {
    return r.hr == v.Hr("expected_hr") &&
           (" OR " + v.Texto("expected_raw") + " OR ").find(" OR " + r.valor + " OR ") !=
               std::string::npos;
}

} // namespace tq::teste
