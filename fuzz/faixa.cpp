// Pouring quantities into ranges of any bands a server may send (any bounds, prices, counts),
// against a plain reference.
#include "Fuzz.h"

#include "contracts/CalculoFaixaMedicao.h"

class CCalculoExposto : public CCalculoFaixaMedicao {
public:
    using CCalculoFaixaMedicao::AdicionaItemPorFaixa;
    using CCalculoFaixaMedicao::CCalculoFaixaMedicao;
};

static LONGLONG Numero(FuzzedDataProvider& in, LONGLONG limite) {
    return in.ConsumeBool() ? in.ConsumeIntegralInRange(-limite, limite)
                            : in.ConsumeIntegral<LONGLONG>();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* dados, std::size_t tamanho) {
    FuzzedDataProvider in(dados, tamanho);
    CCalculoExposto calculo("", 0, 0);
    std::vector<std::array<LONGLONG, 4>> esperadas; // quantity, price, service, classifications
    for (int f = in.ConsumeIntegralInRange(1, 4); f > 0; --f) {
        const tagCY quantidade{.int64 = Numero(in, 10000000)};
        tagREG_FAIXA_PS faixa{};
        faixa.servico = in.ConsumeIntegralInRange(1, 3);
        std::vector<_REG_BANDA_FAIXA_PS> bandas(in.ConsumeIntegralInRange(0, 6));
        for (_REG_BANDA_FAIXA_PS& banda : bandas) {
            banda.inferior = static_cast<LONG>(Numero(in, 1000));
            banda.superior = static_cast<LONG>(Numero(in, 1000));
            banda.preco.int64 = Numero(in, 1000000);
        }
        faixa.qtdBandas = static_cast<ULONG>(bandas.size());
        faixa.bandas = bandas.data();
        CArrayClassificacoes classificacoes;
        classificacoes.SetSize(in.ConsumeIntegralInRange(0, 2));
        calculo.AdicionaItemPorFaixa(quantidade, faixa, classificacoes);

        // Band after band while something is left: an open band (upper bound 0) takes all of it,
        // any other at most its width in whole units, both bounds counted, as a 32-bit unsigned
        // number of four-decimal units.
        LONGLONG resto = quantidade.int64;
        for (std::size_t b = 0; b < bandas.size() && resto != 0; ++b) {
            const auto capacidade = static_cast<std::uint32_t>(
                (LONGLONG{bandas[b].superior} - bandas[b].inferior + 1) * 10000);
            const LONGLONG leva =
                bandas[b].superior == 0 || resto < capacidade ? resto : capacidade;
            esperadas.push_back(
                {leva, bandas[b].preco.int64, faixa.servico, classificacoes.GetSize()});
            resto -= leva;
        }
    }
    const CArrayItensFaixa& itens = calculo.GetItens();
    TQ_CONFERE(itens.GetSize() == static_cast<INT_PTR>(esperadas.size()), "%zu lines, expected %zu",
               static_cast<std::size_t>(itens.GetSize()), esperadas.size());
    for (std::size_t i = 0; i < esperadas.size(); ++i) {
        const CItemCalculoFaixaMedicao& l = itens[static_cast<INT_PTR>(i)];
        const std::array<LONGLONG, 4> obtida = {l.Quantidade.int64, l.Valor.int64, l.Servico,
                                                l.Classificacoes.GetSize()};
        TQ_CONFERE(obtida == esperadas[i], "line %zu: %lld at %lld, expected %lld at %lld", i,
                   obtida[0], obtida[1], esperadas[i][0], esperadas[i][1]);
    }
    return 0;
}
