#include "tqlibex/system/Plataforma.h"

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

} // namespace tq
