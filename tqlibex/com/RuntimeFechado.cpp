#include "tqlibex/com/RuntimeFechado.h"

#include "tqlibex/diagnostics/TraceHResult.h"

#include <atomic>

namespace {

std::atomic<bool> g_bTratarErros{true};
std::atomic<bool> g_bTratarMensagens{true};

} // namespace

bool TQTrataErro2(LONGLONG hr, ULONG ulChamador, ULONG ulNumero, const char* pszTexto,
                  const char* pszArquivo, int nLinha, const char* pszCompilacao) {
    if (const auto gancho = tq::detail::CGancho<tq::GanchoTrataErro2>::Atual())
        return gancho(hr, ulChamador, ulNumero, pszTexto, pszArquivo, nLinha, pszCompilacao);
    GravaTrace(nullptr, "TQTrataErro2", pszArquivo, nLinha,
               "HR = %#llX Chamador = %u Numero = %u %s (%s)", static_cast<unsigned long long>(hr),
               static_cast<unsigned>(ulChamador), static_cast<unsigned>(ulNumero),
               pszTexto ? pszTexto : "", pszCompilacao ? pszCompilacao : "");
    return false;
}

bool CTQLumenException::CallOnError(CTQLumenException& e, HRESULT hr, int nCodigoErro,
                                    int nServidor, int nLinha, const char* pszArquivo,
                                    const char* pszCompilacao) {
    if (const auto gancho = tq::detail::CGancho<tq::GanchoCallOnError>::Atual())
        return gancho(e, hr, nCodigoErro, nServidor, nLinha, pszArquivo, pszCompilacao);
    GravaTrace(nullptr, "CTQLumenException::CallOnError", pszArquivo, nLinha,
               "HR = %#X Codigo = %d Servidor = %d (%s)", static_cast<unsigned>(hr), nCodigoErro,
               nServidor, pszCompilacao ? pszCompilacao : "");
    return false;
}

CTQServidoresBase* TQFC_GetServidores() {
    static CTQServidoresBase servidores;
    return &servidores;
}

bool CTQDFConxTratamentoErrosConfig::TratarErros() {
    return g_bTratarErros;
}
void CTQDFConxTratamentoErrosConfig::SetTrataErros(bool bTratar) {
    g_bTratarErros = bTratar;
}
void CTQDFConxTratamentoErrosConfig::SetTratarMensagens(bool bTratar) {
    g_bTratarMensagens = bTratar;
}
bool CTQDFConxTratamentoErrosConfig::TratarMensagens() {
    return g_bTratarMensagens;
}

namespace tq {

namespace detail {
const char* DataDaCompilacao() {
    return __DATE__ " " __TIME__;
}
} // namespace detail

} // namespace tq
