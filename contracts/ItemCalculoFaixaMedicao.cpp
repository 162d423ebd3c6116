#include "contracts/ItemCalculoFaixaMedicao.h"

void CItemCalculoFaixaMedicao::Limpa() {
    Valor.int64 = 0;
    Quantidade.int64 = 0;
    Servico = 0;
    Classificacoes.RemoveAll();
}

void CItemCalculoFaixaMedicao::Copy(const CItemCalculoFaixaMedicao& outro) {
    if (&outro == this)
        return;
    Valor = outro.Valor;
    Quantidade = outro.Quantidade;
    Servico = outro.Servico;
    Classificacoes.RemoveAll();
    for (const CRegClassificacaoGePs& c : outro.Classificacoes)
        Classificacoes.Add(c);
}
