// The calculations at a large month, against the sample server in this process: the time
// calculation over 10^6 time-record items (10^5 records of ten) of 10^4 services, priced by 10^3
// contract items; its floor, a plain loop summing the same items' quantities without grouping;
// the ranges calculation over the same month (10^3 ranges) and the condensing of 10^5 band
// lines. Items per second of the same run compare directly.
#include <tqge.h>

#include "servers/amostra/ServidorAmostra.h"

#include <benchmark/benchmark.h>

#include <random>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace {

constexpr ULONG kContrato = 1234;
constexpr int kRegistros = 100000, kItensPorRegistro = 10, kServicos = 10000, kItensContrato = 1000;
const CTQMa kMes(3, 2024);

tq::amostra::CDadosAmostra MesGrande() {
    tq::amostra::CDadosAmostra dados;
    std::mt19937 g(2024);
    tq::amostra::Contrato contrato;
    contrato.codigo = "12345";
    contrato.ponteiro = kContrato;
    for (int i = 0; i < kItensContrato; ++i) {
        tq::amostra::ItemContrato item;
        item.servico = static_cast<ULONG>(1 + i * (kServicos / kItensContrato));
        item.precoUnitario = 250000000 + i;
        item.precoExcedente = 310000000;
        item.franquia = i % 3 == 0 ? 100000 : 0;
        item.texto = "Servico " + std::to_string(item.servico);
        item.classificacoes = {{1, 600000, "Receita"}, {2, 400000, "Impostos"}};
        contrato.itens.push_back(item);
    }
    // 10^3 ranges of three bands for the ranges calculation, one service each.
    for (int i = 0; i < kItensContrato; ++i) {
        const ULONG servico = static_cast<ULONG>(1 + i * (kServicos / kItensContrato));
        contrato.faixas.push_back({static_cast<ULONG>(i + 1), {{1, 1000000, "Receita"}}});
        dados.faixas.push_back({static_cast<ULONG>(i + 1),
                                servico,
                                "Faixa",
                                {{1, 100, 20000}, {101, 200, 15000}, {201, 0, 10000}}});
    }
    dados.contratos.push_back(contrato);
    for (int r = 0; r < kRegistros; ++r) {
        tq::amostra::Apontamento a;
        a.ma = kMes.GetCompactado();
        a.ponteiro = static_cast<ULONG>(r + 1);
        a.pontContr = kContrato;
        a.codigo = std::to_string(100 + r);
        a.listarNF = 1;
        for (int i = 0; i < kItensPorRegistro; ++i) {
            _REG_ITEM_APONTAMENTO_PS item{};
            item.servico = static_cast<ULONG>(1 + g() % kServicos);
            item.quantidade.int64 = static_cast<LONGLONG>(g() % 200000);
            a.itens.push_back(item);
        }
        dados.apontamentos.push_back(std::move(a));
    }
    return dados;
}

// The month, served once per process. A module that calculates month after month keeps its heap;
// glibc would otherwise hand the freed pages back after each calculation and fault them in again,
// which on a virtual machine costs more than the calculation itself.
struct Ambiente {
    Ambiente() : servidor(MesGrande()) {
#ifdef __GLIBC__
        mallopt(M_TRIM_THRESHOLD, 1 << 30);
        mallopt(M_MMAP_THRESHOLD, 1 << 30);
#endif
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        servidor.Registra();
        calculo.Inicializa();
        // The records as the calculation receives them, for the floor and the totals.
        ULONG nPosicoes = 0, n = 0;
        _REG_PONTEIRO_APONTAMENTO_PS* pPosicoes = nullptr;
        _REG_APONTAMENTO_PS* p = nullptr;
        _REG_FILTRO_APONTAMENTOS_PS filtro{};
        filtro.pontContr = kContrato;
        filtro.maInicial = filtro.maFinal = kMes.GetCompactado();
        CTQComPtr<ITQGE_Apontamentos> pServidor;
        pServidor.CoCreateInstance(__uuidof(TQGE_Apontamentos));
        pServidor->Inicializa(_REG_CONEXAO_PS{});
        pServidor->LePosicoes(filtro, &nPosicoes, &pPosicoes);
        pServidor->LeApontamentos(nPosicoes, pPosicoes, &n, &p);
        for (ULONG i = 0; i < n; ++i)
            registros.Add(p[i]);
        CoTaskMemFree(pPosicoes);
        CoTaskMemFree(p);
    }
    tq::amostra::CServidorAmostra servidor;
    CCalculoApontamentos calculo;
    CCalculoApontamentos::CArrayApontamentosPs registros;
};
Ambiente& Mes() {
    static Ambiente* ambiente = new Ambiente; // the records stay until the process ends
    return *ambiente;
}

