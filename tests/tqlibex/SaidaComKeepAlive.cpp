// A module program that keeps a server pointer for its whole run, as a program object would: it
// returns from main with the pointer's keep-alive thread idle, and must exit cleanly.
#include "fakes/ComFalso.h"

#include "tqlibex/registry/Registro.h"

#include <cstdio>

namespace {

const GUID kClsid = {0x33333333, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x77}};

tq::teste::CServidorFalso g_servidor;
tq::teste::CFabricaFalsa g_fabrica(g_servidor);
tq::CRegistroEmMemoria g_registro;
tq::CEscopoRegistro g_escopoRegistro(g_registro);

} // namespace

CTQComPtr<ITQTeste> g_pServidor;

int main() {
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)))
        return 2;
    g_registro.DefineTexto(tq::ERaizRegistro::ClassesRoot,
                           "CLSID\\{33333333-2222-3333-4444-555555555577}", "AppID",
                           "{AAAAAAAA-2222-3333-4444-555555555577}");
    g_registro.DefineTexto(tq::ERaizRegistro::ClassesRoot,
                           "AppID\\{AAAAAAAA-2222-3333-4444-555555555577}", "RemoteServerName",
                           "srv-negocios");
    DWORD dwCookie = 0;
    if (FAILED(CoRegisterClassObject(kClsid, &g_fabrica, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                                     &dwCookie)))
        return 3;
    const HRESULT hr = g_pServidor.CoCreateInstance(kClsid);
    if (hr != S_OK || !g_pServidor.TemKeepAlive()) {
        std::fprintf(stderr, "creation: 0x%08X, keep-alive %d\n", static_cast<unsigned>(hr),
                     g_pServidor.TemKeepAlive() ? 1 : 0);
        return 4;
    }
    return 0; // the pointer, its thread and the runtime's state go at exit
}
