// The month's billing run (tqcalc lote) over a standard month: 10^4 contracts of 5 to 15 time
// records of 1 to 6 items each.
//
// BM_Lote/threads: the run as the billing department makes it against servers already up: a list
// of codes, the sample server holding the month in this process, N workers, the journal synced in
// batches, the summary at the end. Counters: contracts per second; the share of the workers' time
// spent outside the two calculations (the journal's JSON, the summary's rows, waiting for the
// writer and the queue); the process's resident memory when a tenth of the month was done and at
// the end, and what it grew per contract in between (Linux); contracts per second of processor
// time, which tells how the run scales when the machine's CPUs are shared with other work.
// BM_LoteCenario: the same month read from its scenario file first (63 MB of JSON), one worker:
// what reading the input costs beside the calculations.
// BM_PisoParalelo/threads: the same fixed arithmetic split over 1 and 2 threads, nothing shared:
// the speed-up the machine itself gives at that moment (its CPUs are shared with other work), to
// set the run's own speed-up against. Run with --benchmark_repetitions=N
// --benchmark_enable_random_interleaving=true so that the ratios come from the same minutes.
#include "servers/amostra/CenarioAmostra.h"
#include "servers/amostra/ServidorAmostra.h"
#include "tools/tqcalc/GeraMes.h"
#include "tools/tqcalc/Lote.h"

#include <tqge.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#ifdef __linux__
#include <unistd.h>
#endif

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kContratos = 10000;

// Resident memory, in bytes (0 where the platform is not asked).
double Residente() {
#ifdef __linux__
    std::ifstream in("/proc/self/statm");
    long paginas = 0, residentes = 0;
    in >> paginas >> residentes;
    return static_cast<double>(residentes) * static_cast<double>(sysconf(_SC_PAGESIZE));
#else
    return 0;
#endif
}

struct MesPadrao {
    MesPadrao()
        : pasta(fs::temp_directory_path() /
                ("tqge_bench_lote_" +
                 std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()))) {
        tq::calc::COpcoesMes o;
        o.nContratos = kContratos;
        dados = tq::calc::GeraMes(o);
        fs::create_directories(pasta);
        std::string texto;
        for (const tq::amostra::Contrato& c : dados.contratos)
            texto += tq::ParaUtf8(c.codigo) + "\n";
        std::ofstream(pasta / "lista.txt", std::ios::binary) << texto;
    }
    const fs::path& Cenario() {
        if (!fs::exists(pasta / "mes.json"))
            std::ofstream(pasta / "mes.json", std::ios::binary)
                << tq::amostra::EscreveCenario(dados, true);
        return pasta;
    }
    ~MesPadrao() {
        std::error_code erro;
        fs::remove_all(pasta, erro);
    }
    fs::path pasta;
    tq::amostra::CDadosAmostra dados;
};
MesPadrao& Mes() {
    static MesPadrao mes;
    return mes;
}

void Roda(benchmark::State& state, bool bCenario) {
    MesPadrao& mes = Mes();
    if (bCenario)
        mes.Cenario();
    const unsigned nThreads = static_cast<unsigned>(state.range(0));
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    tq::amostra::CServidorAmostra servidor{tq::amostra::CDadosAmostra(mes.dados)};
    if (!bCenario)
        servidor.Registra();
    double calculos = 0, faces = 0, total = 0, cpu = 0, fora = 0, residenteDecimo = 0,
           residenteFim = 0;
    std::size_t contratos = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const fs::path saida = mes.pasta / "saida";
        fs::remove_all(saida);
        state.ResumeTiming();
        tq::calc::COpcoesLote o;
        (bCenario ? o.entrada : o.lista) =
            (mes.pasta / (bCenario ? "mes.json" : "lista.txt")).string();
        o.mes = "03/2024";
        o.saida = saida.string();
        o.nThreads = nThreads;
        bool bDecimo = false;
        o.aoGravar = [&](std::size_t feitos, std::size_t nTotal) {
            if (!bDecimo && feitos * 10 >= nTotal) {
                bDecimo = true;
                residenteDecimo = Residente();
            }
        };
        tq::calc::CMedidasLote m;
        const std::clock_t cpu0 = std::clock();
        const int codigo = tq::calc::ExecutaLote(o, &m);
        cpu += static_cast<double>(std::clock() - cpu0) / CLOCKS_PER_SEC;
        if (codigo != 0 || m.nCalculados != kContratos)
            state.SkipWithError("the run did not bill the month");
        residenteFim = Residente();
        calculos += m.segundosCalculos;
        faces += m.segundosFaces;
        total += m.segundosTotal;
        fora += 1 - m.segundosCalculos / (m.segundosTotal * nThreads);
        contratos += m.nCalculados;
    }
    CoUninitialize();
    const double n = static_cast<double>(state.iterations());
    state.counters["contratos_s"] = static_cast<double>(contratos) / total;
    // Per second of the processors the run was given: what 2 threads would reach on 2 idle CPUs.
    state.counters["contratos_s_cpu"] = static_cast<double>(contratos) / cpu;
    state.counters["fora_dos_calculos_pct"] = 100 * fora / n;
    state.counters["calculo_us"] = 1e6 * calculos / static_cast<double>(contratos);
    state.counters["json_us"] = 1e6 * faces / static_cast<double>(contratos);
    state.counters["residente_decimo_MB"] = residenteDecimo / 1e6;
    state.counters["residente_fim_MB"] = residenteFim / 1e6;
    state.counters["cresce_por_contrato_B"] =
        (residenteFim - residenteDecimo) / (0.9 * static_cast<double>(kContratos));
}

void BM_PisoParalelo(benchmark::State& state) {
    const unsigned nThreads = static_cast<unsigned>(state.range(0));
    constexpr unsigned long long kPassos = 400000000ull;
    for (auto _ : state) {
        std::vector<std::thread> threads;
        for (unsigned t = 0; t < nThreads; ++t)
            threads.emplace_back([nThreads, t] {
                unsigned long long x = t + 1;
                for (unsigned long long i = 0; i < kPassos / nThreads; ++i)
                    x = x * 6364136223846793005ull + 1442695040888963407ull;
                benchmark::DoNotOptimize(x);
            });
        for (std::thread& th : threads)
            th.join();
    }
    state.counters["passos_s"] =
        benchmark::Counter(static_cast<double>(kPassos) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
}

void BM_Lote(benchmark::State& state) {
    Roda(state, false);
}
void BM_LoteCenario(benchmark::State& state) {
    Roda(state, true);
}

} // namespace

BENCHMARK(BM_Lote)
    ->ArgName("threads")
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kSecond)
    ->UseRealTime()
    ->Iterations(2);
BENCHMARK(BM_PisoParalelo)
    ->ArgName("threads")
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kSecond)
    ->UseRealTime()
    ->Iterations(2);
BENCHMARK(BM_LoteCenario)
    ->ArgName("threads")
    ->Arg(1)
    ->Unit(benchmark::kSecond)
    ->UseRealTime()
    ->Iterations(1);
