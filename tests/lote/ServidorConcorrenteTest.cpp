// The sample server is a server: the billing run's workers call it at once, each through objects
// of its own. Every operation, from several threads, answers what it answers to one, and counts
// every call (the tsan preset runs this program under ThreadSanitizer).
#include "calculos/AmbienteCom.h"
#include "servers/amostra/CenarioAmostra.h"
#include "servers/amostra/ServidorAmostra.h"
#include "tools/tqcalc/GeraMes.h"
#include "tools/tqcalc/Simulacao.h"

#include <TQAmostra.h>

#include <atomic>
#include <thread>

namespace {

constexpr int kThreads = 4, kVoltas = 40;
const CTQMa kMes(3, 2024);

// Everything the servers hold of one contract and month, read through every operation that
// returns it, written as a scenario: the time records both ways (positions then records, and a
// query), the ranges one by one and all at once.
std::string LeTudo(ULONG pontContr) {
    tq::calc::CServidores s;
    std::string relatorio;
    if (FAILED(s.Abre(relatorio)))
        return "Abre failed";
    tq::amostra::CDadosAmostra lido;
    if (FAILED(tq::calc::LeEntradas(s, pontContr, kMes, lido)))
        return "LeEntradas failed";

    _REG_FILTRO_APONTAMENTOS_PS filtro{};
    filtro.pontContr = pontContr;
    filtro.maInicial = filtro.maFinal = kMes.GetCompactado();
    _REG_CONSULTA_PS consulta{};
    ULONG n = 0;
    _REG_APONTAMENTO_PS* p = nullptr;
    if (FAILED(s.apontamentos->AbreConsulta(filtro, &consulta)) ||
        FAILED(s.apontamentos->Busca(consulta, &n, &p)))
        return "query failed";
    CoTaskMemFree(consulta.buffer);
    for (ULONG i = 0; i < n; ++i)
        lido.apontamentos.push_back(tq::calc::ApontamentoDoRegistro(p[i]));
    tq::LiberaApontamentos(p, n);

    ULONG nCodigos = 0, nFaixas = 0;
    ULONG* pCodigos = nullptr;
    REG_FAIXA_PS* pFaixas = nullptr;
    if (FAILED(s.faixa->LeCodigos(&nCodigos, &pCodigos)) ||
        FAILED(s.faixa->LeFaixas(nCodigos, pCodigos, &nFaixas, &pFaixas)))
        return "ranges failed";
    for (ULONG i = 0; i < nFaixas; ++i) {
        lido.faixas.push_back(tq::calc::FaixaDoRegistro(pFaixas[i]));
        tq::LiberaFaixa(pFaixas[i]);
    }
    CoTaskMemFree(pFaixas);
    CoTaskMemFree(pCodigos);

    BOOL bOk = FALSE;
    if (FAILED(s.contratos->KeepAlive(&bOk)) || !bOk)
        return "KeepAlive failed";
    return tq::amostra::EscreveCenario(lido);
}

} // namespace

using ServidorAmostra = tq::teste::AmbienteCom;

TEST_F(ServidorAmostra, ChamadasConcorrentesRespondemComoUmaSo) {
    tq::calc::COpcoesMes o;
    o.nContratos = 50;
    const tq::amostra::CDadosAmostra mes = tq::calc::GeraMes(o);
    tq::amostra::CServidorAmostra servidor(mes);
    ASSERT_EQ(servidor.Registra(), S_OK);
    std::vector<std::string> esperado;
    for (const tq::amostra::Contrato& c : mes.contratos)
        esperado.push_back(LeTudo(c.ponteiro));
    ASSERT_NE(esperado.front().find("\"apontamentos\""), std::string::npos) << esperado.front();

    tq::amostra::CEstadoAmostra& estado = servidor.Estado();
    const int nAntes = estado.Chamadas("ITQGE_Contratos", "LeContrato");
    const long nPingsAntes = estado.Pings();
    std::atomic<int> nDiferentes{0};
    std::atomic<bool> bFim{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            CoInitializeEx(nullptr, COINIT_MULTITHREADED);
            for (int v = 0; v < kVoltas; ++v) {
                const std::size_t i = static_cast<std::size_t>(t * kVoltas + v) % esperado.size();
                if (LeTudo(mes.contratos[i].ponteiro) != esperado[i])
                    ++nDiferentes;
            }
            CoUninitialize();
        });
    // Someone watching the counts meanwhile: they only ever grow.
    std::atomic<int> nRecuos{0};
    std::thread observador([&] {
        long anterior = 0;
        while (!bFim) {
            const long agora = estado.Chamadas("ITQGE_Contratos", "LeContrato") + estado.Pings();
            nRecuos += agora < anterior;
            anterior = agora;
        }
    });
    for (std::thread& t : threads)
        t.join();
    bFim = true;
    observador.join();
    EXPECT_EQ(nDiferentes, 0);
    EXPECT_EQ(nRecuos, 0);
    EXPECT_EQ(estado.Chamadas("ITQGE_Contratos", "LeContrato") - nAntes, kThreads * kVoltas)
        << "no call lost from the counts";
    EXPECT_EQ(estado.Pings() - nPingsAntes, kThreads * kVoltas);
}
