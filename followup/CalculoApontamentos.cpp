#include "followup/CalculoApontamentos.h"

#include "contracts/GeRateio.h"
#include "foundation/GeCurrencyEx.h"
#include "tqlibex/base/UInt128.h"

#include <MoedaPlataforma.h>

#include <cstring>
#include <unordered_map>

namespace {

constexpr std::size_t kBaldesTratados = 17;

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

HRESULT CCalculoApontamentos::GetApontamentos(ULONG contrato, CTQMa ma,
                                              CArrayApontamentosPs& apontamentos) {
    _REG_FILTRO_APONTAMENTOS_PS filtro;
    std::memset(&filtro, 0, sizeof filtro);
    filtro.pontContr = contrato;
    filtro.maInicial = filtro.maFinal = ma.GetCompactado();

    ULONG nPosicoes = 0;
    _REG_PONTEIRO_APONTAMENTO_PS* pPosicoes = nullptr;
    HRESULT hr = m_pApontamentos->LePosicoes(filtro, &nPosicoes, &pPosicoes);
    if (FAILED(hr))
        return hr;
    if (!tq::ArrayChegou(pPosicoes, nPosicoes)) {
        CoTaskMemFree(pPosicoes);
        return tq::kDadosRuins;
    }
    ULONG n = 0;
    _REG_APONTAMENTO_PS* p = nullptr;
    hr = m_pApontamentos->LeApontamentos(nPosicoes, pPosicoes, &n, &p);
    CoTaskMemFree(pPosicoes);
    return FAILED(hr) ? hr : tq::RecebeApontamentos(p, n, apontamentos);
}

HRESULT CCalculoApontamentos::GetQuantidadeApontamentos(ULONG contrato, CTQMa ma,
                                                        CArrayTotais& totais) {
    CArrayApontamentosPs apontamentos;
    const HRESULT hr = GetApontamentos(contrato, ma, apontamentos);
    if (FAILED(hr))
        return hr;
    TotalizaPorServico(apontamentos, totais, m_indiceTotais);
    LiberarMemoriaApontamentosPs(apontamentos);
    return S_OK;
}

void CCalculoApontamentos::TotalizaPorServico(const CArrayApontamentosPs& apontamentos,
                                              CArrayTotais& totais,
                                              tq::detail::CMapaPorChave<int>& indice) {
    totais.RemoveAll();
    indice.Limpa();
    // Each service's running total lives in the index's own entry, so that an item costs one
    // look-up; the totals then take their places in the order the services first occurred.
    tq::detail::CMapaPorChave<REG_ITEM_APONTAMENTO> acumulados;
    std::vector<ULONG> ordem;
    for (const _REG_APONTAMENTO_PS& apontamento : apontamentos) {
        for (ULONG i = 0; i < apontamento.qtdItens; ++i) {
            const _REG_ITEM_APONTAMENTO_PS& item = apontamento.itens[i];
            bool bNovo;
            REG_ITEM_APONTAMENTO& total =
                acumulados.Obtem(item.servico, {{}, {}, item.servico, 0}, bNovo);
            if (bNovo)
                ordem.push_back(item.servico);
            // Plain 64-bit additions of the raw values, wrapping as the raw arithmetic does.
            total.descTotal.int64 =
                static_cast<LONGLONG>(static_cast<unsigned long long>(total.descTotal.int64) +
                                      static_cast<unsigned long long>(item.descTotal.int64));
            total.quantidade.int64 =
                static_cast<LONGLONG>(static_cast<unsigned long long>(total.quantidade.int64) +
                                      static_cast<unsigned long long>(item.quantidade.int64));
        }
    }
    totais.SetSize(static_cast<INT_PTR>(ordem.size()));
    for (std::size_t i = 0; i < ordem.size(); ++i) {
        bool bNovo;
        totais[static_cast<INT_PTR>(i)] = *acumulados.Procura(ordem[i]);
        indice.Obtem(ordem[i], static_cast<int>(i), bNovo);
    }
}

int CCalculoApontamentos::ProcurarItemApontamento(ULONG servico, const CArrayTotais& totais) const {
    const int* i = m_indiceTotais.Procura(servico);
    return i && *i < totais.GetSize() ? *i : -1;
}

void CCalculoApontamentos::LiberarMemoriaApontamentosPs(CArrayApontamentosPs& apontamentos) {
    for (_REG_APONTAMENTO_PS& apontamento : apontamentos)
        CoTaskMemFree(std::exchange(apontamento.itens, nullptr));
    apontamentos.RemoveAll();
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
    CArrayApontamentosPs apontamentos;
    const HRESULT hr = GetApontamentos(contrato, ma, apontamentos);
    if (FAILED(hr))
        return hr;
    for (const _REG_APONTAMENTO_PS& apontamento : apontamentos) {
        if (apontamento.listarNF != 1)
            continue;
        if (!codigos.IsEmpty())
            codigos += " - ";
        codigos += tq::TextoDoCampo(apontamento.apontamento, sizeof apontamento.apontamento);
    }
    LiberarMemoriaApontamentosPs(apontamentos);
    return S_OK;
}

void CCalculoApontamentos::LiberaApontamentosCalculados(CArrayCalculados& linhas) {
    for (REG_APONTAMENTO_CALCULADO& linha : linhas)
        tq::LiberaApontamentoCalculado(linha);
    linhas.RemoveAll();
}
