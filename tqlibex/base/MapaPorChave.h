// A hash map from a 32-bit key (a service code) to a small value, for the calculations' totals:
// open addressing in one flat table, so that a month of a million items over thousands of
// services looks each one up without a node allocation or a pointer chase.
#pragma once

#include "tqlibex/base/WinTypes.h"

#include <cstdint>
#include <vector>

namespace tq::detail {

template <class V>
class CMapaPorChave {
public:
    CMapaPorChave() { Dimensiona(kTamanhoInicial); }

    // The value of `chave`, inserted as `inicial` when absent (bNovo then true).
    V& Obtem(ULONG chave, const V& inicial, bool& bNovo) {
        if (2 * (m_nUsadas + 1) > m_tabela.size())
            Dimensiona(2 * m_tabela.size());
        Entrada& e = m_tabela[Posicao(chave)];
        bNovo = !e.bUsada;
        if (bNovo) {
            e = {chave, true, inicial};
            ++m_nUsadas;
        }
        return e.valor;
    }
    // The value of `chave`, or null: a loop that mostly finds its keys asks this first, and
    // inserts through Obtem only on a miss, so that its common step has no growth to check.
    V* Procura(ULONG chave) {
        Entrada& e = m_tabela[Posicao(chave)];
        return e.bUsada ? &e.valor : nullptr;
    }
    const V* Procura(ULONG chave) const {
        const Entrada& e = m_tabela[Posicao(chave)];
        return e.bUsada ? &e.valor : nullptr;
    }
    // Empties the map, keeping a table the size of what it last held: a large month's table
    // serves the next large month, and goes with the first small one after it.
    void Limpa() {
        std::size_t nTamanho = kTamanhoInicial;
        while (2 * (m_nUsadas + 1) > nTamanho)
            nTamanho *= 2;
        m_nUsadas = 0;
        if (nTamanho < m_tabela.size()) {
            std::vector<Entrada>().swap(m_tabela);
            Dimensiona(nTamanho);
            return;
        }
        for (Entrada& e : m_tabela)
            e.bUsada = false;
    }
    // The table's slots: twice the entries at least.
    std::size_t Capacidade() const { return m_tabela.size(); }
    std::size_t Tamanho() const { return m_nUsadas; }
    // f(chave, valor) for every entry, in no particular order.
    template <class F>
    void ParaCada(F f) const {
        for (const Entrada& e : m_tabela)
            if (e.bUsada)
                f(e.chave, e.valor);
    }

private:
    static constexpr std::size_t kTamanhoInicial = 16;

    struct Entrada {
        ULONG chave = 0;
        bool bUsada = false;
        V valor{};
    };

    // Fibonacci hashing: the top bits of the key times 2^64 / phi spread any set of codes.
    std::size_t Posicao(ULONG chave) const {
        std::size_t i =
            static_cast<std::size_t>((chave * 0x9E3779B97F4A7C15ull) >> m_nDeslocamento);
        while (m_tabela[i].bUsada && m_tabela[i].chave != chave)
            i = (i + 1) & m_nMascara;
        return i;
    }
    void Dimensiona(std::size_t nTamanho) {
        std::vector<Entrada> antiga;
        antiga.swap(m_tabela);
        m_tabela.resize(nTamanho);
        m_nMascara = nTamanho - 1;
        m_nDeslocamento = 64;
        for (std::size_t n = nTamanho; n > 1; n >>= 1)
            --m_nDeslocamento;
        for (const Entrada& e : antiga)
            if (e.bUsada)
                m_tabela[Posicao(e.chave)] = e;
    }

    std::vector<Entrada> m_tabela;
    std::size_t m_nUsadas = 0;
    std::size_t m_nMascara = 15; // slots - 1
    int m_nDeslocamento = 60;
};

} // namespace tq::detail
