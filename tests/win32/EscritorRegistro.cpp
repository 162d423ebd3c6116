#include "support/EscritorRegistro.h"

#include <WinApi.h>

namespace tq::teste {

namespace {

HKEY Raiz(ERaizRegistro raiz) {
    return raiz == ERaizRegistro::LocalMachine  ? HKEY_LOCAL_MACHINE
           : raiz == ERaizRegistro::CurrentUser ? HKEY_CURRENT_USER
                                                : HKEY_CLASSES_ROOT;
}

} // namespace

EscritorRegistro::EscritorRegistro() = default;

// Every key a test writes is its own: it goes whole.
EscritorRegistro::~EscritorRegistro() {
    for (const auto& [chave, valores] : m_chaves)
        RegDeleteTreeA(Raiz(chave.first), chave.second.c_str());
}

void EscritorRegistro::Texto(ERaizRegistro raiz, const std::string& chave, const char* valor,
                             const std::string& texto) {
    Define(raiz, chave, valor, REG_SZ, texto.c_str(), static_cast<DWORD>(texto.size() + 1));
}

void EscritorRegistro::Dword(ERaizRegistro raiz, const std::string& chave, const char* valor,
                             DWORD dw) {
    Define(raiz, chave, valor, REG_DWORD, &dw, sizeof dw);
}

void EscritorRegistro::Define(ERaizRegistro raiz, const std::string& chave, const char* valor,
                              DWORD tipo, const void* dados, DWORD tamanho) {
    HKEY h = nullptr;
    if (RegCreateKeyExA(Raiz(raiz), chave.c_str(), 0, nullptr, 0, KEY_WRITE | KEY_WOW64_64KEY,
                        nullptr, &h, nullptr) != ERROR_SUCCESS)
        return;
    m_chaves[{raiz, chave}];
    RegSetValueExA(h, valor, 0, tipo, static_cast<const BYTE*>(dados), tamanho);
    RegCloseKey(h);
}

void EscritorRegistro::RemoveChave(ERaizRegistro raiz, const std::string& chave) {
    RegDeleteTreeA(Raiz(raiz), chave.c_str());
}

} // namespace tq::teste
