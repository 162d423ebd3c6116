#include "tqlibex/system/Plataforma.h"

#include <sys/mman.h>

#include <cstdint>
#include <cstdio>
#include <unistd.h>

namespace tq {

bool RodandoSobWine() {
    return false;
}

void SaidaPadraoBinaria() {}

bool EhTerminal(EFluxo fluxo) {
    return isatty(fluxo == EFluxo::Saida ? STDOUT_FILENO : STDERR_FILENO) == 1;
}

bool EscreveTexto(EFluxo fluxo, std::string_view utf8) {
    std::FILE* f = fluxo == EFluxo::Saida ? stdout : stderr;
    const bool bEscrito = std::fwrite(utf8.data(), 1, utf8.size(), f) == utf8.size();
    return std::fflush(f) == 0 && bEscrito;
}

void PedePaginasGrandes(void* p, std::size_t cb) {
#ifdef MADV_HUGEPAGE
    constexpr std::uintptr_t kGrande = std::uintptr_t{1} << 21;
    const auto inicio = reinterpret_cast<std::uintptr_t>(p);
    const std::uintptr_t primeira = (inicio + kGrande - 1) & ~(kGrande - 1);
    const std::uintptr_t fim = (inicio + cb) & ~(kGrande - 1);
    // Only advice: a kernel without them, or a range it refuses, leaves the pages as they are.
    if (cb >= kGrande && fim > primeira)
        (void)madvise(reinterpret_cast<void*>(primeira), fim - primeira, MADV_HUGEPAGE);
#else
    (void)p;
    (void)cb;
#endif
}

} // namespace tq
