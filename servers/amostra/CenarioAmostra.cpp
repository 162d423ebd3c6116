#include "servers/amostra/CenarioAmostra.h"

#include "contracts/RegContratoPs.h"
#include "foundation/GeCurrencyEx.h"
#include "foundation/TQDma.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
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
// its text, so that an amount is never read through a double; a key given twice, and a text with a
// control character (which would cut a server's fixed field short), are errors named by their
// path.
class CConstrutor {
public:
    json raiz;

    bool null() { return Valor(nullptr); }
    bool boolean(bool b) { return Valor(b); }
    bool number_integer(json::number_integer_t n) { return Numero(std::to_string(n)); }
    bool number_unsigned(json::number_unsigned_t n) { return Numero(std::to_string(n)); }
    bool number_float(json::number_float_t, const json::string_t& texto) { return Numero(texto); }
    bool string(json::string_t& s) {
        ChecaTexto(
            s, [this] { return Caminho(true); }, "o texto");
        return Valor(s);
    }
    bool binary(json::binary_t& b) { return Valor(b); }
    bool start_object(std::size_t) { return Abre(json::object()); }
    bool start_array(std::size_t) { return Abre(json::array()); }
    bool end_object() { return Fecha(); }
    bool end_array() { return Fecha(); }
    bool key(json::string_t& chave) {
        CQuadro& q = m_pilha.back();
        // A key's own control character must not reach the message: the object's path names it.
        ChecaTexto(
            chave, [this] { return Caminho(false); }, "uma chave");
        q.chave = chave;
        if (q.p->contains(chave))
            throw CErroCenario(Caminho(true) + ": chave repetida");
        m_pValor = &(*q.p)[chave];
        return true;
    }
    bool parse_error(std::size_t posicao, const std::string&,
                     const nlohmann::detail::exception& e) {
        // nlohmann says where ("... at line 3, column 14: ...") and, for the usual mistakes,
        // why.
        const std::string texto = e.what();
        const std::size_t linha = texto.find("line "), fim = texto.find(':', linha);
        std::string porque;
        if (texto.find("UTF-8") != std::string::npos)
            porque = ": o arquivo não está em UTF-8";
        else if (texto.find("control character") != std::string::npos)
            porque = ": um caractere de controle cru dentro de um texto (escreva \\t, \\n...)";
        else if (texto.find("end of input") != std::string::npos)
            porque = ": o arquivo acaba no meio";
        throw CErroCenario("não é JSON válido (" +
                           (linha != std::string::npos && fim != std::string::npos
                                ? Traduz(texto.substr(linha, fim - linha))
                                : "byte " + std::to_string(posicao)) +
                           ")" + porque);
    }

private:
    static std::string Traduz(std::string onde) {
        const std::size_t coluna = onde.find(", column ");
        if (coluna != std::string::npos)
            onde.replace(coluna, 9, ", coluna ");
        return onde.replace(0, 5, "linha ");
    }
    // A C0 or C1 control, or DEL, anywhere in a text. The path is worked out only for the
    // message: a month of many contracts has millions of values.
    template <class FnCaminho>
    static void ChecaTexto(const std::string& texto, FnCaminho caminho, const char* pszOQue) {
        for (std::size_t i = 0; i < texto.size(); ++i) {
            const unsigned char c = static_cast<unsigned char>(texto[i]);
            unsigned ponto = c;
            if (c == 0xC2 && i + 1 < texto.size()) // U+0080..U+00BF
                ponto = static_cast<unsigned char>(texto[i + 1]);
            else if (c >= 0x80)
                continue;
            if (ponto < 0x20 || ponto == 0x7F || (c == 0xC2 && ponto >= 0x80 && ponto <= 0x9F)) {
                char u[16];
                std::snprintf(u, sizeof u, "U+%04X", ponto);
                const std::string onde = caminho();
                throw CErroCenario(
                    (onde.empty() ? std::string("(raiz)") : onde) + ": " + pszOQue +
                    " tem um caractere de controle (" + u + ")" +
                    (ponto == 0 ? ", que cortaria o texto ali" : ", que um cenário não aceita"));
            }
        }
    }
    // The path of the innermost open object or array, or (bProximo) of the value about to come
    // in it: its last key read, or its next index.
    std::string Caminho(bool bProximo) const {
        std::string c;
        for (std::size_t i = 0; i < m_pilha.size(); ++i) {
            const bool bTopo = i + 1 == m_pilha.size();
            if (bTopo && !bProximo)
                break;
            const CQuadro& q = m_pilha[i];
            if (q.p->is_array())
                c.append("[").append(std::to_string(q.p->size() - (bTopo ? 0 : 1))).append("]");
            else
                c += (c.empty() ? "" : ".") + q.chave;
        }
        return c;
    }
    bool Numero(const std::string& texto) {
        return Valor(json::binary(std::vector<std::uint8_t>(texto.begin(), texto.end())));
    }
    template <class V>
    bool Valor(V&& v) {
        if (m_pilha.empty())
            raiz = std::forward<V>(v);
        else if (m_pilha.back().p->is_array())
            m_pilha.back().p->push_back(std::forward<V>(v));
        else
            *m_pValor = std::forward<V>(v);
        return true;
    }
    bool Abre(json&& vazio) {
        // A scenario nests six levels; a file nesting without end is not one.
        if (m_pilha.size() >= kProfundidadeMaxima)
            throw CErroCenario(Caminho(true) + ": o JSON aninha mais de " +
                               std::to_string(kProfundidadeMaxima) + " níveis");
        json* p;
        if (m_pilha.empty()) {
            raiz = std::move(vazio);
            p = &raiz;
        } else if (m_pilha.back().p->is_array()) {
            m_pilha.back().p->push_back(std::move(vazio));
            p = &m_pilha.back().p->back();
        } else {
            *m_pValor = std::move(vazio);
            p = m_pValor;
        }
        m_pilha.push_back({p, std::string()});
        return true;
    }
    bool Fecha() {
        m_pilha.pop_back();
        return true;
    }
    static constexpr std::size_t kProfundidadeMaxima = 32;
    // Each open object or array, with the last key read in an object.
    struct CQuadro {
        json* p;
        std::string chave;
    };
    std::vector<CQuadro> m_pilha;
    json* m_pValor = nullptr;
};

