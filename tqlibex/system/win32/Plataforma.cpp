#include "tqlibex/system/Plataforma.h"

#include <WinApi.h>

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <string>

namespace tq {

bool RodandoSobWine() {
    const HMODULE ntdll = GetModuleHandleA("ntdll.dll");
    return ntdll && GetProcAddress(ntdll, "wine_get_version") != nullptr;
}

namespace {
HANDLE Manipulador(EFluxo fluxo) {
    return GetStdHandle(fluxo == EFluxo::Saida ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}
} // namespace

bool EhTerminal(EFluxo fluxo) {
    DWORD dwModo = 0;
    return GetConsoleMode(Manipulador(fluxo), &dwModo) != FALSE;
}

bool EscreveTexto(EFluxo fluxo, std::string_view utf8) {
    std::FILE* f = fluxo == EFluxo::Saida ? stdout : stderr;
    std::fflush(f);
    if (!EhTerminal(fluxo) || utf8.empty()) {
        const bool bEscrito = std::fwrite(utf8.data(), 1, utf8.size(), f) == utf8.size();
        return std::fflush(f) == 0 && bEscrito;
    }
    const int n =
        MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
    std::wstring largo(static_cast<std::size_t>(n), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), largo.data(), n);
    // A console takes a limited amount per call; write in pieces until all is out.
    const HANDLE h = Manipulador(fluxo);
    for (std::size_t feito = 0; feito < largo.size();) {
        const DWORD dwPedido =
            static_cast<DWORD>(std::min<std::size_t>(largo.size() - feito, 8192));
        DWORD dwEscrito = 0;
        if (!WriteConsoleW(h, largo.data() + feito, dwPedido, &dwEscrito, nullptr) || !dwEscrito)
            return false;
        feito += dwEscrito;
    }
    return true;
}

void SaidaPadraoBinaria() {
    std::fflush(stdout);
    _setmode(_fileno(stdout), _O_BINARY);
}

// Large pages on Windows need a privilege a module does not hold; the pages stay as they are.
void PedePaginasGrandes(void*, std::size_t) {}

} // namespace tq
