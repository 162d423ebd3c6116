#include "tools/tqcalc/Nucleo.h"

#include "foundation/GeCurrencyEx.h"
#include "foundation/GeManipulaDatas.h"
#include "tools/tqcalc/Formato.h"

#include <map>
#include <set>
#include <stdexcept>
#include <utility>

namespace tq::calc {

using namespace tq::amostra;

namespace {

constexpr USHORT kConexaoNumero = 0;
const char* const kConexaoTexto = "tqcalc";

// ---- Running the calculations --------------------------------------------------------------

void CalculaApontamentos(CResultado& r) {
    CCalculoApontamentos calculo(kConexaoTexto, kConexaoNumero, 0);
    r.inicio.bAlcancado = true;
    {
        CEscopoConversa escuta(r.inicio.conversa);
        try {
            calculo.Inicializa();
        } catch (long hr) {
            r.inicio.hr = static_cast<HRESULT>(hr);
        }
    }
    if (FAILED(r.hrApontamentos = r.inicio.hr))
        return;
    const auto passo = [&](CPasso& p, auto&& chamada) {
        CEscopoConversa escuta(p.conversa);
        p.bAlcancado = true;
        p.hr = chamada();
        r.hrApontamentos = p.hr;
        return SUCCEEDED(p.hr);
    };
    passo(r.calculo,
          [&] { return calculo.FazCalculoApontamentos(r.pontContr, r.mes, r.linhas); }) &&
        passo(r.total,
              [&] {
                  return calculo.GetValorApontamentos(r.pontContr, r.mes, r.valor, r.desconto);
              }) &&
        passo(r.codigosNota,
              [&] { return calculo.GetCodigosApontamentos(r.pontContr, r.mes, r.codigos); });
}

// The contract as a module has it before it bills by ranges: read from the contract server.
HRESULT LeContrato(ULONG pontContr, CRegContratoPs& contrato) {
    CTQComPtr<ITQGE_Contratos> p;
    HRESULT hr = p.CoCreateInstance(__uuidof(TQGE_Contratos));
    if (SUCCEEDED(hr))
        hr = p->Inicializa(RegistroDeConexao(kConexaoTexto, kConexaoNumero, 0));
    _REG_CONTRATO_PS reg{};
    if (SUCCEEDED(hr))
        hr = p->LeContrato(pontContr, &reg);
    if (SUCCEEDED(hr) && !ContratoChegou(reg))
        hr = kDadosRuins;
    if (SUCCEEDED(hr))
        contrato = CRegContratoPs(reg);
    LiberaContrato(reg);
    return hr;
}

void CalculaFaixas(CResultado& r) {
    CRegContratoPs contrato;
    r.leContrato.bAlcancado = true;
    {
        CEscopoConversa escuta(r.leContrato.conversa);
        r.leContrato.hr = LeContrato(r.pontContr, contrato);
    }
    if (FAILED(r.hrFaixas = r.leContrato.hr))
        return;
    CCalculoFaixaMedicao calculo(kConexaoTexto, kConexaoNumero, 0);
    calculo.SetContrato(contrato);
    r.calculoFaixas.bAlcancado = true;
    {
        CEscopoConversa escuta(r.calculoFaixas.conversa);
        r.hrFaixas = r.calculoFaixas.hr = calculo.CalculaItens(r.mes);
    }
    r.itens.Copy(calculo.GetItens());
    // A module bills nothing from a failed calculation, so it condenses nothing either.
    if (SUCCEEDED(r.hrFaixas)) {
        try {
            calculo.GetServicosFaturamento(r.servicos);
        } catch (const std::invalid_argument&) {
            r.servicos.RemoveAll();
            r.bCondensacaoRecusada = true;
        }
    }
    // The band arrays of the last calculation are the owner's; this one is done with them.
    for (tagREG_FAIXA_PS& faixa : calculo.GetFaixas())
        LiberaFaixa(faixa);
}

// ---- The checks beside the calculation --------------------------------------------------------
// Each step the calculations take is worked again in exact arithmetic from what they read and
// used; a step whose exact result a raw currency value cannot hold gets a warning naming the
// calculation, the service and the step. The calculations themselves keep their arithmetic.

class CVerificacao {
public:
    explicit CVerificacao(CResultado& r) : m_r(r) {}

