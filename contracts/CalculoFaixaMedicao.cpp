#include "contracts/CalculoFaixaMedicao.h"

#include "foundation/GeCurrencyEx.h"
#include "tqlibex/base/MapaPorChave.h"

#include <cstring>
#include <utility>

namespace {

// The money type's arithmetic on raw currency values (the OLE Automation functions).
tagCY Soma(tagCY a, tagCY b) {
    return (CGeCurrencyEx(a) + b).GetAsCurrency();
}
tagCY Subtrai(tagCY a, tagCY b) {
    return (CGeCurrencyEx(a) - b).GetAsCurrency();
}

} // namespace

HRESULT CCalculoFaixaMedicao::Inicializa() {
    if (m_pFaixa && m_pApontamentos)
        return S_OK;
    HRESULT hr = m_pFaixa.CoCreateInstance(__uuidof(TQGE_Faixa));
    if (SUCCEEDED(hr))
        hr = m_pFaixa->Inicializa(GetRegistroConexao());
    if (SUCCEEDED(hr))
        hr = m_pApontamentos.CoCreateInstance(__uuidof(TQGE_Apontamentos));
    if (SUCCEEDED(hr))
        hr = m_pApontamentos->Inicializa(GetRegistroConexao());
    if (FAILED(hr)) {
        // Half-open servers would make a later calculation call a server that is not there.
        m_pApontamentos.Release();
        m_pFaixa.Release();
    }
    return hr;
}

tagCY CCalculoFaixaMedicao::CapacidadeDaBanda(LONG inferior, LONG superior) {
    const ULONG largura32 =
        (static_cast<ULONG>(superior) - (static_cast<ULONG>(inferior) - 1u)) * 10000u;
    tagCY capacidade;
    capacidade.int64 = static_cast<LONGLONG>(largura32);
    return capacidade;
}

HRESULT CCalculoFaixaMedicao::GetMedicoes(ULONG contrato, CTQMa mes,
                                          tq::CApontamentosRecebidos& apontamentos) {
    _REG_FILTRO_APONTAMENTOS_PS filtro;
    std::memset(&filtro, 0, sizeof filtro);
    filtro.maInicial = filtro.maFinal = mes.GetCompactado();
    filtro.pontContr = contrato;
    _REG_CONSULTA_PS consulta;
    std::memset(&consulta, 0, sizeof consulta);
    HRESULT hr = m_pApontamentos->AbreConsulta(filtro, &consulta);
    if (FAILED(hr))
        return hr;
    ULONG n = 0;
    _REG_APONTAMENTO_PS* p = nullptr;
    hr = m_pApontamentos->Busca(consulta, &n, &p);
    CoTaskMemFree(consulta.buffer);
    return FAILED(hr) ? hr : apontamentos.Recebe(p, n);
}

HRESULT CCalculoFaixaMedicao::CalculaItens(CTQMa mes) {
    HRESULT hr = Inicializa();
    if (FAILED(hr))
        return hr;
    for (tagREG_FAIXA_PS& faixa : m_faixas)
        tq::LiberaFaixa(faixa);
    m_faixas.RemoveAll();
    m_itens.RemoveAll();

    tq::detail::CMapaPorChave<tagCY> totais;
    {
        tq::CApontamentosRecebidos apontamentos;
        hr = GetMedicoes(m_contrato.GetPonteiroContrato(), mes, apontamentos);
        if (FAILED(hr))
            return hr;
        // Each record's entries are held to their block, totalled and freed while they are at
        // hand; nobody else can reach them. The records go at the end of this block.
        _REG_APONTAMENTO_PS* p = apontamentos.begin();
        for (ULONG r = 0; r < apontamentos.GetSize(); ++r) {
            tq::detail::AdiantaItens(p, apontamentos.GetSize(), r);
            _REG_APONTAMENTO_PS& apontamento = p[r];
            if (!tq::CApontamentosRecebidos::ItensChegaram(apontamento))
                return tq::kDadosRuins;
            for (ULONG i = 0; i < apontamento.qtdItens; ++i) {
                const _REG_ITEM_APONTAMENTO_PS& item = apontamento.itens[i];
                tagCY* pTotal = totais.Procura(item.servico);
                if (!pTotal) {
                    bool bNovo;
                    pTotal = &totais.Obtem(item.servico, tagCY{}, bNovo);
                }
                *pTotal = Soma(*pTotal, item.quantidade);
            }
            apontamentos.LiberaItens(apontamento);
        }
    }

    // Each of the contract's ranges gets the whole total of its service: two ranges of one
    // service both bill all of it.
    CRegContratoPs::CArrayFaixas& faixasDoContrato = m_contrato.GetArrFaixas();
    m_faixas.SetSize(faixasDoContrato.GetSize());
    for (INT_PTR i = 0; i < faixasDoContrato.GetSize(); ++i) {
        tagREG_FAIXA_PS& faixa = m_faixas[i];
        hr = m_pFaixa->LeFaixa(faixasDoContrato[i].GetCodigoFaixa(), &faixa);
        if (FAILED(hr))
            return hr;
        if (!tq::ArrayChegou(faixa.bandas, faixa.qtdBandas)) {
            // The bands go with the next calculation, as any others; their count is cut to what
            // came, so that nobody walking GetFaixas reads past them.
            faixa.qtdBandas = tq::RegistrosNoBloco(faixa.bandas, faixa.qtdBandas);
            return tq::kDadosRuins;
        }
        const tagCY* total = totais.Procura(faixa.servico);
        AdicionaItemPorFaixa(total ? *total : tagCY{}, faixa,
                             faixasDoContrato[i].GetArrClassificacoes());
    }
    return hr;
}

