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

EscritorRegistro::~EscritorRegistro() {
    for (const auto& [chave, valores] : m_chaves) {
        if (m_criadas[chave]) {
            RegDeleteTreeA(Raiz(chave.first), chave.second.c_str());
            continue;
        }
        HKEY h = nullptr;
        if (RegOpenKeyExA(Raiz(chave.first), chave.second.c_str(), 0, KEY_WRITE | KEY_WOW64_64KEY,
                          &h) != ERROR_SUCCESS)
            continue;
        for (const auto& [nome, dado] : valores)
            RegDeleteValueA(h, dado.empty() ? nullptr : nome.c_str());
        RegCloseKey(h);
    }
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
    DWORD disposicao = 0;
    if (RegCreateKeyExA(Raiz(raiz), chave.c_str(), 0, nullptr, 0, KEY_WRITE | KEY_WOW64_64KEY,
                        nullptr, &h, &disposicao) != ERROR_SUCCESS)
        return;
    if (!m_chaves.count({raiz, chave}))
        m_criadas[{raiz, chave}] = disposicao == REG_CREATED_NEW_KEY;
    m_chaves[{raiz, chave}][valor ? valor : ""] = valor ? "nome" : "";
    RegSetValueExA(h, valor, 0, tipo, static_cast<const BYTE*>(dados), tamanho);
    RegCloseKey(h);
}

void EscritorRegistro::RemoveChave(ERaizRegistro raiz, const std::string& chave) {
    RegDeleteTreeA(Raiz(raiz), chave.c_str());
}

} // namespace tq::teste
