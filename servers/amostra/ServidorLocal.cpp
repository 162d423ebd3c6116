// The sample business server as a Windows LocalServer32, for running the calculations against a
// server in another process (as the suite's modules always do):
//
//   tqge_servidor_amostra /RegServer [/Cenario ARQUIVO] [/Remoto MAQUINA]
//       registers the three classes (LocalServer32: this program), their AppID, the proxy/stub
//       library beside it and, if given, the scenario it serves and a RemoteServerName;
//   tqge_servidor_amostra /UnregServer
//       removes all of it;
//   tqge_servidor_amostra -Embedding
//       as COM starts it: serves the scenario named by HKLM\Software\TQ Sistemas\tqge\Amostra
//       "Cenario" (a server COM starts does not inherit the client's environment) and ends once
//       no object has lived for a few seconds.
#include "servers/amostra/CenarioAmostra.h"
#include "servers/amostra/ServidorAmostra.h"
#include "tqlibex/base/GuidTexto.h"

#include <WinApi.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

namespace {

const char* const kAppId = "{EDF04AA8-B344-47A5-9499-5E33CC0CFD93}";
const char* const kProxyStub = "tqge_amostra_ps.dll";
const char* const kChaveAjustes = "Software\\TQ Sistemas\\tqge\\Amostra";
constexpr auto kOcioso = std::chrono::seconds(2);

std::string CaminhoDoPrograma() {
    char buffer[MAX_PATH];
    const DWORD n = GetModuleFileNameA(nullptr, buffer, MAX_PATH);
    return std::string(buffer, n);
}

std::string Diretorio(const std::string& caminho) {
    return caminho.substr(0, caminho.find_last_of("\\/") + 1);
}

bool DefineTexto(const std::string& chave, const char* pszNome, const std::string& valor) {
    HKEY hKey;
    if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, chave.c_str(), 0, nullptr, 0,
                        KEY_WRITE | KEY_WOW64_64KEY, nullptr, &hKey, nullptr) != ERROR_SUCCESS)
        return false;
    const LONG r =
        RegSetValueExA(hKey, pszNome, 0, REG_SZ, reinterpret_cast<const BYTE*>(valor.c_str()),
                       static_cast<DWORD>(valor.size() + 1));
    RegCloseKey(hKey);
    return r == ERROR_SUCCESS;
}

std::string LeTexto(const char* pszChave, const char* pszNome) {
    char buffer[1024] = {};
    DWORD cb = sizeof buffer - 1;
    if (RegGetValueA(HKEY_LOCAL_MACHINE, pszChave, pszNome, RRF_RT_REG_SZ | RRF_SUBKEY_WOW6464KEY,
                     nullptr, buffer, &cb) != ERROR_SUCCESS)
        return std::string();
    return buffer;
}

std::string ChaveDaClasse(REFCLSID clsid) {
    return "Software\\Classes\\CLSID\\" + tq::GuidParaTexto(clsid).str();
}

const CLSID* const kClasses[] = {&__uuidof(TQGE_Apontamentos), &__uuidof(TQGE_Contratos),
                                 &__uuidof(TQGE_Faixa)};

// The proxy/stub library registers (or removes) its own interfaces.
HRESULT ChamaProxyStub(const char* pszFuncao) {
    HMODULE h = LoadLibraryA((Diretorio(CaminhoDoPrograma()) + kProxyStub).c_str());
    if (!h)
        return HRESULT_FROM_WIN32(GetLastError());
    using Fn = HRESULT(STDAPICALLTYPE*)();
    const auto pfn = reinterpret_cast<Fn>(reinterpret_cast<void*>(GetProcAddress(h, pszFuncao)));
    const HRESULT hr = pfn ? pfn() : HRESULT_FROM_WIN32(GetLastError());
    FreeLibrary(h);
    return hr;
}