// The bands are used in the order they come and never sorted; each band's width in whole units,
// inclusive of both bounds, is its capacity. An open band (upper bound 0) takes whatever is left;
// a rest of exactly 0 stops; what is left after the last band is not billed. The capacity is
// worked out in 32 bits and read as an unsigned value, as the suite always did: a lower bound one
// above the upper gives a band of 0, and one further above wraps to more than 429,000 units.
void CCalculoFaixaMedicao::AdicionaItemPorFaixa(tagCY quantidade, const tagREG_FAIXA_PS& faixa,
                                                const CArrayClassificacoes& classificacoes) {
    tagCY resto = quantidade;
    for (ULONG b = 0; b < faixa.qtdBandas; ++b) {
        if (resto.int64 == 0)
            return;
        const _REG_BANDA_FAIXA_PS& banda = faixa.bandas[b];
        CItemCalculoFaixaMedicao linha;
        linha.Valor = banda.preco;
        linha.Servico = faixa.servico;
        linha.Classificacoes.Copy(classificacoes);
        if (banda.superior == 0) {
            linha.Quantidade = resto;
            m_itens.Add(linha);
            return;
        }
        const tagCY capacidade = CapacidadeDaBanda(banda.inferior, banda.superior);
        if (resto.int64 < capacidade.int64) {
            linha.Quantidade = resto;
            m_itens.Add(linha);
            return;
        }
        linha.Quantidade = capacidade;
        resto = Subtrai(resto, capacidade);
        m_itens.Add(linha);
    }
}

void CCalculoFaixaMedicao::GetServicosFaturamento(CArrayItensFaixa& servicos) {
    servicos.RemoveAll();
    // One pass over the band lines gives every service's amount and quantity, summed in line
    // order, which is exactly what a pass per entry would sum: an entry per change of service,
    // each with its service's whole total.
    struct Somas {
        tagCY montante{};
        tagCY quantidade{};
    };
    tq::detail::CMapaPorChave<Somas> somas;
    ULONG lembrado = 0;
    for (const CItemCalculoFaixaMedicao& linha : m_itens) {
        if (linha.Servico != lembrado) {
            lembrado = linha.Servico;
            CItemCalculoFaixaMedicao entrada;
            entrada.Servico = linha.Servico;
            servicos.Add(entrada);
        }
        bool bNovo;
        Somas& s = somas.Obtem(linha.Servico, Somas{}, bNovo);
        s.montante =
            Soma(s.montante, (CGeCurrencyEx(linha.Valor) * linha.Quantidade).GetAsCurrency());
        s.quantidade = Soma(s.quantidade, linha.Quantidade);
    }
    for (CItemCalculoFaixaMedicao& entrada : servicos) {
        const Somas& s = *somas.Procura(entrada.Servico);
        entrada.Quantidade = s.quantidade;
        // The weighted price; a zero quantity (or any failure of the division) gives 0.
        entrada.Valor = (CGeCurrencyEx(s.montante) / s.quantidade).GetAsCurrency();
    }
    for (INT_PTR i = 0; i < servicos.GetSize(); ++i)
        servicos[i].Classificacoes.Copy(m_contrato.GetArrFaixas().GetAt(i).GetArrClassificacoes());
}
