#include "tools/tqcalc/Formato.h"

#include "foundation/GeCurrencyEx.h"
#include "tqlibex/diagnostics/NomesHResult.h"

#include <cstdio>

namespace tq::calc {

const char* const kAlcanceDaMoeda = "±922.337.203.685.477,5807";

std::string Status(HRESULT hr) {
    char texto[16];
    std::snprintf(texto, sizeof texto, "0x%08X", static_cast<unsigned>(hr));
    return texto;
}

std::string NomeDoStatus(HRESULT hr) {
    if (hr == S_OK)
        return Status(hr) + " S_OK";
    const std::string nome = GetNomeHResult(hr).str();
    const std::string codigo = GetNomeCodigoWin32(hr).str();
    std::string texto = Status(hr);
    // Every name is the library's 8-bit text, as the trace log has it.
    // Appended piece by piece: gcc 12 at -O3 sees a false overlap in " " + std::string&&.
    if (!nome.empty())
        texto.append(" ").append(ParaUtf8(nome));
    if (!codigo.empty() && codigo != nome)
        texto.append(" ").append(ParaUtf8(codigo));
    texto.append(" (").append(ParaUtf8(GetNomeFacility(hr).str())).append(")");
    const std::string descricao = GetDescricaoHResult(hr).str();
    if (!descricao.empty())
        texto.append(" ").append(ParaUtf8(descricao));
    return texto;
}

void AcrescentaQuantia(std::string& s, LONGLONG bruto, int nDecimais) {
    // CGeCurrencyEx::TextoDecimal's text, without its formatting machinery: a month's run writes
    // thousands of amounts a second.
    unsigned long long modulo = bruto < 0 ? 0 - static_cast<unsigned long long>(bruto)
                                          : static_cast<unsigned long long>(bruto);
    char t[48];
    char* p = t + sizeof t;
    int n = 0;
    do {
        if (n == nDecimais && nDecimais > 0)
            *--p = '.';
        *--p = static_cast<char>('0' + modulo % 10);
        modulo /= 10;
        ++n;
    } while (modulo || n <= nDecimais);
    if (bruto < 0)
        *--p = '-';
    s.append(p, static_cast<std::size_t>(t + sizeof t - p));
}

std::string Quantia(LONGLONG bruto, int nDecimais) {
    std::string s;
    AcrescentaQuantia(s, bruto, nDecimais);
    return s;
}

std::string Brasileiro(const CExato& v, int nDecimais) {
    const std::string t = v.Texto(nDecimais);
    const std::size_t inicio = t[0] == '-' ? 1 : 0, ponto = t.find('.');
    const std::string inteiros =
        t.substr(inicio, ponto == std::string::npos ? std::string::npos : ponto - inicio);
    std::string r = t.substr(0, inicio);
    for (std::size_t i = 0; i < inteiros.size(); ++i) {
        if (i && (inteiros.size() - i) % 3 == 0)
            r += '.';
        r += inteiros[i];
    }
    if (ponto != std::string::npos)
        r += ',' + t.substr(ponto + 1);
    return r;
}

std::string Brasileiro(LONGLONG bruto, int nDecimais) {
    return Brasileiro(CExato(bruto), nDecimais);
}

std::string Reais(LONGLONG bruto4) {
    return Brasileiro(CExato(bruto4).Divide(100), 2);
}

CExato CentavosDe(const CExato& v, int nDecimais) {
    CExato centavos = nDecimais <= 2 ? v : v.Divide(CExato::Potencia10(nDecimais - 2));
    for (int i = nDecimais; i < 2; ++i)
        centavos = centavos.Vezes(10);
    return centavos.Vezes(100);
}

} // namespace tq::calc

namespace tq::calc {

std::string Coluna(const std::string& utf8, int largura, bool bDireita) {
    int n = 0;
    for (const char c : utf8)
        n += (static_cast<unsigned char>(c) & 0xC0) != 0x80; // continuation bytes add nothing
    // A text as wide as the column or wider still keeps one space from its neighbour.
    const std::string espaco(n < largura ? static_cast<std::size_t>(largura - n) : 1, ' ');
    return bDireita ? espaco + utf8 : utf8 + espaco;
}

} // namespace tq::calc
