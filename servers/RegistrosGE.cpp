#include "servers/RegistrosGE.h"

#include "tqlibex/com/AlocadorTarefas.h"

#include <ComApi.h>

#include <cstring>
#include <utility>

namespace tq {

namespace {
template <class T>
void Libera(T*& p) {
    CoTaskMemFree(std::exchange(p, nullptr));
}
} // namespace

void LiberaClassificacoes(_REG_CLASSIFICACAO_GE_PS* p, ULONG n) {
    if (!p)
        return;
    n = RegistrosNoBloco(p, n);
    for (ULONG i = 0; i < n; ++i)
        Libera(p[i].descricao);
    CoTaskMemFree(p);
}

void LiberaItemContrato(_REG_ITEM_CONTRATO_PS& item) {
    Libera(item.texto);
    LiberaClassificacoes(std::exchange(item.classificacoes, nullptr), item.qtdClassificacoes);
    item.qtdClassificacoes = 0;
}

void LiberaItensContrato(_REG_ITEM_CONTRATO_PS* p, ULONG n) {
    if (!p)
        return;
    n = RegistrosNoBloco(p, n);
    for (ULONG i = 0; i < n; ++i)
        LiberaItemContrato(p[i]);
    CoTaskMemFree(p);
}

void LiberaApontamentos(_REG_APONTAMENTO_PS* p, ULONG n) {
    if (!p)
        return;
    n = RegistrosNoBloco(p, n);
    for (ULONG i = 0; i < n; ++i)
        Libera(p[i].itens);
    CoTaskMemFree(p);
}

void LiberaFaixa(REG_FAIXA_PS& faixa) {
    Libera(faixa.bandas);
}

void LiberaContrato(_REG_CONTRATO_PS& contrato) {
    const ULONG nFaixas = RegistrosNoBloco(contrato.faixas, contrato.qtdFaixas);
    for (ULONG i = 0; i < nFaixas; ++i) {
        _REG_FAIXA_CONTRATO_PS& f = contrato.faixas[i];
        LiberaClassificacoes(std::exchange(f.classificacoes, nullptr), f.qtdClassificacoes);
    }
    Libera(contrato.faixas);
    contrato.qtdFaixas = 0;
}

namespace {
bool TextoChegou(const char* psz) {
    if (!psz)
        return true;
    const std::size_t n = detail::TamanhoDoBlocoDeTarefa(psz);
    return n == SIZE_MAX || std::memchr(psz, '\0', n) != nullptr;
}

bool ClassificacoesChegaram(const _REG_CLASSIFICACAO_GE_PS* p, ULONG n) {
    if (!ArrayChegou(p, n))
        return false;
    for (ULONG i = 0; i < n; ++i)
        if (!TextoChegou(p[i].descricao))
            return false;
    return true;
}
} // namespace

bool ItensContratoChegaram(const _REG_ITEM_CONTRATO_PS* p, ULONG n) {
    if (!ArrayChegou(p, n))
        return false;
    for (ULONG i = 0; i < n; ++i)
        if (!TextoChegou(p[i].texto) ||
            !ClassificacoesChegaram(p[i].classificacoes, p[i].qtdClassificacoes))
            return false;
    return true;
}

bool ContratoChegou(const _REG_CONTRATO_PS& contrato) {
    if (!ArrayChegou(contrato.faixas, contrato.qtdFaixas))
        return false;
    for (ULONG i = 0; i < contrato.qtdFaixas; ++i)
        if (!ClassificacoesChegaram(contrato.faixas[i].classificacoes,
                                    contrato.faixas[i].qtdClassificacoes))
            return false;
    return true;
}

bool ApontamentosChegaram(const _REG_APONTAMENTO_PS* p, ULONG n) {
    if (!ArrayChegou(p, n))
        return false;
    for (ULONG i = 0; i < n; ++i)
        if (!ArrayChegou(p[i].itens, p[i].qtdItens))
            return false;
    return true;
}

HRESULT CApontamentosRecebidos::Recebe(_REG_APONTAMENTO_PS* p, ULONG n) {
    Libera();
    if (!ArrayChegou(p, n)) {
        LiberaApontamentos(p, n);
        return kDadosRuins;
    }
    m_p = p;
    m_n = m_nComItens = p ? n : 0;
    return S_OK;
}

void CApontamentosRecebidos::LiberaItens(_REG_APONTAMENTO_PS& r) {
    CoTaskMemFree(std::exchange(r.itens, nullptr));
    if (m_nComItens > 0)
        --m_nComItens;
}

void CApontamentosRecebidos::Libera() {
    if (m_nComItens == 0) {
        CoTaskMemFree(std::exchange(m_p, nullptr));
    } else {
        LiberaApontamentos(std::exchange(m_p, nullptr), m_n);
    }
    m_n = m_nComItens = 0;
}

void LiberaApontamentoCalculado(REG_APONTAMENTO_CALCULADO& linha) {
    LiberaItemContrato(linha.itemContrato);
}

} // namespace tq

namespace tq {

_REG_CONEXAO_PS RegistroDeConexao(const char* pszTexto, USHORT wNumero, ULONG dwNumero) {
    _REG_CONEXAO_PS reg;
    std::memset(&reg, 0, sizeof reg);
    reg.texto[0] = '\0';
    TextoParaCampo(reg.texto, 47, pszTexto);
    reg.numeroCurto = wNumero;
    reg.numeroLongo = dwNumero;
    return reg;
}

} // namespace tq
