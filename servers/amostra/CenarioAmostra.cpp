#include "servers/amostra/CenarioAmostra.h"

#include "contracts/RegContratoPs.h"
#include "foundation/GeCurrencyEx.h"
#include "foundation/TQDma.h"

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <limits>
#include <map>
#include <set>
#include <sstream>

namespace tq::amostra {

namespace {

using nlohmann::json;

// ---- Parsing: a JSON tree whose numbers keep their text -------------------------------------

// Builds the tree as nlohmann's own DOM parser does, but a number becomes a binary value holding
// its text, so that an amount is never read through a double; a key given twice is an error.
class CConstrutor {
public:
    json raiz;

    bool null() { return Valor(nullptr); }
    bool boolean(bool b) { return Valor(b); }
    bool number_integer(json::number_integer_t n) { return Numero(std::to_string(n)); }
    bool number_unsigned(json::number_unsigned_t n) { return Numero(std::to_string(n)); }
    bool number_float(json::number_float_t, const json::string_t& texto) { return Numero(texto); }
    bool string(json::string_t& s) { return Valor(s); }
    bool binary(json::binary_t& b) { return Valor(b); }
    bool start_object(std::size_t) { return Abre(json::object()); }
    bool start_array(std::size_t) { return Abre(json::array()); }
    bool end_object() { return Fecha(); }
    bool end_array() { return Fecha(); }
    bool key(json::string_t& chave) {
        json& objeto = *m_pilha.back();
        if (objeto.contains(chave))
            throw CErroCenario(Caminho() + chave + ": key given twice");
        m_chaves.back() = chave;
        m_pValor = &objeto[chave];
        return true;
    }
    bool parse_error(std::size_t posicao, const std::string&,
                     const nlohmann::detail::exception& e) {
        throw CErroCenario("not JSON (at byte " + std::to_string(posicao) + "): " + e.what());
    }

private:
    bool Numero(const std::string& texto) {
        return Valor(json::binary(std::vector<std::uint8_t>(texto.begin(), texto.end())));
    }
    template <class V>
    bool Valor(V&& v) {
        if (m_pilha.empty())
            raiz = std::forward<V>(v);
        else if (m_pilha.back()->is_array())
            m_pilha.back()->push_back(std::forward<V>(v));
        else
            *m_pValor = std::forward<V>(v);
        return true;
    }
    bool Abre(json&& vazio) {
        json* p;
        if (m_pilha.empty()) {
            raiz = std::move(vazio);
            p = &raiz;
        } else if (m_pilha.back()->is_array()) {
            m_pilha.back()->push_back(std::move(vazio));
            p = &m_pilha.back()->back();
        } else {
            *m_pValor = std::move(vazio);
            p = m_pValor;
        }
        m_pilha.push_back(p);
        m_chaves.emplace_back();
        return true;
    }
    bool Fecha() {
        m_pilha.pop_back();
        m_chaves.pop_back();
        return true;
    }
    // The keys that lead to the object being read (its own last key is not one of them).
    std::string Caminho() const {
        std::string c;
        for (std::size_t i = 0; i + 1 < m_chaves.size(); ++i)
            if (!m_chaves[i].empty())
                c += m_chaves[i] + ".";
        return c;
    }
    std::vector<json*> m_pilha;
    std::vector<std::string> m_chaves;
    json* m_pValor = nullptr;
};

// ---- Reading the tree, every mistake named by its path --------------------------------------

class CNo {
public:
    CNo(const json& j, std::string caminho) : m_j(j), m_caminho(std::move(caminho)) {}