// ---- Reading the tree, every mistake named by its path --------------------------------------

class CNo {
public:
    explicit CNo(const json& j) : m_j(j) {}
    // A member (`chave`) of `pai`, or its element `indice` when it is an array. The key must
    // outlive the node: a literal, or a key of the tree.
    CNo(const json& j, const CNo* pai, std::string_view chave, std::size_t indice = kNenhum)
        : m_j(j), m_pPai(pai), m_chave(chave), m_indice(indice) {}

    [[noreturn]] void Erro(const std::string& texto) const {
        const std::string caminho = Caminho();
        throw CErroCenario((caminho.empty() ? "(raiz)" : caminho) + ": " + texto);
    }
    // A mistake in a key of this object, which need not be there (a required key left out).
    [[noreturn]] void ErroEm(std::string_view chave, const std::string& texto) const {
        throw CErroCenario(CaminhoDe(chave) + ": " + texto);
    }
    // An object with none but the given keys.
    const CNo& Objeto(std::initializer_list<std::string_view> chaves) const {
        if (!m_j.is_object())
            Erro("esperado um objeto JSON");
        for (const auto& [chave, valor] : m_j.items())
            if (std::find(chaves.begin(), chaves.end(), chave) == chaves.end())
                Filho(chave).Erro("chave desconhecida");
        return *this;
    }
    bool Tem(const char* chave) const {
        const auto it = m_j.find(chave);
        return it != m_j.end() && !it->is_null();
    }
    CNo Filho(std::string_view chave) const { return CNo(m_j.at(std::string(chave)), this, chave); }
    // The elements of an optional array.
    std::vector<CNo> Lista(const char* chave) const {
        std::vector<CNo> v;
        if (!Tem(chave))
            return v;
        const json& lista = m_j.at(chave);
        if (!lista.is_array())
            Filho(chave).Erro("esperado um array");
        v.reserve(lista.size());
        for (std::size_t i = 0; i < lista.size(); ++i)
            v.emplace_back(lista[i], this, chave, i);
        return v;
    }
    template <class T>
    T Inteiro(const char* chave) const {
        if (!Tem(chave))
            return T{};
        const CNo no = Filho(chave);
        if (!no.m_j.is_binary())
            no.Erro("esperado um número inteiro");
        const std::string texto = no.TextoDoNumero();
        char* fim = nullptr;
        errno = 0;
        const long long v = std::strtoll(texto.c_str(), &fim, 10);
        if (*fim || texto.empty() || errno == ERANGE ||
            v < static_cast<long long>(std::numeric_limits<T>::min()) ||
            v > static_cast<long long>(std::numeric_limits<T>::max()))
            no.Erro("esperado um número inteiro de " +
                    std::to_string(static_cast<long long>(std::numeric_limits<T>::min())) + " a " +
                    std::to_string(static_cast<long long>(std::numeric_limits<T>::max())) +
                    ", não " + texto);
        return static_cast<T>(v);
    }
    // An amount with at most nDecimais decimals, raw.
    LONGLONG Quantia(const char* chave, int nDecimais) const {
        if (!Tem(chave))
            return 0;
        const CNo no = Filho(chave);
        if (!no.m_j.is_string() && !no.m_j.is_binary())
            no.Erro("esperado um valor (um texto decimal como \"12.50\")");
        const std::string texto =
            no.m_j.is_string() ? no.m_j.get<std::string>() : no.TextoDoNumero();
        LONGLONG bruto = 0;
        if (CGeCurrencyEx::LeDecimal(texto.c_str(), nDecimais, bruto))
            return bruto;
        // Why not: its form, its decimals, or its size.
        const std::size_t inicio = texto[0] == '-' ? 1 : 0, ponto = texto.find('.');
        const std::string inteiros = texto.substr(inicio, ponto - std::min(ponto, inicio)),
                          decimais = ponto == std::string::npos ? "" : texto.substr(ponto + 1);
        const auto algarismos = [](const std::string& t) {
            return !t.empty() && t.find_first_not_of("0123456789") == std::string::npos;
        };
        if (!algarismos(inteiros) || (ponto != std::string::npos && !algarismos(decimais)))
            no.Erro("\"" + texto + "\" não é um valor (algarismos, um \"-\" opcional e \".\")");
        if (decimais.size() > static_cast<std::size_t>(nDecimais))
            no.Erro("\"" + texto + "\" tem mais de " + std::to_string(nDecimais) +
                    " casas decimais");
        no.Erro("\"" + texto + "\" está fora do alcance do tipo monetário (de " +
                CGeCurrencyEx::TextoDecimal(std::numeric_limits<LONGLONG>::min(), nDecimais).str() +
                " a " +
                CGeCurrencyEx::TextoDecimal(std::numeric_limits<LONGLONG>::max(), nDecimais).str() +
                ")");
    }
    // A text, in the servers' 8-bit character set, at most nMaximo characters (the server's
    // fixed field; 0: no limit).
    std::string Texto(const char* chave, std::size_t nMaximo = 0) const {
        if (!Tem(chave))
            return std::string();
        const CNo no = Filho(chave);
        if (!no.m_j.is_string())
            no.Erro("esperado um texto");
        std::string texto;
        if (!DeUtf8(no.m_j.get<std::string>(), texto))
            no.Erro("o texto tem um caractere que os servidores não guardam (fora do "
                    "Windows-1252)");
        if (nMaximo && texto.size() > nMaximo)
            no.Erro("o texto tem " + std::to_string(texto.size()) +
                    " caracteres, e o campo do servidor guarda " + std::to_string(nMaximo));
        return texto;
    }
    WORD Mes(const char* chave) const {
        CTQMa ma;
        if (!CTQMa::Le(Texto(chave).c_str(), ma))
            ErroEm(chave, "esperado um mês MM/AAAA");
        return ma.GetCompactado();
    }
    DWORD Data(const char* chave) const {
        if (!Tem(chave))
            return 0;
        CTQDma d;
        if (!CTQDma::Le(Texto(chave).c_str(), d))
            ErroEm(chave, "esperada uma data DD/MM/AAAA");
        return d.GetCompactado();
    }
    HRESULT Hr(const char* chave) const {
        std::string texto; // stays empty when the key is missing or of another type
        if (Tem(chave)) {
            const CNo no = Filho(chave);
            if (no.m_j.is_string() || no.m_j.is_binary())
                texto = no.m_j.is_string() ? no.m_j.get<std::string>() : no.TextoDoNumero();
        }
        // Hexadecimal after "0x", or signed decimal: nothing else (no octal, no spaces).
        const bool bHex =
            texto.size() > 2 && texto[0] == '0' && (texto[1] == 'x' || texto[1] == 'X');
        const std::string digitos = bHex ? texto.substr(2) : texto;
        const std::size_t inicio = !bHex && !digitos.empty() && digitos[0] == '-' ? 1 : 0;
        char* fim = nullptr;
        errno = 0;
        const long long v = std::strtoll(digitos.c_str(), &fim, bHex ? 16 : 10);
        if (digitos.size() <= inicio ||
            digitos.find_first_not_of(bHex ? "0123456789abcdefABCDEF" : "0123456789", inicio) !=
                std::string::npos ||
            *fim || errno == ERANGE || v < INT32_MIN || v > UINT32_MAX)
            ErroEm(chave, "esperado um HRESULT como \"0x80004005\"");
        return static_cast<HRESULT>(static_cast<unsigned>(v));
    }

private:
    static constexpr std::size_t kNenhum = static_cast<std::size_t>(-1);

