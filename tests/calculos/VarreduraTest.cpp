// The fault sweep against the sample server in this process.
#include "calculos/Varredura.h"
#include "calculos/AmbienteCom.h"

#include "fakes/ComFalso.h"
#include "servers/amostra/CenarioAmostra.h"
#include "servers/amostra/ServidorAmostra.h"
#include "support/Tabela.h"
#include "tqlibex/base/GuidTexto.h"

using Varredura = tq::teste::AmbienteCom;

TEST_F(Varredura, CadaChamadaFalhaEmSuaVez) {
    tq::amostra::CServidorAmostra servidor(
        tq::amostra::LeArquivoCenario(tq::teste::CaminhoDosDados("varredura.json")));
    ASSERT_EQ(servidor.Registra(), S_OK);
    tq::teste::VarreFalhas(
        espia, {static_cast<HRESULT>(0x800706BAu), static_cast<HRESULT>(0x80010108u), E_FAIL});
}

// Four modules at once, each with its own objects, and a keep-alive thread per server pointer
// pinging every millisecond (the registry names a remote server for the three classes).
TEST_F(Varredura, ModulosEmParaleloComKeepAlive) {
    const char* const kApp = "{EDF04AA8-B344-47A5-9499-5E33CC0CFD93}";
    const auto raiz = tq::ERaizRegistro::ClassesRoot;
    registro.DefineTexto(raiz, std::string("AppID\\").append(kApp), "RemoteServerName",
                         "SERVIDOR-GE");
    for (const CLSID& clsid :
         {__uuidof(TQGE_Apontamentos), __uuidof(TQGE_Contratos), __uuidof(TQGE_Faixa)})
        registro.DefineTexto(raiz, std::string("CLSID\\").append(tq::GuidParaTexto(clsid).str()),
                             "AppID", kApp);
    tq::teste::CEscopoIntervaloKeepAlive intervalo(1);
    tq::amostra::CServidorAmostra servidor(
        tq::amostra::LeArquivoCenario(tq::teste::CaminhoDosDados("varredura.json")));
    ASSERT_EQ(servidor.Registra(), S_OK);
    EXPECT_GT(tq::teste::FaturasEmParalelo(espia, 4, 50), 0) << "the keep-alive threads ran";
}
