#include "tqlibex/Plataforma.h"

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

void EscreveTexto(EFluxo fluxo, std::string_view utf8) {
    std::FILE* f = fluxo == EFluxo::Saida ? stdout : stderr;
    std::fwrite(utf8.data(), 1, utf8.size(), f);
    std::fflush(f);
}

} // namespace tq