    // Worked out only for a message.
    std::string Caminho() const {
        std::string c = m_pPai ? m_pPai->Caminho() : std::string();
        if (!m_chave.empty())
            c += (c.empty() ? "" : ".") + std::string(m_chave);
        if (m_indice != kNenhum)
            c.append("[").append(std::to_string(m_indice)).append("]");
        return c;
    }
    std::string CaminhoDe(std::string_view chave) const {
        const std::string caminho = Caminho();
        return caminho.empty() ? std::string(chave) : caminho + "." + std::string(chave);
    }
    std::string TextoDoNumero() const {
        const json::binary_t& b = m_j.get_binary();
        return std::string(b.begin(), b.end());
    }
    const json& m_j;
    const CNo* m_pPai = nullptr;
    std::string_view m_chave;
    std::size_t m_indice = kNenhum;
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
    no.Objeto({"codigo", "ponteiro", "cliente", "itens", "faixas"});
    Contrato c;
    c.codigo = no.Texto("codigo", sizeof(_REG_CONTRATO_PS::codigo) - 1);
    if (no.Tem("cliente")) {
        const CNo cliente = no.Filho("cliente");
        cliente.Objeto({"nome", "documento"});
        c.clienteNome = cliente.Texto("nome");
        c.clienteDocumento = cliente.Texto("documento");
    }
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
    // A code as long as the field fills it with no terminator, as a real server may send it.
    a.codigo = no.Texto("codigo", sizeof(_REG_APONTAMENTO_PS::apontamento));
    a.listarNF = no.Inteiro<BYTE>("listarNF");
    a.motorista = no.Inteiro<ULONG>("motorista");
    a.placa = no.Inteiro<ULONG>("placa");
    a.municipio = no.Inteiro<ULONG>("municipio");
    a.residuos = no.Texto("residuos", sizeof(_REG_APONTAMENTO_PS::residuos));
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
    // A record of no contract would be filtered out without a word.
    if (!no.Tem("contrato"))
        no.ErroEm("contrato", "falta o número interno do contrato do apontamento");
    return a;
}

