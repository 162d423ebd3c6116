#include "support/Tabela.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace tq::teste {

namespace {

// A missing trailing cell reads as empty (Linha::Texto), so getline's dropping it is harmless.
std::vector<std::string> Celulas(const std::string& linha) {
    std::vector<std::string> v;
    std::istringstream in(linha);
    for (std::string celula; std::getline(in, celula, '\t');)
        v.push_back(celula);
    return v;
}

std::string SemEscapes(const std::string& s) {
    std::string r;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i] != '\\' || i + 1 == s.size()) {
            r += s[i];
            continue;
        }
        const char c = s[++i];
        if (c == 'x' && i + 2 < s.size()) {
            r += static_cast<char>(std::stoi(s.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            r += c == 't' ? '\t' : c == 'n' ? '\n' : c == 'r' ? '\r' : c;
        }
    }
    return r;
}

} // namespace

std::string CaminhoDosDados(const std::string& arquivo) {
    std::string caminho = TQGE_DADOS_TESTE;
    caminho += '/';
    return caminho += arquivo;
}

std::vector<Linha> LeTabela(const std::string& arquivo) {
    std::ifstream in(CaminhoDosDados(arquivo), std::ios::binary);
    EXPECT_TRUE(in.is_open()) << "cannot read " << CaminhoDosDados(arquivo);
    std::vector<Linha> linhas;
    std::shared_ptr<std::map<std::string, std::size_t>> colunas;
    std::string texto;
    for (int n = 1; std::getline(in, texto); ++n) {
        if (!texto.empty() && texto.back() == '\r')
            texto.pop_back();
        if (texto.empty() || texto[0] == '#')
            continue;
        std::vector<std::string> celulas = Celulas(texto);
        if (!colunas) {
            colunas = std::make_shared<std::map<std::string, std::size_t>>();
            for (std::size_t i = 0; i < celulas.size(); ++i)
                (*colunas)[celulas[i]] = i;
            continue;
        }
        Linha l;
        l.m_pColunas = colunas;
        l.m_celulas = std::move(celulas);
        l.m_origem = arquivo + ":" + std::to_string(n);
        linhas.push_back(std::move(l));
    }
    EXPECT_FALSE(linhas.empty()) << arquivo << " has no rows";
    return linhas;
}

std::string Linha::Texto(const std::string& coluna) const {
    const auto it = m_pColunas->find(coluna);
    if (it == m_pColunas->end())
        throw std::invalid_argument(m_origem + ": no column " + coluna);
    return it->second < m_celulas.size() ? SemEscapes(m_celulas[it->second]) : std::string();
}

std::vector<std::string> Separa(const std::string& texto, char separador) {
    std::vector<std::string> v;
    std::istringstream in(texto);
    for (std::string item; std::getline(in, item, separador);)
        if (!item.empty())
            v.push_back(item);
    return v;
}

long long Linha::I64(const std::string& coluna) const {
    const std::string s = Texto(coluna);
    if (s.empty())
        return 0;
    const bool bNegativo = s[0] == '-';
    const std::string corpo = bNegativo ? s.substr(1) : s;
    std::size_t usados = 0;
    unsigned long long v;
    if (corpo.rfind("0x", 0) == 0 || corpo.rfind("0X", 0) == 0)
        v = std::stoull(corpo.substr(2), &usados, 16), usados += 2;
    else
        v = std::stoull(corpo, &usados, 10);
    if (usados != corpo.size())
        throw std::invalid_argument(m_origem + ": not a number in " + coluna + ": " + s);
    return static_cast<long long>(bNegativo ? 0 - v : v);
}

} // namespace tq::teste
