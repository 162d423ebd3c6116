#include "followup/CalculoApontamentos.h"

#include "contracts/GeRateio.h"
#include "foundation/GeCurrencyEx.h"
#include "tqlibex/base/UInt128.h"

#include <MoedaPlataforma.h>

#include <algorithm>
#include <cstring>
#include <unordered_map>

namespace {

constexpr std::size_t kBaldesTratados = 17;
// Records asked of the server in one call when totalling a month: a slice and its items (about
// 1.5 MB at ten items a record) fit in the cache of the processor that reads them.
constexpr ULONG kRegistrosPorParte = 2048;

unsigned long long Modulo(LONGLONG v) {
    return v < 0 ? 0 - static_cast<unsigned long long>(v) : static_cast<unsigned long long>(v);
}

// Half away from zero, four decimals to two (the last two digits zero).
LONGLONG ArredondaParaDoisDecimais(LONGLONG bruto) {
    const unsigned long long m = (Modulo(bruto) + 50) / 100 * 100;
    return bruto < 0 ? static_cast<LONGLONG>(0 - m) : static_cast<LONGLONG>(m);
}

} // namespace

CCalculoApontamentos::CCalculoApontamentos(const CString& sLogin, USHORT wLogin, ULONG dwLogin)
    : m_login(tq::RegistroDeConexao(sLogin, wLogin, dwLogin)) {}

void CCalculoApontamentos::OnInicializa() {
    const HRESULT hr = InicializarServidores();
    if (FAILED(hr))
        throw static_cast<long>(hr);
    m_gravaLog.Registra("CCalculoApontamentos::OnInicializa",
                        "CCalculoApontamentos: servidores de apontamentos e de contratos abertos");
}

HRESULT CCalculoApontamentos::InicializarServidores() {
    HRESULT hr = m_pApontamentos.CoCreateInstance(__uuidof(TQGE_Apontamentos));
    if (SUCCEEDED(hr))
        hr = m_pContratos.CoCreateInstance(__uuidof(TQGE_Contratos));
    if (SUCCEEDED(hr))
        hr = m_pApontamentos->Inicializa(m_login);
    if (SUCCEEDED(hr))
        hr = m_pContratos->Inicializa(m_login);
    return hr;
}

HRESULT CCalculoApontamentos::LeItens(ULONG contrato) {
    ULONG n = 0;
    _REG_ITEM_CONTRATO_PS* p = nullptr;
    const HRESULT hr = m_pContratos->LeItens(contrato, &n, &p);
    if (FAILED(hr))
        return hr;
    // What did come of a refused answer is still ours to free (no further than its blocks).
    if (!tq::ItensContratoChegaram(p, n)) {
        tq::LiberaItensContrato(p, n);
        return tq::kDadosRuins;
    }
    for (ULONG i = 0; i < n; ++i)
        m_itens.Add(CRegItemContrato(p[i]));
    tq::LiberaItensContrato(p, n);
    return S_OK;
}

HRESULT CCalculoApontamentos::LePosicoes(ULONG contrato, CTQMa ma, ULONG& nPosicoes,
                                         _REG_PONTEIRO_APONTAMENTO_PS*& pPosicoes) {
    _REG_FILTRO_APONTAMENTOS_PS filtro;
    std::memset(&filtro, 0, sizeof filtro);
    filtro.pontContr = contrato;
    filtro.maInicial = filtro.maFinal = ma.GetCompactado();
    nPosicoes = 0;
    pPosicoes = nullptr;
    const HRESULT hr = m_pApontamentos->LePosicoes(filtro, &nPosicoes, &pPosicoes);
    if (FAILED(hr))
        return hr;
    if (!tq::ArrayChegou(pPosicoes, nPosicoes)) {
        CoTaskMemFree(pPosicoes);
        pPosicoes = nullptr;
        return tq::kDadosRuins;
    }
    return hr;
}

HRESULT CCalculoApontamentos::GetApontamentos(ULONG contrato, CTQMa ma,
                                              tq::CApontamentosRecebidos& apontamentos) {
    ULONG nPosicoes = 0;
    _REG_PONTEIRO_APONTAMENTO_PS* pPosicoes = nullptr;
    HRESULT hr = LePosicoes(contrato, ma, nPosicoes, pPosicoes);
    if (FAILED(hr))
        return hr;
    ULONG n = 0;
    _REG_APONTAMENTO_PS* p = nullptr;
    hr = m_pApontamentos->LeApontamentos(nPosicoes, pPosicoes, &n, &p);
    CoTaskMemFree(pPosicoes);
    return FAILED(hr) ? hr : apontamentos.Recebe(p, n);
}

