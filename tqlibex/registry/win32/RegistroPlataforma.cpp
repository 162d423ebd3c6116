// Windows: the real registry through advapi32.
#include "tqlibex/registry/Registro.h"

#include <WinApi.h>

#include <vector>

namespace tq {

namespace {

HKEY Raiz(ERaizRegistro raiz) {
    switch (raiz) {
        case ERaizRegistro::ClassesRoot:
            return HKEY_CLASSES_ROOT;
        case ERaizRegistro::CurrentUser:
            return HKEY_CURRENT_USER;
        case ERaizRegistro::LocalMachine:
            break;
    }
    return HKEY_LOCAL_MACHINE;
}

// An open key, closed on scope exit.
class CChave {
public:
    CChave(ERaizRegistro raiz, const char* pszChave, bool bVisao64) {
        const REGSAM acesso = KEY_READ | (bVisao64 ? KEY_WOW64_64KEY : 0);
        if (RegOpenKeyExA(Raiz(raiz), pszChave ? pszChave : "", 0, acesso, &m_hKey) !=
            ERROR_SUCCESS)
            m_hKey = nullptr;
    }
    ~CChave() {
        if (m_hKey)
            RegCloseKey(m_hKey);
    }
    CChave(const CChave&) = delete;
    CChave& operator=(const CChave&) = delete;

    explicit operator bool() const { return m_hKey != nullptr; }

    bool Le(const char* pszValor, DWORD& dwTipo, std::vector<BYTE>& dados) const {
        DWORD tamanho = 0;
        if (RegQueryValueExA(m_hKey, pszValor, nullptr, &dwTipo, nullptr, &tamanho) !=
            ERROR_SUCCESS)
            return false;
        dados.assign(tamanho + 1, 0); // room for a terminator the value may lack
        if (RegQueryValueExA(m_hKey, pszValor, nullptr, &dwTipo, dados.data(), &tamanho) !=
            ERROR_SUCCESS)
            return false;
        dados.resize(tamanho);
        return true;
    }

private:
    HKEY m_hKey = nullptr;
};

class CRegistroWindows : public IRegistro {
public:
    bool ExisteChave(ERaizRegistro raiz, const char* pszChave, bool bVisao64) override {
        return static_cast<bool>(CChave(raiz, pszChave, bVisao64));
    }
    bool LeTexto(ERaizRegistro raiz, const char* pszChave, const char* pszValor, bool bVisao64,
                 CTQString& sTexto) override {
        const CChave chave(raiz, pszChave, bVisao64);
        DWORD tipo = 0;
        std::vector<BYTE> dados;
        if (!chave || !chave.Le(pszValor, tipo, dados) || (tipo != REG_SZ && tipo != REG_EXPAND_SZ))
            return false;
        std::size_t n = dados.size();
        while (n > 0 && dados[n - 1] == 0)
            --n;
        sTexto = CTQString(reinterpret_cast<const char*>(dados.data()), static_cast<int>(n));
        return true;
    }
    bool LeDword(ERaizRegistro raiz, const char* pszChave, const char* pszValor, bool bVisao64,
                 DWORD& dwValor) override {
        const CChave chave(raiz, pszChave, bVisao64);
        DWORD tipo = 0;
        std::vector<BYTE> dados;
        if (!chave || !chave.Le(pszValor, tipo, dados) || tipo != REG_DWORD || dados.size() != 4)
            return false;
        dwValor = static_cast<DWORD>(dados[0]) | (static_cast<DWORD>(dados[1]) << 8) |
                  (static_cast<DWORD>(dados[2]) << 16) | (static_cast<DWORD>(dados[3]) << 24);
        return true;
    }
};

} // namespace

IRegistro& RegistroDaPlataforma() {
    static CRegistroWindows registro;
    return registro;
}

} // namespace tq
