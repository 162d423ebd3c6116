#include "contracts/GeRateio.h"

#include "tqlibex/base/UInt128.h"

namespace {

unsigned long long Modulo(LONGLONG v) {
    return v < 0 ? 0 - static_cast<unsigned long long>(v) : static_cast<unsigned long long>(v);
}

} // namespace

tagCY CGeRateio::Parcela(tagCY valor, tagCY percentual) {
    // |valor| x |percentual| / 10^6 in four decimals; in hundredths of a unit that is a division
    // by 10^8, rounded half away from zero.
    using tq::detail::U128;
    const U128 produto = U128::Mul64(Modulo(valor.int64), Modulo(percentual.int64));
    U128 centesimos, resto;
    U128::DivMod(produto, U128(100000000ull), centesimos, resto);
    if (resto >= U128(50000000ull))
        centesimos = centesimos + U128(1);
    tagCY parcela{};
    if (centesimos.Hi() != 0 || centesimos.Lo() > static_cast<unsigned long long>(INT64_MAX) / 100)
        return parcela;
    const auto v = static_cast<LONGLONG>(centesimos.Lo() * 100);
    parcela.int64 = (valor.int64 < 0) != (percentual.int64 < 0) ? -v : v;
    return parcela;
}

HRESULT CGeRateio::Rateia(const _REG_CLASSIFICACAO_GE_PS* pLista, ULONG nLista, tagCY valor,
                          _REG_CLASSIFICACAO_GE_PS** ppRateio, ULONG* pnRateio) {
    *ppRateio = nullptr;
    *pnRateio = 0;
    if (!pLista || nLista == 0)
        return S_OK;
    auto* p = tq::AlocaArray<_REG_CLASSIFICACAO_GE_PS>(nLista);
    if (!p)
        return E_OUTOFMEMORY;
    unsigned long long restante = static_cast<unsigned long long>(valor.int64);
    for (ULONG i = 0; i < nLista; ++i) {
        p[i] = pLista[i];
        p[i].descricao = nullptr;
        if (pLista[i].descricao && !(p[i].descricao = tq::DuplicaTexto(pLista[i].descricao))) {
            tq::LiberaClassificacoes(p, nLista);
            return E_OUTOFMEMORY;
        }
        if (i + 1 < nLista) {
            p[i].valor = Parcela(valor, pLista[i].percentual);
            restante -= static_cast<unsigned long long>(p[i].valor.int64);
        } else {
            p[i].valor.int64 = static_cast<LONGLONG>(restante); // wraps as raw arithmetic does
        }
    }
    *ppRateio = p;
    *pnRateio = nLista;
    return S_OK;
}