void BM_ApontamentosPiso(benchmark::State& state) {
    const auto& registros = Mes().registros;
    for (auto _ : state) {
        LONGLONG soma = 0;
        for (const _REG_APONTAMENTO_PS& r : registros)
            for (ULONG i = 0; i < r.qtdItens; ++i)
                soma += r.itens[i].quantidade.int64;
        benchmark::DoNotOptimize(soma);
    }
    state.SetItemsProcessed(state.iterations() * kRegistros * kItensPorRegistro);
}

void BM_ApontamentosTotais(benchmark::State& state) {
    const auto& registros = Mes().registros;
    CCalculoApontamentos::CArrayTotais totais;
    tq::detail::CMapaPorChave<int> indice;
    for (auto _ : state) {
        CCalculoApontamentos::TotalizaPorServico(registros, totais, indice);
        benchmark::DoNotOptimize(totais.GetData());
    }
    state.SetItemsProcessed(state.iterations() * kRegistros * kItensPorRegistro);
}

// What the sample server alone costs: the month's positions and records built and handed over,
// then freed, with no calculation.
void BM_ServidorEntregaOMes(benchmark::State& state) {
    Mes();
    CTQComPtr<ITQGE_Apontamentos> pServidor;
    pServidor.CoCreateInstance(__uuidof(TQGE_Apontamentos));
    pServidor->Inicializa(_REG_CONEXAO_PS{});
    _REG_FILTRO_APONTAMENTOS_PS filtro{};
    filtro.pontContr = kContrato;
    filtro.maInicial = filtro.maFinal = kMes.GetCompactado();
    for (auto _ : state) {
        ULONG nPosicoes = 0, n = 0;
        _REG_PONTEIRO_APONTAMENTO_PS* pPosicoes = nullptr;
        _REG_APONTAMENTO_PS* p = nullptr;
        pServidor->LePosicoes(filtro, &nPosicoes, &pPosicoes);
        pServidor->LeApontamentos(nPosicoes, pPosicoes, &n, &p);
        CoTaskMemFree(pPosicoes);
        tq::LiberaApontamentos(p, n);
    }
    state.SetItemsProcessed(state.iterations() * kRegistros * kItensPorRegistro);
}

void BM_FazCalculoApontamentos(benchmark::State& state) {
    Ambiente& mes = Mes();
    CCalculoApontamentos::CArrayCalculados linhas;
    for (auto _ : state) {
        if (FAILED(mes.calculo.FazCalculoApontamentos(kContrato, kMes, linhas)))
            state.SkipWithError("the calculation failed");
        CCalculoApontamentos::LiberaApontamentosCalculados(linhas);
    }
    state.SetItemsProcessed(state.iterations() * kRegistros * kItensPorRegistro);
}

// The ranges calculation over the same month: the records with their measurement entries (freed
// once totalled), the 10^3 range definitions and the band lines. A fixed three calls per
// repetition, as it always ran (the name scripts compare carries "/iterations:3").
void BM_CalculaItensFaixas(benchmark::State& state) {
    Ambiente& mes = Mes();
    CCalculoFaixaMedicao calculo("", 0, 0);
    CRegContratoPs contrato;
    contrato.SetCodigo("12345");
    for (const tq::amostra::FaixaContrato& f : mes.servidor.Estado().Dados().contratos[0].faixas) {
        CRegFaixaContratoPs faixa;
        faixa.SetCodigoFaixa(f.codigo);
        contrato.GetArrFaixas().Add(faixa);
    }
    calculo.SetContrato(contrato);
    for (auto _ : state)
        if (FAILED(calculo.CalculaItens(kMes)))
            state.SkipWithError("the calculation failed");
    state.SetItemsProcessed(state.iterations() * kRegistros * kItensPorRegistro);
}

// 10^5 band lines over 10^3 services (a hundred bands each) condensed to one line per service.
class CCalculoComLinhas : public CCalculoFaixaMedicao {
public:
    CCalculoComLinhas() : CCalculoFaixaMedicao("", 0, 0) {
        for (ULONG s = 1; s <= 1000; ++s) {
            GetContrato().GetArrFaixas().Add(CRegFaixaContratoPs());
            for (int b = 0; b < 100; ++b) {
                CItemCalculoFaixaMedicao linha;
                linha.Servico = s;
                linha.Valor.int64 = 20000 - b * 100;
                linha.Quantidade.int64 = 1000000;
                GetItens().Add(linha);
            }
        }
    }
};

void BM_GetServicosFaturamento(benchmark::State& state) {
    CCalculoComLinhas calculo;
    CArrayItensFaixa servicos;
    for (auto _ : state) {
        calculo.GetServicosFaturamento(servicos);
        benchmark::DoNotOptimize(servicos.GetData());
    }
    state.SetItemsProcessed(state.iterations() * calculo.GetItens().GetSize());
}

} // namespace

BENCHMARK(BM_ApontamentosPiso)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ApontamentosTotais)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ServidorEntregaOMes)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FazCalculoApontamentos)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CalculaItensFaixas)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_GetServicosFaturamento)->Unit(benchmark::kMillisecond);
