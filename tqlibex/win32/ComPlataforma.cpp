#include "tqlibex/PrimitivaCom.h"

#include "WinApi.h"

#include <cstdio>

namespace tq::detail {

bool IsWow64(BOOL* pbWow64) {
    *pbWow64 = FALSE;
    using IsWow64ProcessFn = BOOL(WINAPI*)(HANDLE, PBOOL);
    const HMODULE kernel32 = GetModuleHandleA("kernel32");
    const auto pfn = kernel32 ? reinterpret_cast<IsWow64ProcessFn>(reinterpret_cast<void*>(
                                    GetProcAddress(kernel32, "IsWow64Process")))
                              : nullptr;
    // Systems without the function have no WOW64 either.
    return !pfn || pfn(GetCurrentProcess(), pbWow64);
}

std::basic_string<WCHAR> TextoLargo(const char* psz) {
    if (!psz || !*psz)
        return {};
    const int n = MultiByteToWideChar(CP_ACP, 0, psz, -1, nullptr, 0);
    if (n <= 0)
        return {};
    std::basic_string<WCHAR> texto(static_cast<size_t>(n), L'\0');
    MultiByteToWideChar(CP_ACP, 0, psz, -1, texto.data(), n);
    texto.resize(static_cast<size_t>(n - 1));
    return texto;
}

CTQString SaidaDoPing(const char* pszServidor) {
    CTQString comando;
    comando.Format("ping %s 2>&1", pszServidor);
    FILE* pSaida = _popen(comando.GetString(), "r");
    if (!pSaida)
        return CTQString();
    CTQString texto;
    char buffer[256];
    while (std::fgets(buffer, sizeof buffer, pSaida))
        texto += buffer;
    _pclose(pSaida);
    return texto;
}

} // namespace tq::detail
