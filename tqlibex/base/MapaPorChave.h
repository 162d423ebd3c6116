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
    CMapaPorChave() { Dimensiona(16); }

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
    const V* Procura(ULONG chave) const {
        const Entrada& e = m_tabela[Posicao(chave)];
        return e.bUsada ? &e.valor : nullptr;
    }
    void Limpa() {
        for (Entrada& e : m_tabela)
            e.bUsada = false;
        m_nUsadas = 0;
    }
    std::size_t Tamanho() const { return m_nUsadas; }

private:
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
            i = (i + 1) & (m_tabela.size() - 1);
        return i;
    }
    void Dimensiona(std::size_t nTamanho) {
        std::vector<Entrada> antiga;
        antiga.swap(m_tabela);
        m_tabela.resize(nTamanho);
        m_nDeslocamento = 64;
        for (std::size_t n = nTamanho; n > 1; n >>= 1)
            --m_nDeslocamento;
        for (const Entrada& e : antiga)
            if (e.bUsada)
                m_tabela[Posicao(e.chave)] = e;
    }

    std::vector<Entrada> m_tabela;
    std::size_t m_nUsadas = 0;
    int m_nDeslocamento = 60;
};

} // namespace tq::detail
