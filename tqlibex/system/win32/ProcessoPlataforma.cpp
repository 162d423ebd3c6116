// Windows: process facts from psapi, version.dll (bound at run time), GetVersion and advapi32.
#include "tqlibex/system/Processo.h"

#include <WinApi.h>

#include <psapi.h>

#include <vector>

namespace tq::detail {

LONGLONG BytesPrivados() {
    PROCESS_MEMORY_COUNTERS_EX contadores{};
    contadores.cb = sizeof contadores;
    if (!GetProcessMemoryInfo(GetCurrentProcess(),
                              reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&contadores),
                              sizeof contadores))
        return 0;
    return static_cast<LONGLONG>(contadores.PrivateUsage);
}

bool VersaoDoPrograma(DWORD& dwMS, DWORD& dwLS) {
    dwMS = dwLS = 0;
    const HMODULE versao = LoadLibraryA("version.dll");
    if (!versao)
        return false;
    using FnTamanho = DWORD(WINAPI*)(LPCSTR, LPDWORD);
    using FnInfo = BOOL(WINAPI*)(LPCSTR, DWORD, DWORD, LPVOID);
    using FnValor = BOOL(WINAPI*)(LPCVOID, LPCSTR, LPVOID*, PUINT);
    const auto tamanho = reinterpret_cast<FnTamanho>(
        reinterpret_cast<void*>(GetProcAddress(versao, "GetFileVersionInfoSizeA")));
    const auto info = reinterpret_cast<FnInfo>(
        reinterpret_cast<void*>(GetProcAddress(versao, "GetFileVersionInfoA")));
    const auto valor = reinterpret_cast<FnValor>(
        reinterpret_cast<void*>(GetProcAddress(versao, "VerQueryValueA")));
    bool bOk = false;
    char caminho[MAX_PATH + 1] = {};
    if (tamanho && info && valor && GetModuleFileNameA(nullptr, caminho, MAX_PATH)) {
        DWORD lixo = 0;
        const DWORD n = tamanho(caminho, &lixo);
        std::vector<BYTE> dados(n);
        VS_FIXEDFILEINFO* fixo = nullptr;
        UINT nFixo = 0;
        if (n && info(caminho, 0, n, dados.data()) &&
            valor(dados.data(), "\\", reinterpret_cast<LPVOID*>(&fixo), &nFixo) && fixo &&
            fixo->dwSignature == 0xFEEF04BD) {
            dwMS = fixo->dwFileVersionMS;
            dwLS = fixo->dwFileVersionLS;
            bOk = true;
        }
    }
    FreeLibrary(versao);
    return bOk;
}

DWORD VersaoDoSistema() {
    return GetVersion();
}

CTQString CaminhoDoPrograma() {
    char caminho[MAX_PATH + 1] = {};
    const DWORD n = GetModuleFileNameA(nullptr, caminho, MAX_PATH);
    return CTQString(caminho, static_cast<int>(n));
}

CTQString NomeDoProcesso() {
    CTQString caminho = CaminhoDoPrograma();
    return caminho.Mid(caminho.ReverseFind('\\') + 1).MakeLower();
}

CTQString NomeDoUsuario() {
    char nome[257] = {};
    DWORD n = sizeof nome;
    return GetUserNameA(nome, &n) ? CTQString(nome) : CTQString();
}

GUID NovoGuid() {
    GUID g{};
    CoCreateGuid(&g);
    return g;
}

DWORD IdDoProcesso() {
    return GetCurrentProcessId();
}

} // namespace tq::detail
