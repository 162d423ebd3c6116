#include "tqlibex/EventoCom.h"

#include "tqlibex/GuidTexto.h"
#include "tqlibex/Processo.h"

#include <atomic>

namespace tq {

namespace {
std::atomic<IRegistroEventos*> g_pEventos{nullptr};
}

IRegistroEventos& RegistroEventosAtual() {
    IRegistroEventos* p = g_pEventos.load(std::memory_order_acquire);
    return p ? *p : RegistroEventosDaPlataforma();
}

CEscopoRegistroEventos::CEscopoRegistroEventos(IRegistroEventos& registro)
    : m_pAnterior(g_pEventos.exchange(&registro, std::memory_order_acq_rel)) {}

CEscopoRegistroEventos::~CEscopoRegistroEventos() {
    g_pEventos.store(m_pAnterior, std::memory_order_release);
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
