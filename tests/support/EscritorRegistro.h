// Writes values into the platform's real registry for one test and takes them away afterwards:
// advapi32 on Windows (64-bit view; each key written to is deleted whole, so tests write only keys
// of their own), the TQ_REGISTRY_FILE export on POSIX (rewritten whole at each change; the
// variable is restored).
#pragma once

#include "tqlibex/registry/Registro.h"

#include <map>
#include <string>

namespace tq::teste {

class EscritorRegistro {
public:
    EscritorRegistro();
    ~EscritorRegistro();
    EscritorRegistro(const EscritorRegistro&) = delete;
    EscritorRegistro& operator=(const EscritorRegistro&) = delete;

    // A null value name is the key's default value.
    void Texto(ERaizRegistro raiz, const std::string& chave, const char* valor,
               const std::string& texto);
    void Dword(ERaizRegistro raiz, const std::string& chave, const char* valor, DWORD dw);
    // The key and everything under it.
    void RemoveChave(ERaizRegistro raiz, const std::string& chave);
    // POSIX only: a line written into the file as it is, after the values.
    void LinhaCrua(const std::string& linha);
    // POSIX only: the export file.
    std::string Arquivo() const;

private:
    void Reescreve(); // POSIX
    void Define(ERaizRegistro raiz, const std::string& chave, const char* valor, DWORD tipo,
                const void* dados, DWORD tamanho); // Windows
    // The keys written, with (on POSIX) their value lines.
    std::map<std::pair<ERaizRegistro, std::string>, std::map<std::string, std::string>> m_chaves;
    std::string m_linhasCruas;
    std::string m_anterior;
    bool m_bTinha = false;
};

} // namespace tq::teste