// The month's totals built one record at a time. An item costs one look-up: the index's entry
// holds its service's running total itself (one place in memory per item, in a table that
// stays in the cache) and the position its total takes, in the order the services first
// occur. The totals are laid out once the month is through.
class CCalculoApontamentos::CTotalizador {
public:
    explicit CTotalizador(tq::detail::CMapaPorChave<ACUMULADO_SERVICO>& porServico)
        : m_porServico(porServico) {
        m_porServico.Limpa();
    }
    void Adiciona(const _REG_APONTAMENTO_PS& apontamento) {
        const _REG_ITEM_APONTAMENTO_PS* pItens = apontamento.itens;
        for (ULONG i = 0; i < apontamento.qtdItens; ++i) {
            const _REG_ITEM_APONTAMENTO_PS& item = pItens[i];
            ACUMULADO_SERVICO* pTotal = m_porServico.Procura(item.servico);
            if (!pTotal)
                pTotal = Novo(item.servico);
            // Plain 64-bit additions of the raw values, wrapping as the raw arithmetic does.
            pTotal->descTotal =
                static_cast<LONGLONG>(static_cast<unsigned long long>(pTotal->descTotal) +
                                      static_cast<unsigned long long>(item.descTotal.int64));
            pTotal->quantidade =
                static_cast<LONGLONG>(static_cast<unsigned long long>(pTotal->quantidade) +
                                      static_cast<unsigned long long>(item.quantidade.int64));
        }
    }
    // The totals, each at its service's position.
    void Conclui(CArrayTotais& totais) const {
        totais.SetSize(static_cast<INT_PTR>(m_porServico.Tamanho()));
        REG_ITEM_APONTAMENTO* p = totais.GetData();
        m_porServico.ParaCada([p](ULONG servico, const ACUMULADO_SERVICO& a) {
            REG_ITEM_APONTAMENTO& total = p[a.posicao];
            total.quantidade.int64 = a.quantidade;
            total.descTotal.int64 = a.descTotal;
            total.servico = servico;
            total.reservado = 0;
        });
    }

private:
    // A service seen for the first time: its total starts at zero, at the next position.
    [[gnu::noinline]] ACUMULADO_SERVICO* Novo(ULONG servico) {
        bool bNovo;
        return &m_porServico.Obtem(servico, {0, 0, static_cast<int>(m_porServico.Tamanho())},
                                   bNovo);
    }

    tq::detail::CMapaPorChave<ACUMULADO_SERVICO>& m_porServico;
};

HRESULT CCalculoApontamentos::GetQuantidadeApontamentos(ULONG contrato, CTQMa ma,
                                                        CArrayTotais& totais) {
    ULONG nPosicoes = 0;
    _REG_PONTEIRO_APONTAMENTO_PS* pPosicoes = nullptr;
    HRESULT hr = LePosicoes(contrato, ma, nPosicoes, pPosicoes);
    if (FAILED(hr))
        return hr;
    // The positions go when the calculation leaves, however it leaves.
    const struct CPosicoes {
        _REG_PONTEIRO_APONTAMENTO_PS* p;
        ~CPosicoes() { CoTaskMemFree(p); }
    } posicoes{pPosicoes};
    // The records are asked for a slice of the positions at a time, in their order: each slice is
    // totalled and freed before the next comes, so the server writes the next one into memory
    // still in the cache, and it is read from there. A month of a few thousand records is one
    // call.
    CTotalizador totalizador(m_totaisPorServico);
    ULONG inicio = 0;
    do {
        const ULONG nParte = std::min<ULONG>(nPosicoes - inicio, kRegistrosPorParte);
        ULONG n = 0;
        _REG_APONTAMENTO_PS* pParte = nullptr;
        hr = m_pApontamentos->LeApontamentos(nParte, pPosicoes + inicio, &n, &pParte);
        tq::CApontamentosRecebidos apontamentos;
        if (SUCCEEDED(hr))
            hr = apontamentos.Recebe(pParte, n);
        if (FAILED(hr)) {
            m_totaisPorServico.Limpa();
            return hr;
        }
        // Each record's items are held to their block, totalled and freed while they are at hand.
        _REG_APONTAMENTO_PS* p = apontamentos.begin();
        for (ULONG i = 0; i < apontamentos.GetSize(); ++i) {
            tq::detail::AdiantaItens(p, apontamentos.GetSize(), i);
            if (!tq::CApontamentosRecebidos::ItensChegaram(p[i])) {
                m_totaisPorServico.Limpa();
                return tq::kDadosRuins;
            }
            totalizador.Adiciona(p[i]);
            apontamentos.LiberaItens(p[i]);
        }
        inicio += nParte;
    } while (inicio < nPosicoes);
    totalizador.Conclui(totais);
    return S_OK;
}

