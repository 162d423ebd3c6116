// The test business server: a LocalServer32 that COM starts with -Embedding. It serves
// ITQServidorTeste objects from the multithreaded apartment and ends once no object has lived
// for a few seconds. "/RegServer" and "/UnregServer" write and remove its registration (under
// HKLM\Software\Classes, which is where wine looks) and its proxy/stub library's.
#include "TQServidorTeste.h"

#include <windows.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

const char* const kAppId = "{3E8B6D43-5C2A-4F9B-A7D3-0B6E1C2F4A51}";
const char* const kClsid = "{3E8B6D42-5C2A-4F9B-A7D3-0B6E1C2F4A51}";
const char* const kProxyStub = "tqge_teste_ps.dll";
constexpr DWORD kOciosoMs = 5000;

std::atomic<long> g_nObjetos{0};
std::atomic<long> g_nFalsos{0}; // the next KeepAlive answers of any object that say FALSE
std::atomic<ULONGLONG> g_ultimaAtividade{0};

void Atividade() {
    g_ultimaAtividade = GetTickCount64();
}

class CServidor final : public ITQServidorTeste {
public:
    CServidor() {
        ++g_nObjetos;
        Atividade();
    }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (!ppv)
            return E_POINTER;
        if (riid == __uuidof(IUnknown) || riid == __uuidof(ITQUnknown) ||
            riid == __uuidof(ITQServidorTeste)) {
            *ppv = static_cast<ITQServidorTeste*>(this);
            AddRef();
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nRefs; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG n = --m_nRefs;
        if (n == 0) {
            delete this;
            --g_nObjetos;
            Atividade();
        }
        return n;
    }
    HRESULT STDMETHODCALLTYPE KeepAlive(BOOL* pbOK) override {
        if (!pbOK)
            return E_POINTER;
        ++m_nKeepAlives;
        long n = g_nFalsos.load();
        while (n > 0 && !g_nFalsos.compare_exchange_weak(n, n - 1)) {
        }
        *pbOK = n > 0 ? FALSE : TRUE;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Inicializa(LONG nValor) override {
        m_nValor = nValor;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetPid(DWORD* pdwPid) override {
        if (!pdwPid)
            return E_POINTER;
        *pdwPid = GetCurrentProcessId();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetKeepAlives(LONG* pnKeepAlives) override {
        if (!pnKeepAlives)
            return E_POINTER;
        *pnKeepAlives = m_nKeepAlives;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE DefineFalsos(LONG nFalsos) override {
        g_nFalsos = nFalsos;
        return S_OK;
    }

private:
    std::atomic<ULONG> m_nRefs{1};
    std::atomic<LONG> m_nKeepAlives{0};
    std::atomic<LONG> m_nValor{0};
};

class CFabrica final : public IClassFactory {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (riid == __uuidof(IUnknown) || riid == __uuidof(IClassFactory)) {
            *ppv = static_cast<IClassFactory*>(this);
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pUnkOuter, REFIID riid,
                                             void** ppv) override {
        if (pUnkOuter)
            return CLASS_E_NOAGGREGATION;
        auto* p = new CServidor;
        const HRESULT hr = p->QueryInterface(riid, ppv);
        p->Release();
        return hr;
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override {
        Atividade();
        return S_OK;
    }
};

std::string DiretorioDoPrograma(std::string& caminho) {
    char buffer[MAX_PATH];
    const DWORD n = GetModuleFileNameA(nullptr, buffer, MAX_PATH);
    caminho.assign(buffer, n);
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

// The proxy/stub library registers (or removes) its own interfaces.
HRESULT ChamaProxyStub(const std::string& diretorio, const char* pszFuncao) {
    HMODULE h = LoadLibraryA((diretorio + kProxyStub).c_str());
    if (!h)
        return HRESULT_FROM_WIN32(GetLastError());
    using Fn = HRESULT(STDAPICALLTYPE*)();
    const auto pfn = reinterpret_cast<Fn>(reinterpret_cast<void*>(GetProcAddress(h, pszFuncao)));
    const HRESULT hr = pfn ? pfn() : HRESULT_FROM_WIN32(GetLastError());
    FreeLibrary(h);
    return hr;
}

int Registra() {
    std::string caminho;
    const std::string diretorio = DiretorioDoPrograma(caminho);
    const std::string classe = std::string("Software\\Classes\\CLSID\\") + kClsid;
    const std::string app = std::string("Software\\Classes\\AppID\\") + kAppId;
    const bool bOk = DefineTexto(classe, nullptr, "TQ Servidor de Teste") &&
                     DefineTexto(classe, "AppID", kAppId) &&
                     DefineTexto(classe + "\\LocalServer32", nullptr, "\"" + caminho + "\"") &&
                     DefineTexto(app, nullptr, "TQ Servidor de Teste");
    const HRESULT hr = ChamaProxyStub(diretorio, "DllRegisterServer");
    if (!bOk || FAILED(hr)) {
        std::fprintf(stderr, "registration failed (keys %d, proxy/stub 0x%08lX)\n", bOk ? 1 : 0,
                     static_cast<unsigned long>(hr));
        return 1;
    }
    return 0;
}

int Desregistra() {
    std::string caminho;
    const std::string diretorio = DiretorioDoPrograma(caminho);
    RegDeleteTreeA(HKEY_LOCAL_MACHINE,
                   (std::string("Software\\Classes\\CLSID\\") + kClsid).c_str());
    RegDeleteTreeA(HKEY_LOCAL_MACHINE,
                   (std::string("Software\\Classes\\AppID\\") + kAppId).c_str());
    return FAILED(ChamaProxyStub(diretorio, "DllUnregisterServer")) ? 1 : 0;
}

int Serve() {
    // COM hands the server the test runner's standard handles; holding them would keep the
    // runner's pipes open after the test ends.
    for (DWORD id : {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
        HANDLE h = GetStdHandle(id);
        if (h && h != INVALID_HANDLE_VALUE)
            CloseHandle(h);
        SetStdHandle(id, nullptr);
    }
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)))
        return 1;
    static CFabrica fabrica;
    DWORD dwCookie = 0;
    Atividade();
    if (FAILED(CoRegisterClassObject(CLSID_TQServidorTeste, &fabrica, CLSCTX_LOCAL_SERVER,
                                     REGCLS_MULTIPLEUSE, &dwCookie))) {
        CoUninitialize();
        return 1;
    }
    while (g_nObjetos > 0 || GetTickCount64() - g_ultimaAtividade < kOciosoMs)
        Sleep(100);
    CoRevokeClassObject(dwCookie);
    CoUninitialize();
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (_stricmp(argv[i], "/RegServer") == 0 || _stricmp(argv[i], "-RegServer") == 0)
            return Registra();
        if (_stricmp(argv[i], "/UnregServer") == 0 || _stricmp(argv[i], "-UnregServer") == 0)
            return Desregistra();
    }
    return Serve();
}
