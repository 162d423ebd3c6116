// CItemCalculoFaixaMedicao: one billing line of the ranges calculation: a quantity of a service at
// one price, with the accounting classifications that go with it.
#pragma once

#include "contracts/RegClassificacaoGePs.h"

class CItemCalculoFaixaMedicao {
public:
    CItemCalculoFaixaMedicao() = default;
    CItemCalculoFaixaMedicao(const CItemCalculoFaixaMedicao& outro) { Copy(outro); }
    CItemCalculoFaixaMedicao& operator=(const CItemCalculoFaixaMedicao& outro) {
        Copy(outro);
        return *this;
    }
    ~CItemCalculoFaixaMedicao() = default;

    // All zero and an empty list.
    void Limpa();
    // Field by field, the list element by element.
    void Copy(const CItemCalculoFaixaMedicao& outro);

    tagCY Valor{};      // the unit price
    tagCY Quantidade{}; // billed at that price
    ULONG Servico = 0;
    CArrayClassificacoes Classificacoes;
};

using CArrayItensFaixa = CGeArrayEx<CItemCalculoFaixaMedicao, const CItemCalculoFaixaMedicao&>;