void CCalculoApontamentos::TotalizaPorServico(const CArrayApontamentosPs& apontamentos,
                                              CArrayTotais& totais,
                                              tq::detail::CMapaPorChave<int>& indice) {
    tq::detail::CMapaPorChave<ACUMULADO_SERVICO> porServico;
    CTotalizador totalizador(porServico);
    const _REG_APONTAMENTO_PS* p = apontamentos.GetData();
    const ULONG n = static_cast<ULONG>(apontamentos.GetSize());
    for (ULONG i = 0; i < n; ++i) {
        tq::detail::AdiantaItens(p, n, i);
        totalizador.Adiciona(p[i]);
    }
    totalizador.Conclui(totais);
    // In the totals' order: in the table's own order the codes would come sorted by their slots,
    // and each would go to the end of one growing run of the index's still small table.
    indice.Limpa();
    for (INT_PTR i = 0; i < totais.GetSize(); ++i) {
        bool bNovo;
        indice.Obtem(totais.GetData()[i].servico, static_cast<int>(i), bNovo);
    }
}

int CCalculoApontamentos::ProcurarItemApontamento(ULONG servico, const CArrayTotais& totais) const {
    const ACUMULADO_SERVICO* a = m_totaisPorServico.Procura(servico);
    return a && a->posicao < totais.GetSize() ? a->posicao : -1;
}

tagCY CCalculoApontamentos::Valor(tagCY precoUnitario, tagCY quantidade) {
    // The exact product has twelve decimals; the DECIMAL carries it whenever it fits 96 bits,
    // and anything larger is beyond the currency range anyway.
    using tq::detail::U128;
    const U128 produto = U128::Mul64(Modulo(precoUnitario.int64), Modulo(quantidade.int64));
    tagCY valor{};
    if (produto.Hi() >> 32)
        return valor;
    DECIMAL d{};
    d.scale = 12;
    d.sign = (precoUnitario.int64 < 0) != (quantidade.int64 < 0) ? DECIMAL_NEG : 0;
    d.Hi32 = static_cast<ULONG>(produto.Hi());
    d.Lo64 = produto.Lo();
    if (FAILED(tq::detail::CyDeDecimal(&d, &valor)))
        valor.int64 = 0;
    valor.int64 = ArredondaParaDoisDecimais(valor.int64);
    return valor;
}

HRESULT CCalculoApontamentos::AdicionaLinha(const CRegItemContrato& item, tagCY quantidade,
                                            tagCY preco, tagCY desconto, const char* pszDescricao,
                                            CArrayCalculados& resultado) {
    REG_APONTAMENTO_CALCULADO linha;
    std::memset(&linha, 0, sizeof linha);
    linha.quantidade = quantidade;
    linha.precoUnitario = preco;
    linha.descTotal = desconto;
    linha.valor = Valor(preco, quantidade);
    linha.servico = item.GetServico();
    tq::TextoParaCampo(linha.descricao, sizeof linha.descricao, pszDescricao);
    HRESULT hr = item.GetSafeReg(linha.itemContrato);
    if (FAILED(hr))
        return hr;
    // The item's classifications, shared out over the line's value.
    _REG_CLASSIFICACAO_GE_PS* pRateio = nullptr;
    ULONG nRateio = 0;
    hr = CGeRateio::Rateia(linha.itemContrato.classificacoes, linha.itemContrato.qtdClassificacoes,
                           linha.valor, &pRateio, &nRateio);
    tq::LiberaClassificacoes(linha.itemContrato.classificacoes,
                             linha.itemContrato.qtdClassificacoes);
    linha.itemContrato.classificacoes = pRateio;
    linha.itemContrato.qtdClassificacoes = nRateio;
    if (FAILED(hr)) {
        tq::LiberaApontamentoCalculado(linha);
        return hr;
    }
    resultado.Add(linha);
    return S_OK;
}

