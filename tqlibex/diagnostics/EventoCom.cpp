#include "tqlibex/diagnostics/EventoCom.h"

#include "tqlibex/base/GuidTexto.h"
#include "tqlibex/system/Processo.h"

namespace tq {

IRegistroEventos& RegistroEventosAtual() {
    return EmUso(RegistroEventosDaPlataforma());
}

} // namespace tq

void ReportaEventoCom(REFCLSID clsid, HRESULT hr, WORD wTipo, const char* pszTexto) {
    CTQString composto;
    composto.Format("\nHR: 0x%X (%s)\nCLSID: %s\nPrograma: %s\n", static_cast<unsigned>(hr),
                    tq::detail::TextoDoSistema(hr).GetString(),
                    tq::GuidParaTexto(clsid).GetString(),
                    tq::detail::CaminhoDoPrograma().GetString());
    tq::RegistroEventosAtual().Reporta("TQ Sistemas", wTipo, 0, static_cast<DWORD>(hr),
                                       pszTexto ? pszTexto : "", composto);
}