// What each server offers to a scripted fault: its operations, and the hostile answers each
// operation can give (an operation that returns no array has none).
struct Operacao {
    const char* nome;
    std::vector<ETipoHostil> hostis;
};
struct Servidor {
    const char* nome;
    std::vector<Operacao> operacoes;
};
const std::vector<Servidor>& Servidores() {
    using enum ETipoHostil;
    static const std::vector<Servidor> servidores = {
        {"ITQGE_Apontamentos",
         {{"KeepAlive", {}},
          {"Inicializa", {}},
          {"AbreConsulta", {}},
          {"Busca", {ContagemSemArray, ContagemMaiorQueOArray, ItensMaiorQueOArray}},
          {"LePosicoes", {ContagemSemArray, ContagemMaiorQueOArray}},
          {"LeApontamentos", {ContagemSemArray, ContagemMaiorQueOArray, ItensMaiorQueOArray}}}},
        {"ITQGE_Contratos",
         {{"KeepAlive", {}},
          {"Inicializa", {}},
          {"LeItens", {ContagemSemArray, ContagemMaiorQueOArray, ItensMaiorQueOArray}},
          {"LeContrato", {ItensMaiorQueOArray}}}},
        {"ITQGE_Faixa",
         {{"KeepAlive", {}},
          {"Inicializa", {}},
          {"LeCodigos", {ContagemSemArray, ContagemMaiorQueOArray}},
          {"LeFaixas", {ContagemSemArray, ContagemMaiorQueOArray}},
          {"LeFaixa", {ContagemSemArray, ContagemMaiorQueOArray}}}}};
    return servidores;
}