    [[noreturn]] void Erro(const std::string& texto) const {
        throw CErroCenario(m_caminho + ": " + texto);
    }
    // A mistake in a key of this object, which need not be there (a required key left out).
    [[noreturn]] void ErroEm(const std::string& chave, const std::string& texto) const {
        throw CErroCenario(CaminhoDe(chave) + ": " + texto);
    }
    // An object with none but the given keys.
    const CNo& Objeto(std::initializer_list<const char*> chaves) const {
        if (!m_j.is_object())
            Erro("expected an object");
        for (const auto& [chave, valor] : m_j.items()) {
            bool bConhecida = false;
            for (const char* c : chaves)
                bConhecida = bConhecida || chave == c;
            if (!bConhecida)
                Filho(chave).Erro("unknown key");
        }
        return *this;
    }
    bool Tem(const char* chave) const { return m_j.contains(chave) && !m_j[chave].is_null(); }
    CNo Filho(const std::string& chave) const { return CNo(m_j.at(chave), CaminhoDe(chave)); }
    // The elements of an optional array.
    std::vector<CNo> Lista(const char* chave) const {
        std::vector<CNo> v;
        if (!Tem(chave))
            return v;
        const CNo lista = Filho(chave);
        if (!lista.m_j.is_array())
            lista.Erro("expected an array");
        for (std::size_t i = 0; i < lista.m_j.size(); ++i)
            v.emplace_back(lista.m_j[i], lista.m_caminho + "[" + std::to_string(i) + "]");
        return v;
    }
    template <class T>
    T Inteiro(const char* chave) const {
        if (!Tem(chave))
            return T{};
        const CNo no = Filho(chave);
        if (!no.m_j.is_binary())
            no.Erro("expected a whole number");
        const std::string texto = no.TextoDoNumero();
        char* fim = nullptr;
        const long long v = std::strtoll(texto.c_str(), &fim, 10);
        if (*fim || texto.empty() || v < static_cast<long long>(std::numeric_limits<T>::min()) ||
            v > static_cast<long long>(std::numeric_limits<T>::max()))
            no.Erro("expected a whole number from " +
                    std::to_string(static_cast<long long>(std::numeric_limits<T>::min())) + " to " +
                    std::to_string(static_cast<long long>(std::numeric_limits<T>::max())) +
                    ", not " + texto);
        return static_cast<T>(v);
    }
    // An amount with at most nDecimais decimals, raw.
    LONGLONG Quantia(const char* chave, int nDecimais) const {
        if (!Tem(chave))
            return 0;
        const CNo no = Filho(chave);
        if (!no.m_j.is_string() && !no.m_j.is_binary())
            no.Erro("expected an amount (a decimal string)");
        const std::string texto =
            no.m_j.is_string() ? no.m_j.get<std::string>() : no.TextoDoNumero();
        LONGLONG bruto = 0;
        if (!CGeCurrencyEx::LeDecimal(texto.c_str(), nDecimais, bruto)) {
            const std::size_t ponto = texto.find('.');
            if (ponto != std::string::npos &&
                CGeCurrencyEx::LeDecimal(texto.substr(0, ponto + 1 + nDecimais).c_str(), nDecimais,
                                         bruto))
                no.Erro("\"" + texto + "\" has more than " + std::to_string(nDecimais) +
                        " decimals");
            no.Erro("\"" + texto + "\" is not an amount (digits, an optional \"-\" and \".\")");
        }
        return bruto;
    }
    std::string Texto(const char* chave) const {
        if (!Tem(chave))
            return std::string();
        const CNo no = Filho(chave);
        if (!no.m_j.is_string())
            no.Erro("expected a text");
        return no.m_j.get<std::string>();
    }
    WORD Mes(const char* chave) const {
        CTQMa ma;
        if (!CTQMa::Le(Texto(chave).c_str(), ma))
            ErroEm(chave, "expected a month MM/AAAA");
        return ma.GetCompactado();
    }
    DWORD Data(const char* chave) const {
        if (!Tem(chave))
            return 0;
        CTQDma d;
        if (!CTQDma::Le(Texto(chave).c_str(), d))
            ErroEm(chave, "expected a date DD/MM/AAAA");
        return d.GetCompactado();
    }
    HRESULT Hr(const char* chave) const {
        std::string texto; // stays empty when the key is missing or of another type
        if (Tem(chave)) {
            const CNo no = Filho(chave);
            if (no.m_j.is_string() || no.m_j.is_binary())
                texto = no.m_j.is_string() ? no.m_j.get<std::string>() : no.TextoDoNumero();
        }
        char* fim = nullptr;
        const long long v = std::strtoll(texto.c_str(), &fim, 0);
        if (texto.empty() || *fim || v < INT32_MIN || v > UINT32_MAX)
            ErroEm(chave, "expected an HRESULT such as \"0x80004005\"");
        return static_cast<HRESULT>(static_cast<unsigned>(v));
    }
    const std::string& Caminho() const { return m_caminho; }

private:
    std::string CaminhoDe(const std::string& chave) const {
        return m_caminho.empty() ? chave : m_caminho + "." + chave;
    }
    std::string TextoDoNumero() const {
        const json::binary_t& b = m_j.get_binary();
        return std::string(b.begin(), b.end());
    }
    const json& m_j;
    std::string m_caminho;
};

std::vector<Classificacao> LeClassificacoes(const CNo& pai) {
    std::vector<Classificacao> v;
    for (const CNo& c : pai.Lista("classificacoes")) {
        c.Objeto({"codigo", "percentual", "descricao"});
        v.push_back({c.Inteiro<ULONG>("codigo"), c.Quantia("percentual", 4), c.Texto("descricao")});
    }
    return v;
}

Contrato LeContrato(const CNo& no) {
    no.Objeto({"codigo", "ponteiro", "itens", "faixas"});
    Contrato c;
    c.codigo = no.Texto("codigo");
    c.ponteiro = no.Tem("ponteiro") ? no.Inteiro<ULONG>("ponteiro") : PonteiroDoCodigo(c.codigo);
    for (const CNo& i : no.Lista("itens")) {
        i.Objeto(
            {"servico", "precoUnitario", "precoExcedente", "franquia", "texto", "classificacoes"});
        c.itens.push_back({i.Inteiro<ULONG>("servico"), i.Quantia("precoUnitario", 8),
                           i.Quantia("precoExcedente", 8), i.Quantia("franquia", 4),
                           i.Texto("texto"), LeClassificacoes(i)});
    }
    for (const CNo& f : no.Lista("faixas")) {
        f.Objeto({"codigo", "classificacoes"});
        c.faixas.push_back({f.Inteiro<ULONG>("codigo"), LeClassificacoes(f)});
    }
    return c;
}

Apontamento LeApontamento(const CNo& no) {
    no.Objeto({"mes", "ponteiro", "contrato", "codigo", "listarNF", "motorista", "placa",
               "municipio", "residuos", "itens"});
    Apontamento a;
    a.ma = no.Mes("mes");
    a.ponteiro = no.Inteiro<ULONG>("ponteiro");
    a.pontContr = no.Inteiro<ULONG>("contrato");
    a.codigo = no.Texto("codigo");
    a.listarNF = no.Inteiro<BYTE>("listarNF");
    a.motorista = no.Inteiro<ULONG>("motorista");
    a.placa = no.Inteiro<ULONG>("placa");
    a.municipio = no.Inteiro<ULONG>("municipio");
    a.residuos = no.Texto("residuos");
    for (const CNo& i : no.Lista("itens")) {
        i.Objeto({"servico", "quantidade", "descTotal", "executor", "data", "horaInicial",
                  "horaFinal", "pesoEntrada", "pesoSaida"});
        ItemApontamento item{};
        item.servico = i.Inteiro<ULONG>("servico");
        item.quantidade.int64 = i.Quantia("quantidade", 4);
        item.descTotal.int64 = i.Quantia("descTotal", 4);
        item.executor = i.Inteiro<ULONG>("executor");
        item.data = i.Data("data");
        item.horaInicial = i.Inteiro<USHORT>("horaInicial");
        item.horaFinal = i.Inteiro<USHORT>("horaFinal");
        item.pesoEntrada.int64 = i.Quantia("pesoEntrada", 4);
        item.pesoSaida.int64 = i.Quantia("pesoSaida", 4);
        a.itens.push_back(item);
    }
    return a;
}

const std::map<std::string, ETipoHostil>& TiposHostis() {
    static const std::map<std::string, ETipoHostil> tipos = {
        {"ContagemSemArray", ETipoHostil::ContagemSemArray},
        {"ContagemMaiorQueOArray", ETipoHostil::ContagemMaiorQueOArray},
        {"ItensMaiorQueOArray", ETipoHostil::ItensMaiorQueOArray}};
    return tipos;
}

} // namespace

ULONG PonteiroDoCodigo(const std::string& codigo) {
    return CRegContratoPs::PonteiroDoCodigo(codigo.c_str());
}

CDadosAmostra LeCenario(const std::string& texto) {
    CConstrutor construtor;
    json::sax_parse(texto, &construtor);
    const CNo raiz(construtor.raiz, "");
    raiz.Objeto({"contrato", "faixas", "apontamentos", "falhas", "hostis"});
    CDadosAmostra dados;
    if (raiz.Tem("contrato"))
        dados.contratos.push_back(LeContrato(raiz.Filho("contrato")));
    for (const CNo& f : raiz.Lista("faixas")) {
        f.Objeto({"codigo", "servico", "descricao", "bandas"});
        Faixa faixa{
            f.Inteiro<ULONG>("codigo"), f.Inteiro<ULONG>("servico"), f.Texto("descricao"), {}};
        for (const CNo& b : f.Lista("bandas")) {
            b.Objeto({"inferior", "superior", "preco"});
            faixa.bandas.push_back(
                {b.Inteiro<LONG>("inferior"), b.Inteiro<LONG>("superior"), b.Quantia("preco", 4)});
        }
        dados.faixas.push_back(std::move(faixa));
    }
    std::set<std::pair<WORD, ULONG>> posicoes;
    for (const CNo& a : raiz.Lista("apontamentos")) {
        dados.apontamentos.push_back(LeApontamento(a));
        const Apontamento& novo = dados.apontamentos.back();
        if (!posicoes.insert({novo.ma, novo.ponteiro}).second)
            a.ErroEm("ponteiro", "a second record at month " + a.Texto("mes") + ", number " +
                                     std::to_string(novo.ponteiro));
    }
    for (const CNo& f : raiz.Lista("falhas")) {
        f.Objeto({"servidor", "operacao", "chamada", "hr"});
        dados.falhas.push_back({f.Texto("servidor"), f.Texto("operacao"),
                                f.Tem("chamada") ? f.Inteiro<int>("chamada") : 1, f.Hr("hr")});
    }
    for (const CNo& h : raiz.Lista("hostis")) {
        h.Objeto({"servidor", "operacao", "tipo"});
        const auto tipo = TiposHostis().find(h.Texto("tipo"));
        if (tipo == TiposHostis().end())
            h.ErroEm("tipo", "expected ContagemSemArray, ContagemMaiorQueOArray or "
                             "ItensMaiorQueOArray");
        dados.hostilidades.push_back({h.Texto("servidor"), h.Texto("operacao"), tipo->second});
    }
    return dados;
}

CDadosAmostra LeArquivoCenario(const std::string& caminho) {
    std::ifstream in(caminho, std::ios::binary);
    if (!in)
        throw CErroCenario(caminho + ": cannot be read");
    std::ostringstream texto;
    texto << in.rdbuf();
    return LeCenario(texto.str());
}

std::string EscreveCenario(const CDadosAmostra& dados) {
    const auto quantia = [](LONGLONG bruto, int nDecimais) {
        return std::string(CGeCurrencyEx::TextoDecimal(bruto, nDecimais).GetString());
    };
    const auto classificacoes = [&](const std::vector<Classificacao>& lista) {
        json v = json::array();
        for (const Classificacao& c : lista)
            v.push_back({{"codigo", c.codigo},
                         {"percentual", quantia(c.percentual, 4)},
                         {"descricao", c.descricao}});
        return v;
    };
    json raiz = json::object();
    if (!dados.contratos.empty()) {
        const Contrato& c = dados.contratos.front();
        json itens = json::array(), faixas = json::array();
        for (const ItemContrato& i : c.itens)
            itens.push_back({{"servico", i.servico},
                             {"precoUnitario", quantia(i.precoUnitario, 8)},
                             {"precoExcedente", quantia(i.precoExcedente, 8)},
                             {"franquia", quantia(i.franquia, 4)},
                             {"texto", i.texto},
                             {"classificacoes", classificacoes(i.classificacoes)}});
        for (const FaixaContrato& f : c.faixas)
            faixas.push_back(
                {{"codigo", f.codigo}, {"classificacoes", classificacoes(f.classificacoes)}});
        raiz["contrato"] = {
            {"codigo", c.codigo}, {"ponteiro", c.ponteiro}, {"itens", itens}, {"faixas", faixas}};
    }
    raiz["faixas"] = json::array();
    for (const Faixa& f : dados.faixas) {
        json bandas = json::array();
        for (const Banda& b : f.bandas)
            bandas.push_back({{"inferior", b.inferior},
                              {"superior", b.superior},
                              {"preco", quantia(b.preco, 4)}});
        raiz["faixas"].push_back({{"codigo", f.codigo},
                                  {"servico", f.servico},
                                  {"descricao", f.descricao},
                                  {"bandas", bandas}});
    }
    raiz["apontamentos"] = json::array();
    for (const Apontamento& a : dados.apontamentos) {
        json itens = json::array();
        for (const ItemApontamento& i : a.itens) {
            json item = {{"servico", i.servico},
                         {"quantidade", quantia(i.quantidade.int64, 4)},
                         {"descTotal", quantia(i.descTotal.int64, 4)},
                         {"executor", i.executor},
                         {"horaInicial", i.horaInicial},
                         {"horaFinal", i.horaFinal},
                         {"pesoEntrada", quantia(i.pesoEntrada.int64, 4)},
                         {"pesoSaida", quantia(i.pesoSaida.int64, 4)}};
            if (i.data)
                item["data"] = CTQDma::DeCompactado(i.data).Formata().str();
            itens.push_back(item);
        }
        raiz["apontamentos"].push_back({{"mes", CTQMa::DeCompactado(a.ma).Formata().str()},
                                        {"ponteiro", a.ponteiro},
                                        {"contrato", a.pontContr},
                                        {"codigo", a.codigo},
                                        {"listarNF", a.listarNF},
                                        {"motorista", a.motorista},
                                        {"placa", a.placa},
                                        {"municipio", a.municipio},
                                        {"residuos", a.residuos},
                                        {"itens", itens}});
    }
    return raiz.dump(2) + "\n";
}

} // namespace tq::amostra
