// CGeArrayExGravaLog: the objects that registered themselves, each with one trace line (the
// calculation objects do so once their servers are open), so that a support person reading the
// trace sees which objects a module had working and with what.
#pragma once

#include "tqlibex/base/GeArrayEx.h"
#include "tqlibex/base/TQString.h"

class CGeArrayExGravaLog : public CGeArrayEx<CTQString, const CTQString&> {
public:
    // Adds the text and writes it to the trace log under the given function name.
    INT_PTR Registra(const char* pszFuncao, const CTQString& texto);
};