HRESULT CCalculoApontamentos::FazCalculoApontamentos(ULONG contrato, CTQMa ma,
                                                     CArrayCalculados& resultado) {
    if (!IsInicializado())
        return S_OK;
    resultado.RemoveAll();
    if (m_itens.IsEmpty()) {
        const HRESULT hr = LeItens(contrato);
        if (FAILED(hr))
            return hr;
        if (m_itens.IsEmpty())
            return S_OK;
    }
    CArrayTotais totais;
    HRESULT hr = GetQuantidadeApontamentos(contrato, ma, totais);
    if (FAILED(hr))
        return hr;

    // Only the first contract item of a service is priced.
    std::unordered_map<ULONG, ULONG> tratados(kBaldesTratados);
    for (const CRegItemContrato& item : m_itens) {
        const ULONG servico = item.GetServico();
        if (tratados.count(servico))
            continue;
        tratados.emplace(servico, servico);
        const int i = ProcurarItemApontamento(servico, totais);
        if (i < 0)
            continue; // no time recorded for the service
        const REG_ITEM_APONTAMENTO& total = totais[i];
        const LONGLONG franquia = item.GetFranquia().int64;
        if (franquia == 0) {
            hr = AdicionaLinha(item, total.quantidade, item.GetPrecoUnitario(), total.descTotal, "",
                               resultado);
        } else if (franquia > 0) {
            // The franchise is charged in full, even when less was recorded.
            hr = AdicionaLinha(item, item.GetFranquia(), item.GetPrecoUnitario(), total.descTotal,
                               "", resultado);
            tagCY excedente;
            excedente.int64 =
                static_cast<LONGLONG>(static_cast<unsigned long long>(total.quantidade.int64) -
                                      static_cast<unsigned long long>(franquia));
            if (SUCCEEDED(hr) && excedente.int64 > 0)
                hr = AdicionaLinha(item, excedente, item.GetPrecoExcedente(), tagCY{}, "Excedente",
                                   resultado);
        }
        if (FAILED(hr)) {
            LiberaApontamentosCalculados(resultado);
            break;
        }
    }
    m_itens.RemoveAll();
    return hr;
}

HRESULT CCalculoApontamentos::GetValorApontamentos(ULONG contrato, CTQMa ma, tagCY& valor,
                                                   tagCY& desconto) {
    valor.int64 = 0;
    desconto.int64 = 0;
    CArrayCalculados linhas;
    const HRESULT hr = FazCalculoApontamentos(contrato, ma, linhas);
    if (SUCCEEDED(hr)) {
        CGeCurrencyEx somaValor(valor), somaDesconto(desconto);
        for (const REG_APONTAMENTO_CALCULADO& linha : linhas) {
            somaValor += linha.valor;
            somaDesconto += linha.descTotal;
        }
        valor = somaValor.GetAsCurrency();
        desconto = somaDesconto.GetAsCurrency();
    }
    LiberaApontamentosCalculados(linhas);
    return hr;
}

HRESULT CCalculoApontamentos::GetCodigosApontamentos(ULONG contrato, CTQMa ma, CString& codigos) {
    codigos.Empty();
    if (!IsInicializado())
        return S_OK;
    tq::CApontamentosRecebidos apontamentos;
    const HRESULT hr = GetApontamentos(contrato, ma, apontamentos);
    if (FAILED(hr))
        return hr;
    // The codes alone are read: the item arrays are only freed.
    for (const _REG_APONTAMENTO_PS& apontamento : apontamentos) {
        if (!tq::CApontamentosRecebidos::ItensChegaram(apontamento))
            return tq::kDadosRuins;
    }
    for (const _REG_APONTAMENTO_PS& apontamento : apontamentos) {
        if (apontamento.listarNF != 1)
            continue;
        if (!codigos.IsEmpty())
            codigos += " - ";
        codigos += tq::TextoDoCampo(apontamento.apontamento, sizeof apontamento.apontamento);
    }
    return S_OK;
}

void CCalculoApontamentos::LiberaApontamentosCalculados(CArrayCalculados& linhas) {
    for (REG_APONTAMENTO_CALCULADO& linha : linhas)
        tq::LiberaApontamentoCalculado(linha);
    linhas.RemoveAll();
}