const std::map<std::string, ETipoHostil>& TiposHostis() {
    static const std::map<std::string, ETipoHostil> tipos = {
        {"ContagemSemArray", ETipoHostil::ContagemSemArray},
        {"ContagemMaiorQueOArray", ETipoHostil::ContagemMaiorQueOArray},
        {"ItensMaiorQueOArray", ETipoHostil::ItensMaiorQueOArray}};
    return tipos;
}

std::string NomeDoTipo(ETipoHostil tipo) {
    for (const auto& [nome, t] : TiposHostis())
        if (t == tipo)
            return nome;
    return "?";
}

// The server and operation a fault or a hostile answer names, both known; else the mistake.
const Operacao& LeOperacao(const CNo& no, std::string& servidor, std::string& operacao) {
    servidor = no.Texto("servidor");
    operacao = no.Texto("operacao");
    std::string nomes;
    for (const Servidor& s : Servidores()) {
        nomes += std::string(nomes.empty() ? "" : ", ") + s.nome;
        if (servidor != s.nome)
            continue;
        std::string operacoes;
        for (const Operacao& o : s.operacoes) {
            if (operacao == o.nome)
                return o;
            operacoes += std::string(operacoes.empty() ? "" : ", ") + o.nome;
        }
        no.ErroEm("operacao", s.nome + std::string(" não tem a operação \"") + ParaUtf8(operacao) +
                                  "\" (tem " + operacoes + ")");
    }
    no.ErroEm("servidor",
              "\"" + ParaUtf8(servidor) + "\" não é um servidor de negócio (são " + nomes + ")");
}

} // namespace

ULONG PonteiroDoCodigo(const std::string& codigo) {
    return CRegContratoPs::PonteiroDoCodigo(codigo.c_str());
}