    // The exact value must fit; else a warning. True when it fits.
    bool Cabe(CAviso::ECalculo calculo, ULONG servico, const char* pszOQue, const CExato& v) {
        if (v.CabeEm64())
            return true;
        m_r.avisos.push_back({calculo, servico, pszOQue, v});
        return false;
    }

    // price (8 decimals) x quantity (4), as the time calculation prices a line: in cents.
    // The product goes to four decimals first (a conversion that fails gives 0), then to
    // cents: both must fit.
    void ValorDaLinha(ULONG servico, LONGLONG preco, LONGLONG quantidade, const char* pszOQue) {
        const CExato produto = CExato(preco) * CExato(quantidade); // 12 decimals
        Cabe(CAviso::Apontamentos, servico, pszOQue, produto.Divide(CExato::Potencia10(8))) &&
            Cabe(CAviso::Apontamentos, servico, pszOQue, CentavosDe(produto, 12));
    }

    void Apontamentos() {
        const CConversa& c = m_r.calculo.conversa;
        if (!c.bItensLidos || !c.bApontamentosLidos)
            return;
        // The totals per service in plain 64-bit sums, which wrap: only the month's sum counts.
        struct Total {
            CExato quantidade, desconto;
        };
        std::map<ULONG, Total> totais;
        for (const Apontamento& a : c.apontamentos)
            for (const ItemApontamento& i : a.itens) {
                Total& t = totais[i.servico];
                t.quantidade = t.quantidade + CExato(i.quantidade.int64);
                t.desconto = t.desconto + CExato(i.descTotal.int64);
            }
        std::set<ULONG> tratados;
        for (const ItemContrato& item : c.itens) {
            if (!tratados.insert(item.servico).second)
                continue;
            const auto t = totais.find(item.servico);
            if (t == totais.end())
                continue;
            const bool bQuantidade =
                Cabe(CAviso::Apontamentos, item.servico, "a soma das quantidades apontadas no mês",
                     t->second.quantidade);
            Cabe(CAviso::Apontamentos, item.servico, "a soma dos descontos apontados no mês",
                 t->second.desconto);
            if (!bQuantidade || item.franquia < 0)
                continue;
            const LONGLONG quantidade = t->second.quantidade.Valor();
            if (item.franquia == 0) {
                ValorDaLinha(item.servico, item.precoUnitario, quantidade,
                             "o valor da linha (preço unitário × quantidade)");
                continue;
            }
            ValorDaLinha(item.servico, item.precoUnitario, item.franquia,
                         "o valor da franquia (preço unitário × franquia)");
            Cabe(CAviso::Apontamentos, item.servico, "o excedente (apontado − franquia)",
                 CExato(quantidade) - CExato(item.franquia));
            const LONGLONG excedente =
                static_cast<LONGLONG>(static_cast<unsigned long long>(quantidade) -
                                      static_cast<unsigned long long>(item.franquia));
            if (excedente > 0)
                ValorDaLinha(item.servico, item.precoExcedente, excedente,
                             "o valor do excedente (preço excedente × excedente)");
        }
        // The value shared out over the classifications: each share but the last, and the rest.
        for (const REG_APONTAMENTO_CALCULADO& l : m_r.linhas) {
            CExato resto(l.valor.int64);
            for (ULONG i = 0; i + 1 < l.itemContrato.qtdClassificacoes; ++i) {
                const _REG_CLASSIFICACAO_GE_PS& cl = l.itemContrato.classificacoes[i];
                Cabe(CAviso::Apontamentos, l.servico,
                     "a parcela de uma classificação (valor × percentual)",
                     CentavosDe(CExato(l.valor.int64) * CExato(cl.percentual.int64), 10));
                resto = resto - CExato(cl.valor.int64);
            }
            if (l.itemContrato.qtdClassificacoes > 1)
                Cabe(CAviso::Apontamentos, l.servico,
                     "a parcela da última classificação (o que resta do valor)", resto);
        }
        if (m_r.total.bAlcancado && SUCCEEDED(m_r.total.hr)) {
            CExato valor, desconto;
            for (const REG_APONTAMENTO_CALCULADO& l : m_r.linhas) {
                valor = valor + CExato(l.valor.int64);
                desconto = desconto + CExato(l.descTotal.int64);
            }
            Cabe(CAviso::Apontamentos, 0, "a soma dos valores das linhas", valor);
            Cabe(CAviso::Apontamentos, 0, "a soma dos descontos das linhas", desconto);
        }
    }

