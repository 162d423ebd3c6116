#include "tqlibex/Plataforma.h"

#include "WinApi.h"

#include <cstdio>
#include <fcntl.h>
#include <io.h>

namespace tq {

bool RodandoSobWine() {
    const HMODULE ntdll = GetModuleHandleA("ntdll.dll");
    return ntdll && GetProcAddress(ntdll, "wine_get_version") != nullptr;
}

void SaidaPadraoBinaria() {
    std::fflush(stdout);
    _setmode(_fileno(stdout), _O_BINARY);
}

} // namespace tq
