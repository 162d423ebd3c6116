#include "tools/tqcalc/Resumo.h"

#include "foundation/GeCurrencyEx.h"
#include "tools/tqcalc/Faces.h"
#include "tools/tqcalc/Formato.h"
#include "tqlibex/diagnostics/NomesHResult.h"

#include <algorithm>
#include <cstdlib>

namespace tq::calc {

using json = nlohmann::ordered_json;

const char* const kCabecalhoResumo = "contrato;status;valor_apontamentos;valor_faixas;total_nota";

namespace {

// DISP_E_OVERFLOW: what oleaut32 answers for an amount the currency type cannot hold.
constexpr HRESULT kEstouro = static_cast<HRESULT>(0x8002000Au);

// A raw value with nDecimais decimals, with a decimal comma and nothing else.
std::string Virgula(const CExato& v, int nDecimais) {
    std::string t = v.Texto(nDecimais);
    std::replace(t.begin(), t.end(), '.', ',');
    return t;
}

// A four-decimal amount the invoice holds in cents: two decimals, unless it has more.
std::string Reais4(const CExato& bruto4) {
    const CExato centavos = bruto4.Divide(100);
    return (centavos.Vezes(100) - bruto4).Zero() ? Virgula(centavos, 2) : Virgula(bruto4, 4);
}

// A member of an object, or null.
const json* Membro(const json& o, const char* pszChave) {
    if (!o.is_object())
        return nullptr;
    const auto it = o.find(pszChave);
    return it == o.end() ? nullptr : &*it;
}

bool LeHr(const json* p, HRESULT& hr) {
    if (!p || !p->is_string())
        return false;
    const json& j = *p;
    if (!j.is_string())
        return false;
    const std::string t = j.get<std::string>();
    if (t.size() != 10 || t.compare(0, 2, "0x") != 0 ||
        t.find_first_not_of("0123456789ABCDEF", 2) != std::string::npos)
        return false;
    hr = static_cast<HRESULT>(std::strtoul(t.c_str() + 2, nullptr, 16));
    return true;
}

bool LeQuantia(const json* p, int nDecimais, LONGLONG& bruto) {
    return p && p->is_string() &&
           CGeCurrencyEx::LeDecimal(p->get_ref<const std::string&>().c_str(), nDecimais, bruto);
}

// A calculation's part of the entry: its status, and whether it ran.
bool LeCalculo(const json& e, const char* pszNome, bool& bRodou, HRESULT& hr) {
    const json* p = Membro(e, pszNome);
    bRodou = p != nullptr;
    hr = S_OK;
    return !bRodou || LeHr(Membro(*p, "status"), hr);
}

} // namespace

std::string NomeCurto(HRESULT hr) {
    if (hr == S_OK)
        return "S_OK";
    std::string nome = GetNomeHResult(hr).str();
    if (nome.empty())
        nome = GetNomeCodigoWin32(hr).str();
    return nome.empty() ? Status(hr) : nome;
}

std::string ComVirgula(LONGLONG bruto2) {
    return Virgula(CExato(bruto2), 2);
}

std::string LinhaDoDiario(const std::string& codigo, const CResultado& r) {
    std::string s = "{\"contrato\":\"";
    AcrescentaEscapado(s, codigo);
    s += "\",";
    const std::size_t inicio = s.size();
    AcrescentaJson(s, r);
    s.erase(inicio, 1); // the result's own "{"
    s += '\n';
    return s;
}

json EntradaDoDiario(const std::string& codigo, const CResultado& r) {
    return json::parse(LinhaDoDiario(codigo, r));
}

namespace {

// What a summary row says of a contract, as the journal's entry or the result holds it.
struct CFatos {
    std::string codigo;
    bool bEstouro = false;
    bool bApontamentos = false, bFaixas = false;
    HRESULT hrApontamentos = S_OK, hrFaixas = S_OK;
    LONGLONG valorApontamentos = 0;                      // four decimals
    std::vector<std::pair<LONGLONG, LONGLONG>> servicos; // weighted price, quantity
    bool bTotal = false;
    LONGLONG total = 0; // two decimals
};

CLinhaResumo Linha(const CFatos& f) {
    CLinhaResumo l;
    l.codigo = f.codigo;
    const HRESULT hr = f.bEstouro                 ? kEstouro
                       : FAILED(f.hrApontamentos) ? f.hrApontamentos
                                                  : f.hrFaixas;
    l.situacao = f.bEstouro   ? CLinhaResumo::Estouro
                 : FAILED(hr) ? CLinhaResumo::Falhou
                              : CLinhaResumo::Faturado;
    l.status = NomeCurto(hr);
    // The amounts only where they hold: none beside a warning.
    std::string apontamentos, faixas, total;
    if (!f.bEstouro && f.bApontamentos && SUCCEEDED(f.hrApontamentos))
        apontamentos = Reais4(CExato(f.valorApontamentos));
    if (!f.bEstouro && f.bFaixas && SUCCEEDED(f.hrFaixas)) {
        CExato soma;
        for (const auto& [preco, quantidade] : f.servicos)
            soma = soma + ValorFaturado(preco, quantidade);
        faixas = Reais4(soma);
    }
    l.bTotal = f.bTotal;
    l.total = f.total;
    if (f.bTotal)
        total = ComVirgula(f.total);
    l.csv = l.codigo + ";" + l.status + ";" + apontamentos + ";" + faixas + ";" + total;
    return l;
}

} // namespace

CLinhaResumo LinhaDoResumo(const std::string& codigo, const CResultado& r) {
    CFatos f;
    f.codigo = codigo;
    f.bEstouro = !r.avisos.empty();
    f.bApontamentos = r.bApontamentos;
    f.bFaixas = r.bFaixas;
    f.hrApontamentos = r.hrApontamentos;
    f.hrFaixas = r.hrFaixas;
    f.valorApontamentos = r.valor.int64;
    for (const CItemCalculoFaixaMedicao& s : r.servicos)
        f.servicos.emplace_back(s.Valor.int64, s.Quantidade.int64);
    f.bTotal = r.bNota;
    f.total = r.notaTotal / 100;
    return Linha(f);
}

bool LinhaDoResumo(const json& e, CLinhaResumo& l, std::string& erro) {
    erro.clear();
    CFatos f;
    if (!e.is_object() || e.empty() || e.begin().key() != "contrato" ||
        !e.begin().value().is_string() || e.begin().value().get_ref<const std::string&>().empty())
        erro = "não começa com \"contrato\"";
    if (erro.empty() && (!LeCalculo(e, "apontamentos", f.bApontamentos, f.hrApontamentos) ||
                         !LeCalculo(e, "faixas", f.bFaixas, f.hrFaixas)))
        erro = "um cálculo sem status";
    const json* avisos = Membro(e, "avisos");
    const json* total = Membro(e, "totalNota");
    if (erro.empty() &&
        (!avisos || !avisos->is_array() || !total || !(total->is_null() || total->is_string())))
        erro = "sem \"totalNota\" ou \"avisos\"";
    if (!erro.empty())
        return false;
    f.codigo = e.begin().value().get<std::string>();
    f.bEstouro = !avisos->empty();
    if (f.bApontamentos && SUCCEEDED(f.hrApontamentos) &&
        !LeQuantia(Membro(*Membro(e, "apontamentos"), "valor"), 4, f.valorApontamentos))
        erro = "apontamentos.valor ilegível";
    if (f.bFaixas && SUCCEEDED(f.hrFaixas)) {
        const json* servicos = Membro(*Membro(e, "faixas"), "servicos");
        if (!servicos || !servicos->is_array())
            erro = "faixas.servicos ilegível";
        for (std::size_t i = 0; erro.empty() && i < servicos->size(); ++i) {
            LONGLONG quantidade = 0, preco = 0;
            if (!LeQuantia(Membro((*servicos)[i], "quantidade"), 4, quantidade) ||
                !LeQuantia(Membro((*servicos)[i], "valor"), 4, preco))
                erro = "faixas.servicos ilegível";
            f.servicos.emplace_back(preco, quantidade);
        }
    }
    if (total->is_string()) {
        f.bTotal = true;
        if (!CGeCurrencyEx::LeDecimal(total->get_ref<const std::string&>().c_str(), 2, f.total))
            erro = "totalNota ilegível";
    }
    if (!erro.empty())
        return false;
    l = Linha(f);
    return true;
}

void CResumo::Acrescenta(const CLinhaResumo& l) {
    CRef r{m_texto.size(),
           static_cast<std::uint32_t>(l.csv.size()),
           static_cast<std::uint16_t>(l.codigo.size()),
           static_cast<std::uint16_t>(l.status.size()),
           l.situacao,
           l.bTotal,
           l.total};
    m_texto += l.csv;
    if (!m_linhas.empty() && Codigo(m_linhas.back()) > Codigo(r))
        m_bOrdenado = false;
    m_linhas.push_back(r);
    m_nFalhas += l.situacao == CLinhaResumo::Falhou;
    m_nEstouros += l.situacao == CLinhaResumo::Estouro;
}

void CResumo::Ordena() {
    if (!m_bOrdenado)
        std::sort(m_linhas.begin(), m_linhas.end(),
                  [this](const CRef& a, const CRef& b) { return Codigo(a) < Codigo(b); });
    m_bOrdenado = true;
}

std::string CResumo::Csv() {
    Ordena();
    std::string csv = std::string(kCabecalhoResumo) + "\n";
    csv.reserve(m_texto.size() + m_linhas.size() + csv.size());
    for (const CRef& r : m_linhas)
        csv.append(m_texto, r.inicio, r.tamanho).push_back('\n');
    return csv;
}

std::vector<std::pair<std::string, std::string>> CResumo::Problemas() {
    Ordena();
    std::vector<std::pair<std::string, std::string>> v;
    for (const CRef& r : m_linhas)
        if (r.situacao != CLinhaResumo::Faturado)
            v.emplace_back(std::string(Codigo(r)), std::string(Status(r)));
    return v;
}

std::string CResumo::PrimeiroRepetido() {
    Ordena();
    for (std::size_t i = 1; i < m_linhas.size(); ++i)
        if (Codigo(m_linhas[i - 1]) == Codigo(m_linhas[i]))
            return std::string(Codigo(m_linhas[i]));
    return std::string();
}

std::string CResumo::Divergencias(const std::map<std::string, LONGLONG>& faturado, std::size_t& n) {
    Ordena();
    n = 0;
    std::string csv = "contrato;faturado;calculado;diferenca;situacao\n";
    const auto linha = [&](std::string_view codigo, const std::string& f, const std::string& c,
                           const std::string& d, const std::string& situacao) {
        ++n;
        csv.append(codigo).append(";" + f + ";" + c + ";" + d + ";" + situacao + "\n");
    };
    auto f = faturado.begin();
    auto r = m_linhas.begin();
    while (f != faturado.end() || r != m_linhas.end()) {
        const int ordem = f == faturado.end()                       ? 1
                          : r == m_linhas.end()                     ? -1
                          : std::string_view(f->first) < Codigo(*r) ? -1
                          : std::string_view(f->first) > Codigo(*r) ? 1
                                                                    : 0;
        if (ordem < 0) {
            linha(f->first, ComVirgula(f->second), "", "", "só no faturado");
            ++f;
        } else if (ordem > 0) {
            linha(Codigo(*r), "", r->bTotal ? ComVirgula(r->total) : "", "", "só no cálculo");
            ++r;
        } else {
            if (!r->bTotal)
                linha(Codigo(*r), ComVirgula(f->second), "", "",
                      "o cálculo não deu nota (" + std::string(Status(*r)) + ")");
            else if (r->total != f->second)
                linha(Codigo(*r), ComVirgula(f->second), ComVirgula(r->total),
                      Virgula(CExato(f->second) - CExato(r->total), 2), "valor diferente");
            ++f;
            ++r;
        }
    }
    return csv;
}

} // namespace tq::calc
