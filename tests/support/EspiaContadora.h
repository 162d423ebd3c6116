// A counting task-allocator spy: which blocks are alive, and every free of a block that was not
// (freed twice, or never handed out while the spy watched). Installed for its lifetime.
#pragma once

#include "tqlibex/com/AlocadorTarefas.h"

#include <ComApi.h>

#include <cstddef>
#include <mutex>
#include <set>

namespace tq::teste {

class EspiaContadora : public IEspiaAlocador {
public:
    EspiaContadora() : m_escopo(*this) {}
    void Alocou(void* p, std::size_t cb) override {
        std::lock_guard lock(m_mutex);
        m_vivos.insert(p);
        ++m_nAlocados;
        m_nBytes += cb;
    }
    void Liberou(void* p) override {
        std::lock_guard lock(m_mutex);
        if (m_vivos.erase(p) == 0)
            ++m_nLiberacoesInvalidas;
    }
    std::size_t Vivos() const {
        std::lock_guard lock(m_mutex);
        return m_vivos.size();
    }
    // Which blocks are alive, to compare with those an object says it still holds.
    std::set<const void*> OsVivos() const {
        std::lock_guard lock(m_mutex);
        return {m_vivos.begin(), m_vivos.end()};
    }
    std::size_t Alocados() const {
        std::lock_guard lock(m_mutex);
        return m_nAlocados;
    }
    std::size_t Bytes() const {
        std::lock_guard lock(m_mutex);
        return m_nBytes;
    }
    // Frees the blocks still alive (those a calculation keeps on purpose) and says how many.
    std::size_t LiberaOsVivos() {
        return LiberaOsVivos([](const void*) { return true; });
    }
    // Only those the predicate picks.
    template <class Escolhe>
    std::size_t LiberaOsVivos(Escolhe escolhe) {
        std::set<void*> vivos;
        {
            std::lock_guard lock(m_mutex);
            vivos = m_vivos;
        }
        std::size_t n = 0;
        for (void* p : vivos)
            if (escolhe(static_cast<const void*>(p))) {
                CoTaskMemFree(p);
                ++n;
            }
        return n;
    }
    std::size_t LiberacoesInvalidas() const {
        std::lock_guard lock(m_mutex);
        return m_nLiberacoesInvalidas;
    }

private:
    mutable std::mutex m_mutex;
    std::set<void*> m_vivos;
    std::size_t m_nAlocados = 0, m_nBytes = 0, m_nLiberacoesInvalidas = 0;
    CEscopoEspiaAlocador m_escopo;
};

} // namespace tq::teste
