#include "tqlibex/TQComPtr.h"

#include "tqlibex/GuidTexto.h"
#include "tqlibex/Registro.h"

bool g_bSemAutenticacao = false;
bool g_bSemKeepAlive = false;

namespace tq {

CTQString NomeDoServidorRemoto(REFCLSID clsid) {
    IRegistro& registro = RegistroAtual();
    CTQString chave, appId, servidor;
    chave.Format("CLSID\\%s", GuidParaTexto(clsid).GetString());
    if (!registro.LeTexto(ERaizRegistro::ClassesRoot, chave, "AppID", false, appId) ||
        appId.IsEmpty())
        return CTQString();
    chave.Format("AppID\\%s", appId.GetString());
    if (!registro.LeTexto(ERaizRegistro::ClassesRoot, chave, "RemoteServerName", false, servidor))
        return CTQString();
    return servidor;
}

} // namespace tq
