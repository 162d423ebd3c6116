// Windows: the event log through advapi32, the system text through FormatMessageA.
#include "tqlibex/diagnostics/EventoCom.h"

#include <WinApi.h>

namespace tq {

namespace {

class CEventLog : public IRegistroEventos {
public:
    void Reporta(const char* pszFonte, WORD wTipo, WORD wCategoria, DWORD dwId,
                 const char* pszTexto1, const char* pszTexto2) override {
        const HANDLE fonte = RegisterEventSourceA(nullptr, pszFonte);
        if (!fonte)
            return;
        const char* textos[2] = {pszTexto1, pszTexto2};
        ReportEventA(fonte, wTipo, wCategoria, dwId, nullptr, 2, 0, textos, nullptr);
        DeregisterEventSource(fonte);
    }
};

} // namespace

IRegistroEventos& RegistroEventosDaPlataforma() {
    static CEventLog eventos;
    return eventos;
}

namespace detail {

CTQString TextoDoSistema(HRESULT hr) {
    char texto[256] = {};
    FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS |
                       FORMAT_MESSAGE_MAX_WIDTH_MASK,
                   nullptr, static_cast<DWORD>(hr), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                   texto, 255, nullptr);
    return CTQString(texto);
}

} // namespace detail

} // namespace tq
