#include "tqlibex/Plataforma.h"

#include "WinApi.h"

namespace tq {

bool RodandoSobWine() {
    const HMODULE ntdll = GetModuleHandleA("ntdll.dll");
    return ntdll && GetProcAddress(ntdll, "wine_get_version") != nullptr;
}

} // namespace tq
