// tqge_bench: the money value's hot operations against a plain int64 multiply loop (the floor).
// Every benchmark walks the same 1,024 operand pairs, one result per pair, so the per-item
// times of one run compare directly. Operands are what billing multiplies and divides: an amount
// up to 10 million (raw 10^11) against a quantity, price or rate up to 1,000 (raw 10^7). With the
// argument 1, one pair in 64 holds a huge amount that needs the 128-bit paths.
#include <tqge.h>

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace {

constexpr std::size_t kPares = 1024;

struct Operandos {
    std::vector<tagCY> a, b;
    explicit Operandos(bool bComEnormes) {
        std::mt19937_64 g(42);
        for (std::size_t i = 0; i < kPares; ++i) {
            tagCY x, y;
            const bool bGrande = bComEnormes && i % 64 == 0;
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
const Operandos& Dados(bool bComEnormes) {
    static const Operandos comuns(false), comEnormes(true);
    return bComEnormes ? comEnormes : comuns;
}

template <class F>
void PorPar(benchmark::State& state, F f) {
    const Operandos& o = Dados(state.range(0) != 0);
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

BENCHMARK(BM_PisoMultiplicacaoInt64)->Arg(0)->Arg(1);
BENCHMARK(BM_CompostoSoma)->Arg(0)->Arg(1);
BENCHMARK(BM_CompostoMultiplicacao)->Arg(0)->Arg(1);
BENCHMARK(BM_CompostoDivisao)->Arg(0)->Arg(1);
BENCHMARK(BM_BinarioMultiplicacao)->Arg(0)->Arg(1);
BENCHMARK(BM_BinarioDivisao)->Arg(0)->Arg(1);
BENCHMARK(BM_PortavelVarCyMul)->Arg(0)->Arg(1);
BENCHMARK(BM_PortavelCyDiv)->Arg(0)->Arg(1);
BENCHMARK(BM_PlataformaVarCyMul)->Arg(0)->Arg(1);
BENCHMARK(BM_PlataformaCadeiaDivisao)->Arg(0)->Arg(1);
BENCHMARK(BM_ConverteQuatroParaDois)->Arg(0)->Arg(1);
BENCHMARK(BM_ConverteOitoParaQuatro)->Arg(0)->Arg(1);
BENCHMARK(BM_GetFormatado)->Arg(0)->Arg(1);

BENCHMARK_MAIN();
