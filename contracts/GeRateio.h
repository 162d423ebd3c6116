// CGeRateio: the apportionment of a line's value over its classifications. Each classification
// but the last gets valor x percentual / 100, rounded half away from zero to two decimals; the
// last gets what remains, so the shares always add up to the line's value, whatever the
// percentages add up to.
#pragma once

#include "servers/RegistrosGE.h"

class CGeRateio {
public:
    // A new task-allocated list (descriptions copied) with each share in `valor`: the caller's
    // to free with tq::LiberaClassificacoes; the list handed in stays the caller's. An empty list
    // gives an empty one; E_OUTOFMEMORY leaves *ppRateio null and *pnRateio 0.
    static HRESULT Rateia(const _REG_CLASSIFICACAO_GE_PS* pLista, ULONG nLista, tagCY valor,
                          _REG_CLASSIFICACAO_GE_PS** ppRateio, ULONG* pnRateio);
    // valor x percentual / 100 (percentual with four decimals), half away from zero to two
    // decimals, as a four-decimal currency; 0 when it does not fit.
    static tagCY Parcela(tagCY valor, tagCY percentual);
};