    void Faixas() {
        const CConversa& c = m_r.calculoFaixas.conversa;
        if (!c.bApontamentosLidos)
            return;
        // The totals per service through the money type's addition, whose every step must fit;
        // only the services of the ranges read are billed from them.
        std::set<ULONG> medidos;
        for (const Faixa& f : c.faixas)
            medidos.insert(f.servico);
        std::map<ULONG, tagCY> totais;
        std::set<ULONG> estourados;
        for (const Apontamento& a : c.apontamentos)
            for (const ItemApontamento& i : a.itens) {
                tagCY& t = totais[i.servico];
                if (medidos.count(i.servico) && !estourados.count(i.servico) &&
                    !Cabe(CAviso::Faixas, i.servico, "a soma das quantidades medidas no mês",
                          CExato(t.int64) + CExato(i.quantidade.int64)))
                    estourados.insert(i.servico);
                t = (CGeCurrencyEx(t) + i.quantidade).GetAsCurrency();
            }
        // The condensing: each band line's price x quantity, their sums, the average price.
        struct Soma {
            tagCY montante{}, quantidade{};
            bool bCabe = true;
        };
        std::map<ULONG, Soma> somas;
        for (const CItemCalculoFaixaMedicao& i : m_r.itens) {
            Soma& s = somas[i.Servico];
            const CExato produto = CExato(i.Valor.int64) * CExato(i.Quantidade.int64);
            s.bCabe = s.bCabe &&
                      Cabe(CAviso::Faixas, i.Servico, "o valor de uma banda (preço × quantidade)",
                           produto.Divide(CExato::Potencia10(4))) &&
                      Cabe(CAviso::Faixas, i.Servico, "o montante do serviço (soma das bandas)",
                           CExato(s.montante.int64) + produto.Divide(CExato::Potencia10(4))) &&
                      Cabe(CAviso::Faixas, i.Servico, "a quantidade do serviço (soma das bandas)",
                           CExato(s.quantidade.int64) + CExato(i.Quantidade.int64));
            s.montante = (CGeCurrencyEx(s.montante) + (CGeCurrencyEx(i.Valor) * i.Quantidade))
                             .GetAsCurrency();
            s.quantidade = (CGeCurrencyEx(s.quantidade) + i.Quantidade).GetAsCurrency();
        }
        for (const auto& [servico, s] : somas)
            if (s.bCabe && s.quantidade.int64 != 0)
                Cabe(CAviso::Faixas, servico, "o preço médio (montante ÷ quantidade)",
                     (CExato(s.montante.int64) * CExato::Potencia10(4)).Divide(s.quantidade.int64));
    }