int Registra(const std::string& cenario, const std::string& remoto) {
    const std::string app = std::string("Software\\Classes\\AppID\\") + kAppId;
    bool bOk = DefineTexto(app, nullptr, "TQGE Servidor de amostra");
    for (const CLSID* clsid : kClasses) {
        const std::string classe = ChaveDaClasse(*clsid);
        bOk = bOk && DefineTexto(classe, nullptr, "TQGE Servidor de amostra") &&
              DefineTexto(classe, "AppID", kAppId) &&
              DefineTexto(classe + "\\LocalServer32", nullptr, "\"" + CaminhoDoPrograma() + "\"");
    }
    if (!cenario.empty())
        bOk = bOk && DefineTexto(kChaveAjustes, "Cenario", cenario);
    if (!remoto.empty())
        bOk = bOk && DefineTexto(app, "RemoteServerName", remoto);
    const HRESULT hr = ChamaProxyStub("DllRegisterServer");
    if (!bOk || FAILED(hr)) {
        std::fprintf(stderr, "registration failed (keys %d, proxy/stub 0x%08lX)\n", bOk ? 1 : 0,
                     static_cast<unsigned long>(hr));
        return 1;
    }
    return 0;
}

int Desregistra() {
    for (const CLSID* clsid : kClasses)
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, ChaveDaClasse(*clsid).c_str());
    RegDeleteTreeA(HKEY_LOCAL_MACHINE,
                   (std::string("Software\\Classes\\AppID\\") + kAppId).c_str());
    RegDeleteTreeA(HKEY_LOCAL_MACHINE, kChaveAjustes);
    return FAILED(ChamaProxyStub("DllUnregisterServer")) ? 1 : 0;
}

int Serve() {
    // COM hands the server the client's standard handles; holding them would keep the client's
    // pipes open after it ends.
    for (DWORD id : {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
        HANDLE h = GetStdHandle(id);
        if (h && h != INVALID_HANDLE_VALUE)
            CloseHandle(h);
        SetStdHandle(id, nullptr);
    }
    tq::amostra::CDadosAmostra dados;
    const std::string cenario = LeTexto(kChaveAjustes, "Cenario");
    try {
        if (!cenario.empty())
            dados = tq::amostra::LeArquivoCenario(cenario);
    } catch (const tq::amostra::CErroCenario&) {
        // Serves nothing rather than not at all: a LocalServer32 that never registers its
        // classes keeps its clients waiting for it.
    }
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)))
        return 1;
    int codigo = 0;
    {
        tq::amostra::CServidorAmostra servidor(std::move(dados));
        servidor.Estado().AoEncerrar([] { TerminateProcess(GetCurrentProcess(), 9); });
        if (FAILED(servidor.Registra(CLSCTX_LOCAL_SERVER))) {
            codigo = 1;
        } else {
            auto ultimo = std::chrono::steady_clock::now();
            while (servidor.ObjetosVivos() > 0 ||
                   std::chrono::steady_clock::now() - ultimo < kOcioso) {
                if (servidor.ObjetosVivos() > 0)
                    ultimo = std::chrono::steady_clock::now();
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
            }
        }
    }
    CoUninitialize();
    return codigo;
}

} // namespace

int main(int argc, char** argv) {
    std::string cenario, remoto;
    bool bRegistra = false;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (_stricmp(a.c_str(), "/RegServer") == 0 || _stricmp(a.c_str(), "-RegServer") == 0)
            bRegistra = true;
        else if (_stricmp(a.c_str(), "/UnregServer") == 0 ||
                 _stricmp(a.c_str(), "-UnregServer") == 0)
            return Desregistra();
        else if (_stricmp(a.c_str(), "/Cenario") == 0 && i + 1 < argc)
            cenario = argv[++i];
        else if (_stricmp(a.c_str(), "/Remoto") == 0 && i + 1 < argc)
            remoto = argv[++i];
    }
    return bRegistra ? Registra(cenario, remoto) : Serve();
}
