#include "tqlibex/diagnostics/GeArrayExGravaLog.h"

#include "tqlibex/diagnostics/TraceHResult.h"

INT_PTR CGeArrayExGravaLog::Registra(const char* pszFuncao, const CTQString& texto) {
    GravaTrace(nullptr, pszFuncao, "GeArrayExGravaLog", __LINE__, "%s", texto.GetString());
    return Add(texto);
}
