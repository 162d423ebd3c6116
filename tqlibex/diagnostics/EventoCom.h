// Reports to the Windows event log under the source "TQ Sistemas" (syslog on POSIX), as the COM
// access layer does for activation failures.
#pragma once

#include "tqlibex/base/Escopo.h"

#include "tqlibex/base/TQString.h"
#include "tqlibex/base/WinTypes.h"

// One event: the caller's text first, then
//     "\nHR: 0x%X (%s)\nCLSID: %s\nPrograma: %s\n"
// with the HRESULT, the system's text for it, the CLSID in registry form and the program's path.
// The event identifier is the HRESULT, the category 0. Never fails outward: a source that cannot
// be registered reports nothing.
void ReportaEventoCom(REFCLSID clsid, HRESULT hr, WORD wTipo, const char* pszTexto);

namespace tq {

// The event log: Windows' (RegisterEventSourceA, ReportEventA, DeregisterEventSource) or syslog,
// unless a test installs a recording one for a scope.
class IRegistroEventos {
public:
    virtual ~IRegistroEventos() = default;
    virtual void Reporta(const char* pszFonte, WORD wTipo, WORD wCategoria, DWORD dwId,
                         const char* pszTexto1, const char* pszTexto2) = 0;
};

IRegistroEventos& RegistroEventosAtual();
IRegistroEventos& RegistroEventosDaPlataforma();

using CEscopoRegistroEventos = CEscopo<IRegistroEventos>;

namespace detail {
// The system's one-line text for an HRESULT (FormatMessageA from the system, at most 255
// characters, no line breaks); on POSIX the best name the library knows.
CTQString TextoDoSistema(HRESULT hr);
} // namespace detail

} // namespace tq