    // The invoice: each condensed line valued in cents, the sums, the discount and the total.
    void Nota() {
        CResultado& r = m_r;
        // A band line or a sum of them that does not fit was named by the ranges' checks.
        for (const CItemCalculoFaixaMedicao& i : r.itens)
            r.valoresItens.push_back(
                CentavosDe(CExato(i.Valor.int64) * CExato(i.Quantidade.int64), 8));
        for (INT_PTR n = 0; n < r.itens.GetSize() && r.itens[n].Servico == 0; ++n)
            r.foraDaNota = r.foraDaNota + r.valoresItens[static_cast<std::size_t>(n)];
        CExato faixas;
        std::set<ULONG> faturados;
        for (const CItemCalculoFaixaMedicao& s : r.servicos) {
            CServicoFaturado f;
            f.bRepetido = !faturados.insert(s.Servico).second;
            f.valor = ValorFaturado(s.Valor.int64, s.Quantidade.int64);
            Cabe(CAviso::Nota, s.Servico, "o valor do serviço faturado (quantidade × preço médio)",
                 f.valor);
            CExato bandas;
            for (const CItemCalculoFaixaMedicao& i : r.itens)
                if (i.Servico == s.Servico)
                    bandas = bandas + CExato(i.Valor.int64) * CExato(i.Quantidade.int64);
            f.somaBandas = CentavosDe(bandas, 8);
            faixas = faixas + f.valor;
            r.faturados.push_back(f);
        }
        if (!r.bApontamentos || !r.bFaixas || FAILED(r.hrApontamentos) || FAILED(r.hrFaixas))
            return;
        const CExato apontamentos(r.valor.int64);
        const CExato bruto = apontamentos + faixas;
        const CExato desconto = CentavosDe(CExato(r.desconto.int64), 4);
        const CExato total = bruto - desconto;
        // A total built on a figure that does not hold is no invoice, even when it fits.
        r.bNota = Cabe(CAviso::Nota, 0, "o valor dos serviços faturados por faixas", faixas) &&
                  Cabe(CAviso::Nota, 0, "o valor bruto da nota", bruto) &&
                  Cabe(CAviso::Nota, 0, "o desconto da nota", desconto) &&
                  Cabe(CAviso::Nota, 0, "o total da nota", total) && r.avisos.empty();
        if (r.bNota) {
            r.notaApontamentos = apontamentos.Valor();
            r.notaFaixas = faixas.Valor();
            r.notaBruto = bruto.Valor();
            r.notaDesconto = desconto.Valor();
            r.notaTotal = total.Valor();
            tagCY cy;
            cy.int64 = r.notaTotal;
            r.notaPorExtenso = ParaUtf8(CGeCurrencyEx(cy).GetExtenso().str());
        }
    }

private:
    CResultado& m_r;
};

// ---- Why each line is there ----------------------------------------------------------------

LONGLONG SomaComVolta(LONGLONG a, LONGLONG b) {
    return static_cast<LONGLONG>(static_cast<unsigned long long>(a) +
                                 static_cast<unsigned long long>(b));
}

// Each contract item and recorded service, as the time calculation decided: its totals in plain
// 64-bit sums, which wrap as the calculation's do.
void ExplicaApontamentos(CResultado& r) {
    const CConversa& c = r.calculo.conversa;
    if (!r.calculo.bAlcancado || FAILED(r.calculo.hr))
        return;
    std::map<ULONG, LONGLONG> apontado;
    std::map<ULONG, CExato> exato;
    std::vector<ULONG> ordem;
    for (const Apontamento& a : c.apontamentos)
        for (const ItemApontamento& i : a.itens) {
            if (!apontado.count(i.servico))
                ordem.push_back(i.servico);
            apontado[i.servico] = SomaComVolta(apontado[i.servico], i.quantidade.int64);
            exato[i.servico] = exato[i.servico] + CExato(i.quantidade.int64);
        }
    std::set<ULONG> tratados;
    for (const ItemContrato& item : c.itens) {
        CMotivoItem m;
        m.servico = item.servico;
        m.texto = item.texto;
        m.franquia = item.franquia;
        const auto g = apontado.find(item.servico);
        if (!tratados.insert(item.servico).second) {
            m.motivo = CMotivoItem::JaTratado;
        } else if (g == apontado.end()) {
            m.motivo = CMotivoItem::SemApontamento;
        } else {
            m.apontado = g->second;
            m.excedente = SomaComVolta(
                m.apontado, static_cast<LONGLONG>(0 - static_cast<unsigned long long>(m.franquia)));
            m.motivo = m.franquia < 0    ? CMotivoItem::FranquiaNegativa
                       : m.franquia == 0 ? CMotivoItem::SemFranquia
                       : m.excedente > 0 ? CMotivoItem::ComExcedente
                                         : CMotivoItem::SemExcedente;
        }
        r.motivos.push_back(m);
    }
    // The lines each decision gave, in the calculation's order.
    for (std::size_t n = 0; n < r.motivos.size(); ++n) {
        const CMotivoItem::EMotivo motivo = r.motivos[n].motivo;
        if (motivo == CMotivoItem::SemFranquia)
            r.papeis.push_back({CPapelDaLinha::Simples, n});
        if (motivo == CMotivoItem::ComExcedente || motivo == CMotivoItem::SemExcedente)
            r.papeis.push_back({CPapelDaLinha::Franquia, n});
        if (motivo == CMotivoItem::ComExcedente)
            r.papeis.push_back({CPapelDaLinha::Excedente, n});
    }
    // Lines the decisions do not account for would be explained wrongly: none is, then.
    if (r.papeis.size() != static_cast<std::size_t>(r.linhas.GetSize()))
        r.papeis.clear();
    std::set<ULONG> medidos;
    for (const Faixa& f : r.calculoFaixas.conversa.faixas)
        medidos.insert(f.servico);
    for (const ULONG servico : ordem)
        if (!tratados.count(servico))
            r.semItem.push_back({servico, exato[servico], medidos.count(servico) != 0});
}

// Each range read, its month's total poured into its bands as the calculation pours it.
void ExplicaFaixas(CResultado& r) {
    const CConversa& c = r.calculoFaixas.conversa;
    std::map<ULONG, tagCY> medido;
    for (const Apontamento& a : c.apontamentos)
        for (const ItemApontamento& i : a.itens)
            medido[i.servico] = (CGeCurrencyEx(medido[i.servico]) + i.quantidade).GetAsCurrency();
    for (const Faixa& f : c.faixas) {
        CFaixaDistribuida d;
        d.codigo = f.codigo;
        d.servico = f.servico;
        d.descricao = f.descricao;
        d.medido = medido[f.servico].int64;
        tagCY resto;
        resto.int64 = d.medido;
        for (const Banda& b : f.bandas) {
            CBandaDistribuida banda;
            banda.inferior = b.inferior;
            banda.superior = b.superior;
            banda.preco = b.preco;
            if (b.superior != 0) {
                banda.capacidade =
                    CCalculoFaixaMedicao::CapacidadeDaBanda(b.inferior, b.superior).int64;
                banda.bVolta = banda.capacidade != (static_cast<LONGLONG>(b.superior) -
                                                    static_cast<LONGLONG>(b.inferior) + 1) *
                                                       10000;
            }
            if (resto.int64 == 0) {
                banda.estado = CBandaDistribuida::NaoAlcancada;
            } else if (b.superior == 0) {
                banda.estado = CBandaDistribuida::Aberta;
                banda.quantidade = std::exchange(resto.int64, 0);
            } else if (resto.int64 < banda.capacidade) {
                banda.estado = CBandaDistribuida::Resto;
                banda.quantidade = std::exchange(resto.int64, 0);
            } else {
                banda.estado = CBandaDistribuida::Cheia;
                banda.quantidade = banda.capacidade;
                tagCY capacidade;
                capacidade.int64 = banda.capacidade;
                resto = (CGeCurrencyEx(resto) - capacidade).GetAsCurrency();
            }
            banda.valor = CentavosDe(CExato(banda.preco) * CExato(banda.quantidade), 8);
            d.bandas.push_back(banda);
        }
        d.sobra = resto.int64;
        r.distribuicao.push_back(std::move(d));
    }
}

} // namespace

void Calcula(const std::string& codigoContrato, ULONG pontContr, CTQMa mes, CResultado& r) {
    r.codigoContrato = codigoContrato;
    r.pontContr = pontContr;
    r.mes = mes;
    r.data = CGeManipulaDatas::PegaDataAtual();
    if (r.bApontamentos)
        CalculaApontamentos(r);
    if (r.bFaixas)
        CalculaFaixas(r);
    ExplicaApontamentos(r);
    ExplicaFaixas(r);
    CVerificacao verificacao(r);
    verificacao.Apontamentos();
    verificacao.Faixas();
    verificacao.Nota();
}

CExato ValorFaturado(LONGLONG precoMedio, LONGLONG quantidade) {
    return CentavosDe(CExato(precoMedio) * CExato(quantidade), 8);
}

int CodigoDeSaida(const CResultado& r) {
    if (!r.avisos.empty())
        return 3;
    const bool bFalhou =
        (r.bApontamentos && FAILED(r.hrApontamentos)) || (r.bFaixas && FAILED(r.hrFaixas));
    return bFalhou ? 1 : 0;
}

} // namespace tq::calc
