#include "support/EscritorRegistro.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace tq::teste {

namespace {

const char* NomeDaRaiz(ERaizRegistro raiz) {
    return raiz == ERaizRegistro::LocalMachine  ? "HKEY_LOCAL_MACHINE"
           : raiz == ERaizRegistro::CurrentUser ? "HKEY_CURRENT_USER"
                                                : "HKEY_CLASSES_ROOT";
}

std::string Aspas(const std::string& texto) {
    std::string r = "\"";
    for (char c : texto)
        r += c == '\\' || c == '"' ? std::string{'\\', c} : std::string{c};
    return r + "\"";
}

} // namespace

EscritorRegistro::EscritorRegistro() {
    const char* antes = std::getenv("TQ_REGISTRY_FILE");
    m_bTinha = antes != nullptr;
    if (antes)
        m_anterior = antes;
    ::setenv("TQ_REGISTRY_FILE", Arquivo().c_str(), 1);
    Reescreve();
}

EscritorRegistro::~EscritorRegistro() {
    std::filesystem::remove(Arquivo());
    if (m_bTinha)
        ::setenv("TQ_REGISTRY_FILE", m_anterior.c_str(), 1);
    else
        ::unsetenv("TQ_REGISTRY_FILE");
}

std::string EscritorRegistro::Arquivo() const {
    return (std::filesystem::temp_directory_path() /
            ("tqge-registro-" + std::to_string(::getpid()) + ".reg"))
        .string();
}

void EscritorRegistro::Texto(ERaizRegistro raiz, const std::string& chave, const char* valor,
                             const std::string& texto) {
    m_chaves[{raiz, chave}][valor ? Aspas(valor) : "@"] = Aspas(texto);
    Reescreve();
}

void EscritorRegistro::Dword(ERaizRegistro raiz, const std::string& chave, const char* valor,
                             DWORD dw) {
    char texto[20];
    std::snprintf(texto, sizeof texto, "dword:%08x", static_cast<unsigned>(dw));
    m_chaves[{raiz, chave}][valor ? Aspas(valor) : "@"] = texto;
    Reescreve();
}

void EscritorRegistro::RemoveChave(ERaizRegistro raiz, const std::string& chave) {
    for (auto it = m_chaves.begin(); it != m_chaves.end();)
        it = it->first.first == raiz && it->first.second.rfind(chave, 0) == 0 ? m_chaves.erase(it)
                                                                              : std::next(it);
    Reescreve();
}

void EscritorRegistro::LinhaCrua(const std::string& linha) {
    m_linhasCruas += linha + "\r\n";
    Reescreve();
}

void EscritorRegistro::Reescreve() {
    std::ofstream out(Arquivo(), std::ios::binary | std::ios::trunc);
    out << "Windows Registry Editor Version 5.00\r\n";
    for (const auto& [chave, valores] : m_chaves) {
        out << "\r\n[" << NomeDaRaiz(chave.first) << "\\" << chave.second << "]\r\n";
        for (const auto& [nome, dado] : valores)
            out << nome << "=" << dado << "\r\n";
    }
    out << m_linhasCruas;
}

} // namespace tq::teste