CDadosAmostra LeCenario(const std::string& texto) {
    CConstrutor construtor;
    json::sax_parse(texto, &construtor);
    const CNo raiz(construtor.raiz);
    raiz.Objeto({"contrato", "contratos", "faixas", "apontamentos", "falhas", "hostis"});
    CDadosAmostra dados;
    if (raiz.Tem("contrato") && raiz.Tem("contratos"))
        raiz.ErroEm("contratos", "o cenário tem \"contrato\" e \"contratos\": dê um dos dois");
    if (raiz.Tem("contrato"))
        dados.contratos.push_back(LeContrato(raiz.Filho("contrato")));
    // Every contract of a month in one file; the ranges and the time records serve them all. The
    // server finds a contract by its internal number, and a person by its code: each names one.
    std::map<std::string, std::size_t> porCodigo;
    std::map<ULONG, std::size_t> porPonteiro;
    for (const CNo& c : raiz.Lista("contratos")) {
        dados.contratos.push_back(LeContrato(c));
        const Contrato& novo = dados.contratos.back();
        const std::size_t i = dados.contratos.size() - 1;
        if (const auto [it, bNovo] = porCodigo.emplace(novo.codigo, i); !bNovo)
            c.ErroEm("codigo", "o código \"" + ParaUtf8(novo.codigo) + "\" já é o de contratos[" +
                                   std::to_string(it->second) + "]");
        if (const auto [it, bNovo] = porPonteiro.emplace(novo.ponteiro, i); !bNovo)
            c.ErroEm(c.Tem("ponteiro") ? "ponteiro" : "codigo",
                     "o número interno " + std::to_string(novo.ponteiro) + " já é o de contratos[" +
                         std::to_string(it->second) + "]");
    }
    std::set<ULONG> codigos;
    for (const CNo& f : raiz.Lista("faixas")) {
        f.Objeto({"codigo", "servico", "descricao", "bandas"});
        Faixa faixa{f.Inteiro<ULONG>("codigo"),
                    f.Inteiro<ULONG>("servico"),
                    f.Texto("descricao", sizeof(REG_FAIXA_PS::descricao) - 1),
                    {}};
        // The server serves the first definition of a code; a second one would be silently
        // ignored by the calculation and shown by anyone reading the file.
        if (!codigos.insert(faixa.codigo).second)
            f.ErroEm("codigo", "uma segunda definição da faixa " + std::to_string(faixa.codigo));
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
            a.ErroEm("ponteiro", "um segundo apontamento no mês " + a.Texto("mes") + ", número " +
                                     std::to_string(novo.ponteiro));
    }
    // A fault that names what does not exist would never fire: the replay would run clean.
    for (const CNo& f : raiz.Lista("falhas")) {
        f.Objeto({"servidor", "operacao", "chamada", "hr"});
        Falha falha;
        LeOperacao(f, falha.servidor, falha.operacao);
        falha.chamada = f.Tem("chamada") ? f.Inteiro<int>("chamada") : 1;
        if (falha.chamada < 1)
            f.ErroEm("chamada",
                     "as chamadas contam a partir de 1, não " + std::to_string(falha.chamada));
        falha.hr = f.Hr("hr");
        // A success code only means something to KeepAlive (it answers FALSE); elsewhere the
        // call would go on as if nothing were scripted.
        if (SUCCEEDED(falha.hr) && falha.operacao != "KeepAlive")
            f.ErroEm("hr", "um código de sucesso não é uma falha (só KeepAlive o usa: responde "
                           "FALSE)");
        for (std::size_t i = 0; i < dados.falhas.size(); ++i)
            if (dados.falhas[i].servidor == falha.servidor &&
                dados.falhas[i].operacao == falha.operacao &&
                dados.falhas[i].chamada == falha.chamada)
                f.ErroEm("chamada", "a chamada " + std::to_string(falha.chamada) + " de " +
                                        falha.servidor + "::" + falha.operacao +
                                        " já tem uma falha (falhas[" + std::to_string(i) + "])");
        dados.falhas.push_back(falha);
    }
    for (const CNo& h : raiz.Lista("hostis")) {
        h.Objeto({"servidor", "operacao", "tipo"});
        Hostilidade hostil;
        const Operacao& operacao = LeOperacao(h, hostil.servidor, hostil.operacao);
        std::string tipos;
        for (const ETipoHostil t : operacao.hostis)
            tipos += (tipos.empty() ? "" : ", ") + NomeDoTipo(t);
        const std::string tipo = h.Texto("tipo");
        const auto achado = TiposHostis().find(tipo);
        if (achado == TiposHostis().end() ||
            std::find(operacao.hostis.begin(), operacao.hostis.end(), achado->second) ==
                operacao.hostis.end())
            h.ErroEm("tipo", hostil.operacao + " não dá a resposta hostil \"" + ParaUtf8(tipo) +
                                 "\" (" + (tipos.empty() ? "não devolve array" : "dá " + tipos) +
                                 ")");
        hostil.tipo = achado->second;
        dados.hostilidades.push_back(hostil);
    }
    return dados;
}

