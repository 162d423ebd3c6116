// tqge_bench: the money value's hot operations against a plain int64 multiply loop (the floor).
// Every benchmark walks the same 1,024 operand pairs, one result per pair, so the per-item
// times of one run compare directly. Operands are everyday amounts (up to 100 million in
// currency) with a sprinkling of values that need the 128-bit paths.
#include <tqge.h>

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace {

constexpr std::size_t kPares = 1024;

struct Operandos {
    std::vector<tagCY> a, b;
    Operandos() {
        std::mt19937_64 g(42);
        for (std::size_t i = 0; i < kPares; ++i) {
            tagCY x, y;
            const bool bGrande = i % 64 == 0;
            x.int64 =
                static_cast<LONGLONG>(g() % (bGrande ? 9000000000000000000ull : 1000000000000ull));
            y.int64 = static_cast<LONGLONG>(1 + g() % 100000000ull);
            if (g() & 1)
                x.int64 = -x.int64;
            a.push_back(x);
            b.push_back(y);
        }
    }
};
const Operandos& Dados() {
    static const Operandos o;
    return o;
}

template <class F>
void PorPar(benchmark::State& state, F f) {
    const Operandos& o = Dados();
    for (auto _ : state)
        for (std::size_t i = 0; i < kPares; ++i)
            f(o.a[i], o.b[i]);
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kPares));
}

void BM_PisoMultiplicacaoInt64(benchmark::State& state) {
    PorPar(state, [](const tagCY& a, const tagCY& b) {
        LONGLONG r = a.int64 * b.int64;
        benchmark::DoNotOptimize(r);
    });
}

void BM_CompostoSoma(benchmark::State& state) {
    PorPar(state, [](const tagCY& a, const tagCY& b) {
        CGeCurrencyEx v(a, 4);
        v += b;
        benchmark::DoNotOptimize(v);
    });
}

void BM_CompostoMultiplicacao(benchmark::State& state) {
    PorPar(state, [](const tagCY& a, const tagCY& b) {
        CGeCurrencyEx v(a, 4);
        v *= b;
        benchmark::DoNotOptimize(v);
    });
}

void BM_CompostoDivisao(benchmark::State& state) {
    PorPar(state, [](const tagCY& a, const tagCY& b) {
        CGeCurrencyEx v(a, 4);
        v /= b;
        benchmark::DoNotOptimize(v);
    });
}

void BM_BinarioMultiplicacao(benchmark::State& state) {
    PorPar(state, [](const tagCY& a, const tagCY& b) {
        CGeCurrencyEx r = CGeCurrencyEx(a) * b;
        benchmark::DoNotOptimize(r);
    });
}

void BM_BinarioDivisao(benchmark::State& state) {
    PorPar(state, [](const tagCY& a, const tagCY& b) {
        CGeCurrencyEx r = CGeCurrencyEx(a) / b;
        benchmark::DoNotOptimize(r);
    });
}

void BM_PortavelVarCyMul(benchmark::State& state) {
    PorPar(state, [](const tagCY& a, const tagCY& b) {
        tagCY r;
        benchmark::DoNotOptimize(tq::oleaut::VarCyMul(a, b, &r));
        benchmark::DoNotOptimize(r);
    });
}

void BM_PortavelCyDiv(benchmark::State& state) {
    PorPar(state, [](const tagCY& a, const tagCY& b) {
        tagCY r;
        benchmark::DoNotOptimize(tq::oleaut::CyDiv(a, b, &r));
        benchmark::DoNotOptimize(r);
    });
}

// The platform's functions: oleaut32 in the Windows build, the portable ones elsewhere.
void BM_PlataformaVarCyMul(benchmark::State& state) {
    PorPar(state, [](const tagCY& a, const tagCY& b) {
        tagCY r;
        benchmark::DoNotOptimize(VarCyMul(a, b, &r));
        benchmark::DoNotOptimize(r);
    });
}

void BM_PlataformaCadeiaDivisao(benchmark::State& state) {
    PorPar(state, [](const tagCY& a, const tagCY& b) {
        DECIMAL da, db, dq;
        tagCY r;
        VarDecFromCy(a, &da);
        VarDecFromCy(b, &db);
        VarDecDiv(&da, &db, &dq);
        benchmark::DoNotOptimize(VarCyFromDec(&dq, &r));
        benchmark::DoNotOptimize(r);
    });
}

void BM_ConverteQuatroParaDois(benchmark::State& state) {
    PorPar(state, [](const tagCY& a, const tagCY&) {
        CGeCurrencyEx v(a, 4);
        v.ConverteParaDoisDecimais(true);
        benchmark::DoNotOptimize(v);
    });
}

void BM_ConverteOitoParaQuatro(benchmark::State& state) {
    PorPar(state, [](const tagCY& a, const tagCY&) {
        CGeCurrencyEx v(a, 8);
        v.ConverteParaQuatroDecimais(true);
        benchmark::DoNotOptimize(v);
    });
}

void BM_GetFormatado(benchmark::State& state) {
    PorPar(state, [](const tagCY& a, const tagCY&) {
        CTQString s = CGeCurrencyEx(a, 2).GetFormatado();
        benchmark::DoNotOptimize(s.GetString());
    });
}

} // namespace

BENCHMARK(BM_PisoMultiplicacaoInt64);
BENCHMARK(BM_CompostoSoma);
BENCHMARK(BM_CompostoMultiplicacao);
BENCHMARK(BM_CompostoDivisao);
BENCHMARK(BM_BinarioMultiplicacao);
BENCHMARK(BM_BinarioDivisao);
BENCHMARK(BM_PortavelVarCyMul);
BENCHMARK(BM_PortavelCyDiv);
BENCHMARK(BM_PlataformaVarCyMul);
BENCHMARK(BM_PlataformaCadeiaDivisao);
BENCHMARK(BM_ConverteQuatroParaDois);
BENCHMARK(BM_ConverteOitoParaQuatro);
BENCHMARK(BM_GetFormatado);

BENCHMARK_MAIN();
