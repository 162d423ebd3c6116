// POSIX: events go to syslog under the source's name, the event type mapped to a priority.
#include "tqlibex/diagnostics/EventoCom.h"

#include "tqlibex/diagnostics/NomesHResult.h"

#include <syslog.h>

namespace tq {

namespace {

int Prioridade(WORD wTipo) {
    switch (wTipo) {
        case EVENTLOG_ERROR_TYPE:
            return LOG_ERR;
        case EVENTLOG_WARNING_TYPE:
            return LOG_WARNING;
        case EVENTLOG_AUDIT_SUCCESS:
        case EVENTLOG_AUDIT_FAILURE:
            return LOG_NOTICE;
        default:
            return LOG_INFO;
    }
}

class CSyslog : public IRegistroEventos {
public:
    void Reporta(const char* pszFonte, WORD wTipo, WORD wCategoria, DWORD dwId,
                 const char* pszTexto1, const char* pszTexto2) override {
        // The ident pointer must outlive the connection: keep it open to the end of this event.
        openlog(pszFonte, LOG_PID, LOG_USER);
        syslog(Prioridade(wTipo), "[%u/%u] %s%s", static_cast<unsigned>(dwId),
               static_cast<unsigned>(wCategoria), pszTexto1, pszTexto2);
        closelog();
    }
};

} // namespace

IRegistroEventos& RegistroEventosDaPlataforma() {
    static CSyslog syslog;
    return syslog;
}

namespace detail {

CTQString TextoDoSistema(HRESULT hr) {
    CTQString texto = GetNomeHResult(hr);
    if (texto.IsEmpty())
        texto = GetNomeCodigoWin32(hr);
    return texto;
}

} // namespace detail

} // namespace tq
