#include "tqlibex/com/AlocadorTarefas.h"

#include <ComApi.h>

#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace tq {

char* DuplicaTexto(const char* psz) {
    if (!psz)
        return nullptr;
    const std::size_t n = std::strlen(psz) + 1;
    auto* p = static_cast<char*>(CoTaskMemAlloc(n));
    if (p)
        std::memcpy(p, psz, n);
    return p;
}

void* AlocaZerado(std::size_t n, std::size_t cbElemento) {
    if (n == 0 || cbElemento == 0 || n > SIZE_MAX / cbElemento)
        return nullptr;
    void* p = CoTaskMemAlloc(n * cbElemento);
    if (p)
        std::memset(p, 0, n * cbElemento);
    return p;
}

namespace detail {

void CopiaParaLonge(void* pDestino, const void* pOrigem, std::size_t cb) {
    auto* d = static_cast<char*>(pDestino);
    const auto* o = static_cast<const char*>(pOrigem);
    std::size_t i = 0;
#ifdef __SSE2__
    if ((reinterpret_cast<std::uintptr_t>(d) & 15) == 0) {
        const auto copia16 = [d, o](std::size_t k) {
            _mm_stream_si128(reinterpret_cast<__m128i*>(d + k),
                             _mm_loadu_si128(reinterpret_cast<const __m128i*>(o + k)));
        };
        for (; i + 64 <= cb; i += 64) {
            copia16(i);
            copia16(i + 16);
            copia16(i + 32);
            copia16(i + 48);
        }
        for (; i + 16 <= cb; i += 16)
            copia16(i);
    }
#endif
    if (i < cb)
        std::memcpy(d + i, o + i, cb - i);
}

void TerminaCopiasParaLonge() {
#ifdef __SSE2__
    _mm_sfence();
#endif
}

} // namespace detail

} // namespace tq
