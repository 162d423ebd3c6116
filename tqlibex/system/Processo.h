// Facts about the running process for the trace record and the event reports. Windows asks psapi,
// version.dll, GetVersion and GetUserNameA; POSIX asks /proc/self, uname and the password database.
#pragma once

#include "tqlibex/base/TQString.h"
#include "tqlibex/base/WinTypes.h"

namespace tq::detail {

// Private bytes (PrivateUsage of the extended memory counters); 0 when the query fails.
LONGLONG BytesPrivados();
// The program's fixed file version (most and least significant halves); false (0.0.0) when the
// version functions or the resource are missing.
bool VersaoDoPrograma(DWORD& dwMaisSignificativo, DWORD& dwMenosSignificativo);
// The system version packed as GetVersion packs it: major in the low byte, minor in the second,
// build in the high word (top bit set on systems that have no build there).
DWORD VersaoDoSistema();
// The running program's full path, at most 260 characters.
CTQString CaminhoDoPrograma();
// The program's file name in lower case ("modulo.exe").
CTQString NomeDoProcesso();
CTQString NomeDoUsuario();
DWORD IdDoProcesso();
GUID NovoGuid();

} // namespace tq::detail
