// CGeLog, the library's log file, and the failed-call trace record it stores.
//
// log.ini (TQ_LOG_INI names it; otherwise "log.ini" beside the program) switches the process log:
//     [Log]
//     Arquivo=C:\TQ\Logs\tqge.log   ; the file lines are appended to
//     Ativo=1                       ; 0 keeps the log silent
// With no log.ini, or no Arquivo, nothing is written. Each record is one line; carriage returns
// and line feeds are taken out of its text. Several threads may write at once.
#pragma once

#include "tqlibex/base/Escopo.h"

#include "tqlibex/base/TQString.h"
#include "tqlibex/base/WinTypes.h"

#include <mutex>

// Who traced: a module, a connection. Shown in the log line.
class CTQContextoTrace {
public:
    explicit CTQContextoTrace(const char* pszNome) : m_sNome(pszNome) {}
    const CTQString& GetNome() const { return m_sNome; }

private:
    CTQString m_sNome;
};

// One failed-call trace, as GravaTrace hands it to the log.
struct CRegistroTrace {
    const CTQContextoTrace* pContexto = nullptr;
    CTQString sFuncao;
    GUID guid{};
    CTQString sProcesso; // lower case
    CTQString sUsuario;
    CTQString sTexto; // "bytes\tversion\tOS\tfile\tline\tmessage\t"
};

class CGeLog {
public:
    CGeLog() = default;                      // silent until configured
    explicit CGeLog(const char* pszArquivo); // writes to this file
    CGeLog(const CGeLog&) = delete;
    CGeLog& operator=(const CGeLog&) = delete;

    // The process log, configured once from log.ini.
    static CGeLog& DoProcesso();
    // Reads the [Log] section of an ini file; false when the file cannot be read.
    bool ConfiguraPorIni(const char* pszIni);
    bool EstaAtivo() const;
    // Writes to this file from now on (empty or null: silence).
    void ConfiguraPorArquivo(const char* pszArquivo);

    // One line: GUID, process, user, context, function and the record's text, tab-separated.
    void Grava(const CRegistroTrace& registro);
    // One free line.
    void Grava(const char* pszFormato, ...) TQ_PRINTF_FORMAT(2, 3);

    // The bare file name of a path: "ConexaoGe.h" from "C:\src\tqlibex\ConexaoGe.h".
    static CTQString GetNomeDoArquivo(const char* pszCaminho);

private:
    void Escreve(CTQString linha);

    mutable std::mutex m_mutex;
    CTQString m_sArquivo;
    bool m_bAtivo = false;
};

namespace tq {

// Where trace records go: the process log unless a test installs its own for a scope.
class ISaidaTrace {
public:
    virtual ~ISaidaTrace() = default;
    virtual void Grava(const CRegistroTrace& registro) = 0;
    // Whether a record would go anywhere: a record's facts (the process's private bytes, its
    // user, the system's version) cost system calls that a billing run makes per contract.
    virtual bool Ativa() const { return true; }
};

ISaidaTrace& SaidaTraceAtual();

using CEscopoSaidaTrace = CEscopo<ISaidaTrace>;

} // namespace tq
