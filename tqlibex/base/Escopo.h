// Ports with one owner at a time: production uses the platform's adapter with no setup, and a test
// installs its own for a scope, the previous one coming back on exit (as Abseil injects time).
#pragma once

#include <atomic>

namespace tq {

namespace detail {
// The adapter a scope installed for port T, or null.
template <class T>
std::atomic<T*>& Instalado() {
    static std::atomic<T*> instalado{nullptr};
    return instalado;
}
} // namespace detail

// The adapter in force for port T: the installed one, else `padrao`.
template <class T>
T& EmUso(T& padrao) {
    T* p = detail::Instalado<T>().load(std::memory_order_acquire);
    return p ? *p : padrao;
}

template <class T>
class CEscopo {
public:
    explicit CEscopo(T& adaptador)
        : m_pAnterior(detail::Instalado<T>().exchange(&adaptador, std::memory_order_acq_rel)) {}
    ~CEscopo() { detail::Instalado<T>().store(m_pAnterior, std::memory_order_release); }
    CEscopo(const CEscopo&) = delete;
    CEscopo& operator=(const CEscopo&) = delete;

private:
    T* m_pAnterior;
};

} // namespace tq
