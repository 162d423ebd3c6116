#include "tools/tqcalc/EntradaLote.h"

#include "foundation/GeCurrencyEx.h"
#include "servers/amostra/CenarioAmostra.h"
#include "tqlibex/base/TQString.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <tuple>

namespace tq::calc {

using namespace tq::amostra;
namespace fs = std::filesystem;

namespace {

// FNV-1a, 64 bits: enough to tell one month's input from another's (not a guard against anyone).
class CImpressao {
public:
    void Acrescenta(const std::string& bytes) {
        for (const char c : bytes) {
            m_h ^= static_cast<unsigned char>(c);
            m_h *= 0x100000001B3ull;
        }
        m_h ^= 0xFF; // a separator no text holds, so that "ab"+"c" differs from "a"+"bc"
        m_h *= 0x100000001B3ull;
    }
    std::string Texto() const {
        char t[17];
        std::snprintf(t, sizeof t, "%016llx", static_cast<unsigned long long>(m_h));
        return t;
    }

private:
    unsigned long long m_h = 0xCBF29CE484222325ull;
};

std::string LeArquivo(const std::string& caminho) {
    std::ifstream in(caminho, std::ios::binary);
    if (!in)
        throw CErroEntrada(caminho + ": não foi possível ler o arquivo");
    std::ostringstream texto;
    texto << in.rdbuf();
    return texto.str();
}

CDadosAmostra LeCenarioDoArquivo(const std::string& caminho, const std::string& texto) {
    try {
        return LeCenario(texto);
    } catch (const CErroCenario& e) {
        throw CErroEntrada(caminho + ": " + e.what());
    }
}

// The summary is ';'-separated: a code holding one, or a quote, would shift its columns.
void ChecaCodigo(const std::string& onde, const std::string& codigoUtf8) {
    if (codigoUtf8.empty())
        throw CErroEntrada(onde + ": o contrato não tem código");
    if (codigoUtf8.find_first_of(";\"") != std::string::npos)
        throw CErroEntrada(onde + ": o código \"" + codigoUtf8 +
                           "\" tem ';' ou '\"', que o resumo.csv não separa");
}

void RecusaFalhas(const std::string& caminho, const CDadosAmostra& d) {
    if (!d.falhas.empty())
        throw CErroEntrada(caminho +
                           ": falhas: o lote não reproduz falhas programadas (a chamada N de uma "
                           "operação conta no processo inteiro, entre contratos e threads); "
                           "reproduza-as com um contrato só: tqcalc CENARIO --mes MM/AAAA");
}

bool Iguais(const Faixa& a, const Faixa& b) {
    if (std::tie(a.codigo, a.servico, a.descricao) != std::tie(b.codigo, b.servico, b.descricao) ||
        a.bandas.size() != b.bandas.size())
        return false;
    for (std::size_t i = 0; i < a.bandas.size(); ++i)
        if (std::tie(a.bandas[i].inferior, a.bandas[i].superior, a.bandas[i].preco) !=
            std::tie(b.bandas[i].inferior, b.bandas[i].superior, b.bandas[i].preco))
            return false;
    return true;
}

bool Iguais(const ItemApontamento& a, const ItemApontamento& b) {
    return std::tie(a.horaInicial, a.horaFinal, a.servico, a.executor, a.quantidade.int64,
                    a.descTotal.int64, a.pesoEntrada.int64, a.pesoSaida.int64, a.data) ==
           std::tie(b.horaInicial, b.horaFinal, b.servico, b.executor, b.quantidade.int64,
                    b.descTotal.int64, b.pesoEntrada.int64, b.pesoSaida.int64, b.data);
}

bool Iguais(const Apontamento& a, const Apontamento& b) {
    if (std::tie(a.ma, a.ponteiro, a.pontContr, a.codigo, a.listarNF, a.motorista, a.placa,
                 a.municipio, a.residuos) != std::tie(b.ma, b.ponteiro, b.pontContr, b.codigo,
                                                      b.listarNF, b.motorista, b.placa, b.municipio,
                                                      b.residuos) ||
        a.itens.size() != b.itens.size())
        return false;
    for (std::size_t i = 0; i < a.itens.size(); ++i)
        if (!Iguais(a.itens[i], b.itens[i]))
            return false;
    return true;
}

// The contracts of the data set, checked and sorted by code as text.
void Ordena(CEntradaLote& e, const std::string& caminho) {
    for (const Contrato& c : e.dados.contratos) {
        e.contratos.push_back({ParaUtf8(c.codigo), c.ponteiro});
        ChecaCodigo(caminho, e.contratos.back().codigo);
    }
    std::sort(e.contratos.begin(), e.contratos.end(),
              [](const CContratoLote& a, const CContratoLote& b) { return a.codigo < b.codigo; });
}

CEntradaLote LePasta(const std::string& pasta) {
    std::vector<fs::path> arquivos;
    std::error_code erro;
    for (const fs::directory_entry& d : fs::directory_iterator(pasta, erro))
        if (d.path().extension() == ".json" && d.is_regular_file(erro))
            arquivos.push_back(d.path());
    if (erro)
        throw CErroEntrada(pasta + ": não foi possível ler a pasta: " + erro.message());
    if (arquivos.empty())
        throw CErroEntrada(pasta + ": a pasta não tem cenários (*.json)");
    std::sort(arquivos.begin(), arquivos.end());

    CEntradaLote e;
    e.tipo = CEntradaLote::Pasta;
    CImpressao impressao;
    // Where each code, internal number, range and record came from, to name both files.
    std::map<std::string, std::string> codigos;
    std::map<ULONG, std::string> ponteiros;
    std::map<ULONG, std::pair<std::size_t, std::string>> faixas;
    std::map<std::pair<WORD, ULONG>, std::pair<std::size_t, std::string>> posicoes;
    for (const fs::path& p : arquivos) {
        const std::string caminho = p.string(), nome = p.filename().string();
        const std::string texto = LeArquivo(caminho);
        impressao.Acrescenta(nome);
        impressao.Acrescenta(texto);
        CDadosAmostra d = LeCenarioDoArquivo(caminho, texto);
        RecusaFalhas(caminho, d);
        for (Contrato& c : d.contratos) {
            const std::string codigo = ParaUtf8(c.codigo);
            if (const auto [it, bNovo] = codigos.emplace(codigo, nome); !bNovo)
                throw CErroEntrada(caminho + ": o contrato \"" + codigo + "\" também está em " +
                                   it->second);
            if (const auto [it, bNovo] = ponteiros.emplace(c.ponteiro, nome); !bNovo)
                throw CErroEntrada(caminho + ": o número interno " + std::to_string(c.ponteiro) +
                                   " (contrato \"" + codigo + "\") já é de um contrato de " +
                                   it->second);
            e.dados.contratos.push_back(std::move(c));
        }
        for (std::size_t i = 0; i < d.faixas.size(); ++i) {
            Faixa& f = d.faixas[i];
            const auto [it, bNova] =
                faixas.emplace(f.codigo, std::make_pair(e.dados.faixas.size(), nome));
            if (bNova)
                e.dados.faixas.push_back(std::move(f));
            else if (!Iguais(e.dados.faixas[it->second.first], f))
                throw CErroEntrada(caminho + ": faixas[" + std::to_string(i) + "]: a faixa " +
                                   std::to_string(f.codigo) + " difere da de " + it->second.second +
                                   " (os cenários de uma pasta são um mês de um mesmo sistema)");
        }
        for (std::size_t i = 0; i < d.apontamentos.size(); ++i) {
            Apontamento& a = d.apontamentos[i];
            const auto [it, bNovo] =
                posicoes.emplace(std::make_pair(a.ma, a.ponteiro),
                                 std::make_pair(e.dados.apontamentos.size(), nome));
            if (bNovo)
                e.dados.apontamentos.push_back(std::move(a));
            else if (!Iguais(e.dados.apontamentos[it->second.first], a))
                throw CErroEntrada(caminho + ": apontamentos[" + std::to_string(i) +
                                   "]: o apontamento número " + std::to_string(a.ponteiro) +
                                   " do mês difere do de " + it->second.second +
                                   " (os cenários de uma pasta são um mês de um mesmo sistema)");
        }
        for (Hostilidade& h : d.hostilidades)
            if (std::none_of(e.dados.hostilidades.begin(), e.dados.hostilidades.end(),
                             [&](const Hostilidade& j) {
                                 return std::tie(j.servidor, j.operacao, j.tipo) ==
                                        std::tie(h.servidor, h.operacao, h.tipo);
                             }))
                e.dados.hostilidades.push_back(std::move(h));
    }
    e.impressao = impressao.Texto();
    Ordena(e, pasta);
    return e;
}

std::string SemFimDeLinha(std::string linha) {
    while (!linha.empty() && (linha.back() == '\r' || linha.back() == ' ' || linha.back() == '\t'))
        linha.pop_back();
    const std::size_t inicio = linha.find_first_not_of(" \t");
    return inicio == std::string::npos ? std::string() : linha.substr(inicio);
}

// The lines of a text file without their ends, a UTF-8 byte order mark dropped.
std::vector<std::string> Linhas(const std::string& texto) {
    std::vector<std::string> v;
    std::istringstream in(texto.compare(0, 3, "\xEF\xBB\xBF") == 0 ? texto.substr(3) : texto);
    std::string linha;
    while (std::getline(in, linha))
        v.push_back(SemFimDeLinha(linha));
    return v;
}

} // namespace

const char* NomeDoTipo(CEntradaLote::ETipo tipo) {
    return tipo == CEntradaLote::Cenario ? "cenario"
           : tipo == CEntradaLote::Pasta ? "pasta"
                                         : "lista";
}

CEntradaLote LeEntradaDeCenarios(const std::string& caminho) {
    std::error_code erro;
    if (fs::is_directory(caminho, erro))
        return LePasta(caminho);
    const std::string texto = LeArquivo(caminho);
    CEntradaLote e;
    e.tipo = CEntradaLote::Cenario;
    CImpressao impressao;
    impressao.Acrescenta(texto);
    e.impressao = impressao.Texto();
    e.dados = LeCenarioDoArquivo(caminho, texto);
    RecusaFalhas(caminho, e.dados);
    Ordena(e, caminho);
    return e;
}

CEntradaLote LeEntradaDeLista(const std::string& caminho) {
    const std::string texto = LeArquivo(caminho);
    CEntradaLote e;
    e.tipo = CEntradaLote::Lista;
    CImpressao impressao;
    impressao.Acrescenta(texto);
    e.impressao = impressao.Texto();
    std::map<std::string, std::size_t> codigos;
    std::map<ULONG, std::pair<std::size_t, std::string>> ponteiros;
    const std::vector<std::string> linhas = Linhas(texto);
    for (std::size_t i = 0; i < linhas.size(); ++i) {
        const std::string& codigo = linhas[i];
        const std::string onde = caminho + ":" + std::to_string(i + 1);
        if (codigo.empty())
            continue;
        ChecaCodigo(onde, codigo);
        std::string codigo1252;
        if (!DeUtf8(codigo, codigo1252))
            throw CErroEntrada(onde + ": o código \"" + codigo +
                               "\" tem um caractere que os servidores não guardam (fora do "
                               "Windows-1252)");
        for (const unsigned char c : codigo1252)
            if (c < 0x20 || c == 0x7F)
                throw CErroEntrada(onde + ": o código tem um caractere de controle");
        if (const auto [it, bNovo] = codigos.emplace(codigo, i + 1); !bNovo)
            throw CErroEntrada(onde + ": o contrato " + codigo + " já está na linha " +
                               std::to_string(it->second));
        const ULONG ponteiro = PonteiroDoCodigo(codigo1252);
        if (const auto [it, bNovo] = ponteiros.emplace(ponteiro, std::make_pair(i + 1, codigo));
            !bNovo)
            throw CErroEntrada(onde + ": " + codigo + " e " + it->second.second + " (linha " +
                               std::to_string(it->second.first) +
                               ") são o mesmo contrato para os servidores (número interno " +
                               std::to_string(ponteiro) + ")");
        e.contratos.push_back({codigo, ponteiro});
    }
    std::sort(e.contratos.begin(), e.contratos.end(),
              [](const CContratoLote& a, const CContratoLote& b) { return a.codigo < b.codigo; });
    return e;
}

bool LeParte(const std::string& texto, CParte& parte) {
    // Digits only, each number at most nine of them: nothing wraps.
    const std::size_t barra = texto.find('/');
    const auto numero = [](const std::string& t, unsigned& v) {
        if (t.empty() || t.size() > 9 || t.find_first_not_of("0123456789") != std::string::npos)
            return false;
        v = static_cast<unsigned>(std::stoul(t));
        return true;
    };
    unsigned i = 0, n = 0;
    if (barra == std::string::npos || !numero(texto.substr(0, barra), i) ||
        !numero(texto.substr(barra + 1), n) || i < 1 || i > n)
        return false;
    parte = {i, n};
    return true;
}

std::vector<CContratoLote> ContratosDaParte(const std::vector<CContratoLote>& todos, CParte parte) {
    std::vector<CContratoLote> v;
    v.reserve(TamanhoDaParte(todos.size(), parte));
    for (std::size_t k = parte.i - 1; k < todos.size(); k += parte.n)
        v.push_back(todos[k]);
    return v;
}

std::size_t TamanhoDaParte(std::size_t nTotal, CParte parte) {
    return nTotal >= parte.i ? (nTotal - parte.i) / parte.n + 1 : 0;
}

std::map<std::string, LONGLONG> LeFaturado(const std::string& caminho) {
    const std::vector<std::string> linhas = Linhas(LeArquivo(caminho));
    std::map<std::string, LONGLONG> faturado;
    std::map<std::string, std::size_t> onde;
    bool bCabecalho = false;
    for (std::size_t i = 0; i < linhas.size(); ++i) {
        const std::string& linha = linhas[i];
        const std::string lugar = caminho + ":" + std::to_string(i + 1);
        if (linha.empty())
            continue;
        if (!bCabecalho) {
            if (linha != "contrato;total")
                throw CErroEntrada(lugar + ": esperado o cabeçalho \"contrato;total\", não \"" +
                                   linha + "\"");
            bCabecalho = true;
            continue;
        }
        const std::size_t sep = linha.find(';');
        if (sep == std::string::npos || linha.find(';', sep + 1) != std::string::npos)
            throw CErroEntrada(lugar + ": esperadas duas colunas, contrato;total");
        const std::string codigo = SemFimDeLinha(linha.substr(0, sep)),
                          total = SemFimDeLinha(linha.substr(sep + 1));
        if (codigo.empty())
            throw CErroEntrada(lugar + ": a linha não tem contrato");
        // A spreadsheet may save in its own code page: such a code would never match the run's.
        if (std::string codigo1252; !DeUtf8(codigo, codigo1252))
            throw CErroEntrada(lugar +
                               ": o contrato não está em UTF-8, ou tem um caractere que "
                               "os servidores não guardam (salve o arquivo como CSV UTF-8)");
        // A decimal comma, and nothing a spreadsheet might mean otherwise: no thousands separator.
        std::string ponto = total;
        const std::size_t virgula = ponto.find(',');
        if (virgula != std::string::npos)
            ponto[virgula] = '.';
        LONGLONG bruto = 0;
        if (total.find('.') != std::string::npos ||
            !CGeCurrencyEx::LeDecimal(ponto.c_str(), 2, bruto))
            throw CErroEntrada(lugar + ": \"" + total +
                               "\" não é um total com vírgula decimal, até dois decimais e sem "
                               "separador de milhar (como 41502,93)");
        if (const auto [it, bNovo] = onde.emplace(codigo, i + 1); !bNovo)
            throw CErroEntrada(lugar + ": o contrato " + codigo + " já está na linha " +
                               std::to_string(it->second));
        faturado.emplace(codigo, bruto);
    }
    if (!bCabecalho)
        throw CErroEntrada(caminho + ": o arquivo está vazio (esperado o cabeçalho "
                                     "\"contrato;total\")");
    return faturado;
}

} // namespace tq::calc