CDadosAmostra LeArquivoCenario(const std::string& caminho) {
    std::error_code erro;
    if (std::filesystem::is_directory(caminho, erro))
        throw CErroCenario(caminho + ": é uma pasta, não um arquivo de cenário");
    std::ifstream in(caminho, std::ios::binary);
    if (!in)
        throw CErroCenario(caminho + ": não foi possível ler o arquivo");
    std::ostringstream texto;
    texto << in.rdbuf();
    try {
        return LeCenario(texto.str());
    } catch (const CErroCenario& e) {
        throw CErroCenario(caminho + ": " + e.what());
    }
}

std::string EscreveCenario(const CDadosAmostra& dados, bool bCompacto) {
    // Compact: the optional members at their defaults (0, an empty text) are left out.
    const auto enxuga = [bCompacto](json o) {
        if (!bCompacto)
            return o;
        for (auto it = o.begin(); it != o.end();) {
            const json& v = it.value();
            static const std::set<std::string> quantias = {
                "precoUnitario", "precoExcedente", "franquia",    "percentual",
                "quantidade",    "descTotal",      "pesoEntrada", "pesoSaida"};
            const bool bPadrao =
                (v.is_number() && v == 0) || (v.is_array() && v.empty()) ||
                (v.is_string() &&
                 (v.get_ref<const std::string&>().empty() ||
                  (quantias.count(it.key()) &&
                   v.get_ref<const std::string&>().find_first_not_of("0.") == std::string::npos)));
            it = bPadrao ? o.erase(it) : std::next(it);
        }
        return o;
    };
    const auto quantia = [](LONGLONG bruto, int nDecimais) {
        return std::string(CGeCurrencyEx::TextoDecimal(bruto, nDecimais).GetString());
    };
    const auto classificacoes = [&](const std::vector<Classificacao>& lista) {
        json v = json::array();
        for (const Classificacao& c : lista)
            v.push_back(enxuga({{"codigo", c.codigo},
                                {"percentual", quantia(c.percentual, 4)},
                                {"descricao", ParaUtf8(c.descricao)}}));
        return v;
    };
    const auto contrato = [&](const Contrato& c) {
        json itens = json::array(), faixas = json::array();
        for (const ItemContrato& i : c.itens)
            itens.push_back(enxuga({{"servico", i.servico},
                                    {"precoUnitario", quantia(i.precoUnitario, 8)},
                                    {"precoExcedente", quantia(i.precoExcedente, 8)},
                                    {"franquia", quantia(i.franquia, 4)},
                                    {"texto", ParaUtf8(i.texto)},
                                    {"classificacoes", classificacoes(i.classificacoes)}}));
        for (const FaixaContrato& f : c.faixas)
            faixas.push_back(
                {{"codigo", f.codigo}, {"classificacoes", classificacoes(f.classificacoes)}});
        return json{{"codigo", ParaUtf8(c.codigo)},
                    {"ponteiro", c.ponteiro},
                    {"itens", itens},
                    {"faixas", faixas}};
    };
    json raiz = json::object();
    if (dados.contratos.size() == 1) {
        raiz["contrato"] = contrato(dados.contratos.front());
    } else if (!dados.contratos.empty()) {
        raiz["contratos"] = json::array();
        for (const Contrato& c : dados.contratos)
            raiz["contratos"].push_back(contrato(c));
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
                                  {"descricao", ParaUtf8(f.descricao)},
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
            itens.push_back(enxuga(std::move(item)));
        }
        json apontamento = enxuga({{"ponteiro", a.ponteiro},
                                   {"contrato", a.pontContr},
                                   {"codigo", ParaUtf8(a.codigo)},
                                   {"listarNF", a.listarNF},
                                   {"motorista", a.motorista},
                                   {"placa", a.placa},
                                   {"municipio", a.municipio},
                                   {"residuos", ParaUtf8(a.residuos)},
                                   {"itens", itens}});
        apontamento["mes"] = CTQMa::DeCompactado(a.ma).Formata().str();
        raiz["apontamentos"].push_back(std::move(apontamento));
    }
    return bCompacto ? raiz.dump() + "\n" : raiz.dump(2) + "\n";
}

} // namespace tq::amostra
