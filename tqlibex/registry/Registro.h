// The registry, read-only: string and DWORD values under HKEY_CLASSES_ROOT, HKEY_LOCAL_MACHINE
// and HKEY_CURRENT_USER. Windows reads the real registry (advapi32); POSIX reads a regedit export
// file named by the environment variable TQ_REGISTRY_FILE (no variable or no file: every key is
// missing). Tests install an in-memory registry for a scope.
//
// Key paths are written as in regedit, "SOFTWARE\TQ Sistemas"; case does not matter and a
// trailing backslash is ignored. A null or empty value name is the key's default value.
#pragma once

#include "tqlibex/base/Escopo.h"

#include "tqlibex/base/TQString.h"
#include "tqlibex/base/WinTypes.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tq {

enum class ERaizRegistro { ClassesRoot, LocalMachine, CurrentUser };

class IRegistro {
public:
    virtual ~IRegistro() = default;
    // Whether the key exists and can be opened for reading. bVisao64 asks for the 64-bit view
    // (KEY_WOW64_64KEY); only Windows has two views.
    virtual bool ExisteChave(ERaizRegistro raiz, const char* pszChave, bool bVisao64) = 0;
    // A string value (REG_SZ or REG_EXPAND_SZ, not expanded). False when the key or the value is
    // missing or the value is of another type.
    virtual bool LeTexto(ERaizRegistro raiz, const char* pszChave, const char* pszValor,
                         bool bVisao64, CTQString& sTexto) = 0;
    // A REG_DWORD value. False when missing or of another type.
    virtual bool LeDword(ERaizRegistro raiz, const char* pszChave, const char* pszValor,
                         bool bVisao64, DWORD& dwValor) = 0;
};

// The registry in force: the one a test installed, else the platform's.
IRegistro& RegistroAtual();
// The platform's own registry (advapi32, or the TQ_REGISTRY_FILE file).
IRegistro& RegistroDaPlataforma();

// Installs a registry for the life of the scope and restores the previous one on exit.
using CEscopoRegistro = CEscopo<IRegistro>;

// Keys and values held in memory, with the registry's lookup rules: case-insensitive names, and
// HKEY_CLASSES_ROOT seen as HKCU\SOFTWARE\Classes over HKLM\SOFTWARE\Classes over its own keys.
class CDadosRegistro {
public:
    void CriaChave(ERaizRegistro raiz, const std::string& sChave);
    void DefineTexto(ERaizRegistro raiz, const std::string& sChave, const std::string& sValor,
                     const std::string& sTexto);
    void DefineDword(ERaizRegistro raiz, const std::string& sChave, const std::string& sValor,
                     DWORD dw);
    void RemoveValor(ERaizRegistro raiz, const std::string& sChave, const std::string& sValor);

    bool ExisteChave(ERaizRegistro raiz, const char* pszChave) const;
    bool LeTexto(ERaizRegistro raiz, const char* pszChave, const char* pszValor,
                 CTQString& sTexto) const;
    bool LeDword(ERaizRegistro raiz, const char* pszChave, const char* pszValor, DWORD& dw) const;

private:
    struct Valor {
        bool bTexto;
        std::string sTexto;
        DWORD dw;
    };
    using Chave = std::map<std::string, Valor>; // by normalised value name
    const Chave* Procura(ERaizRegistro raiz, const char* pszChave) const;
    const Valor* ProcuraValor(ERaizRegistro raiz, const char* pszChave, const char* pszValor) const;

    std::map<std::pair<ERaizRegistro, std::string>, Chave> m_chaves; // by normalised key path
};

// A registry in memory, for tests and tools. Safe to read from several threads while no one
// writes; the Define* calls take the same lock.
class CRegistroEmMemoria : public IRegistro {
public:
    void CriaChave(ERaizRegistro raiz, const std::string& sChave);
    void DefineTexto(ERaizRegistro raiz, const std::string& sChave, const std::string& sValor,
                     const std::string& sTexto);
    void DefineDword(ERaizRegistro raiz, const std::string& sChave, const std::string& sValor,
                     DWORD dw);
    void RemoveValor(ERaizRegistro raiz, const std::string& sChave, const std::string& sValor);

    bool ExisteChave(ERaizRegistro raiz, const char* pszChave, bool bVisao64) override;
    bool LeTexto(ERaizRegistro raiz, const char* pszChave, const char* pszValor, bool bVisao64,
                 CTQString& sTexto) override;
    bool LeDword(ERaizRegistro raiz, const char* pszChave, const char* pszValor, bool bVisao64,
                 DWORD& dwValor) override;

private:
    std::mutex m_mutex;
    CDadosRegistro m_dados;
};

// Reads a regedit export ("Windows Registry Editor Version 5.00" or "REGEDIT4"; UTF-16LE with its
// byte-order mark, UTF-8 with one, or 8-bit text). Keeps string and dword values of the three
// roots; deletions ("[-...]", "=-") and other value types are passed over. A line it cannot read
// is skipped and described in pAvisos; the rest of the file stays readable.
CDadosRegistro LeArquivoReg(const std::string& sConteudo, std::vector<std::string>* pAvisos);

} // namespace tq
