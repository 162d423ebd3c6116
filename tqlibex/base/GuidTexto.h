// GUIDs in their registry text form, "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" (upper-case hex),
// the form the registry keys "CLSID\%s" and "AppID\%s" and the event reports use.
#pragma once

#include "tqlibex/base/TQString.h"
#include "tqlibex/base/WinTypes.h"

namespace tq {

CTQString GuidParaTexto(const GUID& guid);

// Reads the registry form (braces required, hex digits of either case). On failure returns false
// and leaves guid unchanged.
bool TextoParaGuid(const char* pszTexto, GUID& guid);

} // namespace tq
