// The failed-call trace: one line per HRESULT worth looking at, in the suite's fixed format, into
// the log (CGeLog) through GravaTrace. Only logged, never shown to the user.
//
//     HRESULT hr;
//     TQ_LOG_HR(hr, pServidor->Inicializa(&reg));                  // traces any value but 0
//     TQ_LOG_HR(hr, CoInitializeEx(nullptr, 0), RPC_E_CHANGED_MODE); // ...except those listed
//
// The macro evaluates the expression once, assigns it to the variable and yields it; it captures
// the expression's text, the variable's name, the function's qualified name (compile time), the
// source file and line. TQ_LOG_HR_EM names the source file explicitly.
//
// GravaTrace builds the record: private bytes, program version, system version, file, line and
// message, each ended by a tab, plus context, function, a fresh GUID, process and user.
#pragma once

#include "tqlibex/base/TQString.h"
#include "tqlibex/base/WinTypes.h"
#include "tqlibex/diagnostics/GeLog.h"
#include "tqlibex/diagnostics/NomeDaFuncao.h"

#include <initializer_list>

// The texts are taken here, before any macro in the expression is expanded.
#define TQ_LOG_HR_EM(pszArquivo, var, expr, ...)                                                   \
    TQ_LOG_HR_TEXTOS_(pszArquivo, var, expr, #var " = " #expr, #var, __VA_ARGS__)

// With the expression's text given: for a call made through a port, whose line must show the
// platform call it stands for. The text is a string literal.
#define TQ_LOG_HR_COMO(pszArquivo, var, pszTexto, expr, ...)                                       \
    TQ_LOG_HR_TEXTOS_(pszArquivo, var, expr, #var " = " pszTexto, #var, __VA_ARGS__)

#define TQ_LOG_HR(var, expr, ...)                                                                  \
    __extension__({                                                                                \
        static constexpr ::tq::detail::NomeFixo tq_arquivo_ =                                      \
            ::tq::detail::NomeDoArquivo(__FILE__);                                                 \
        TQ_LOG_HR_TEXTOS_(tq_arquivo_.data(), var, expr, #var " = " #expr, #var, __VA_ARGS__);     \
    })

#define TQ_LOG_HR_TEXTOS_(pszArquivo, var, expr, pszExpressao, pszVariavel, ...)                   \
    __extension__({                                                                                \
        static constexpr ::tq::detail::NomeFixo tq_funcao_ =                                       \
            ::tq::detail::NomeDaFuncao(__PRETTY_FUNCTION__);                                       \
        (var) = (expr);                                                                            \
        ::tq::detail::TracaHResult((var), (pszExpressao), (pszVariavel), tq_funcao_.data(),        \
                                   (pszArquivo), __LINE__, {__VA_ARGS__});                         \
        (var);                                                                                     \
    })

void GravaTrace(const CTQContextoTrace* pContexto, const char* pszFuncao, const char* pszArquivo,
                int nLinha, const char* pszFormato, ...) TQ_PRINTF_FORMAT(5, 6);

namespace tq::detail {

// What the trace macros do after evaluating: nothing for 0 or a tolerated value (and -1 is always
// tolerated, see HResultNaLista); otherwise the trace line through GravaTrace.
void TracaHResult(HRESULT hr, const char* pszExpressao, const char* pszVariavel,
                  const char* pszFuncao, const char* pszArquivo, int nLinha,
                  std::initializer_list<HRESULT> tolerados);

// "hr = Expr()\thr = 0X800706BA <description>\tSEVERITY = 1 SEVERITY_ERROR\tFACILITY = 7
// FACILITY_WIN32\tCODE = 1722 RPC_S_SERVER_UNAVAILABLE\tDescrição = <symbolic name>": the
// symbolic name after "Descrição = " and the description after the number, as always.
CTQString LinhaDeTrace(HRESULT hr, const char* pszExpressao, const char* pszVariavel);

// The record's text: "%I64d\t%d.%d.%d\t%d.%d.%d\t%s\t%d\t%s\t". The program version's third field
// is its whole least significant number (0x00020003 prints 131075); the system build shows only
// when GetVersion's top bit is clear.
CTQString TextoDoRegistroTrace(LONGLONG nBytesPrivados, DWORD dwVersaoMS, DWORD dwVersaoLS,
                               DWORD dwVersaoSistema, const char* pszArquivo, int nLinha,
                               const char* pszMensagem);

} // namespace tq::detail
