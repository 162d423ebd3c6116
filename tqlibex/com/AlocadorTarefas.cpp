#include "tqlibex/com/AlocadorTarefas.h"

#include <ComApi.h>

#include <cstdint>
#include <cstring>

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

} // namespace tq
