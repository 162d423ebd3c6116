// The text face: what a support person reads to a customer on the phone.
#include "tools/tqcalc/Faces.h"
#include "tools/tqcalc/Formato.h"

#include "foundation/GeCurrencyEx.h"

#include <algorithm>
#include <map>
#include <set>
#include <sstream>

namespace tq::calc {

using namespace tq::amostra;

namespace {

std::string Moeda(LONGLONG bruto, int nDecimais = 4) {
    return Brasileiro(bruto, nDecimais);
}

// A four-decimal raw value of whole cents, exact, as an invoice shows it.
std::string Centavos(const CExato& v) {
    return Brasileiro(v.Divide(100), 2);
}

std::string Texto8(const std::string& texto1252) {
    return ParaUtf8(texto1252);
}

} // namespace

std::string TextoDaFalha(const CPasso& p, const char* pszPasso) {
    const CChamada* c = p.conversa.Falha();
    if (c && c->bRecusada)
        return "a resposta de " + c->Nome() +
               " veio incompleta (uma contagem além do bloco que a trouxe) e foi recusada: " +
               NomeDoStatus(p.hr);
    if (c && c->operacao == "criação")
        return "a criação de " + c->servidor + " respondeu " + NomeDoStatus(c->hr);
    if (c)
        return c->Nome() + " respondeu " + NomeDoStatus(c->hr);
    return std::string(pszPasso) + " respondeu " + NomeDoStatus(p.hr);
}

namespace {

// ---- The time calculation ---------------------------------------------------------------------

void ExplicaItens(std::ostringstream& out, const CResultado& r) {
    if (r.motivos.empty())
        out << "  o contrato não tem itens: nada a cobrar\n";
    for (std::size_t n = 0; n < r.motivos.size(); ++n) {
        const CMotivoItem& m = r.motivos[n];
        out << "  item " << n + 1 << ", serviço " << m.servico << " \"" << Texto8(m.texto)
            << "\": ";
        switch (m.motivo) {
            case CMotivoItem::JaTratado:
                out << "o serviço já foi tratado por um item anterior; nada\n";
                break;
            case CMotivoItem::SemApontamento:
                out << "nenhum apontamento do serviço no mês; nada\n";
                break;
            case CMotivoItem::FranquiaNegativa:
                out << "franquia negativa (" << Moeda(m.franquia) << "); nada\n";
                break;
            case CMotivoItem::SemFranquia:
                out << "apontado " << Moeda(m.apontado) << ", cobrado ao preço unitário\n";
                break;
            case CMotivoItem::ComExcedente:
                out << "apontado " << Moeda(m.apontado) << "; a franquia de " << Moeda(m.franquia)
                    << " cobrada inteira ao preço unitário e o excedente de " << Moeda(m.excedente)
                    << " ao preço excedente\n";
                break;
            case CMotivoItem::SemExcedente:
                out << "apontado " << Moeda(m.apontado) << "; a franquia de " << Moeda(m.franquia)
                    << " cobrada inteira, sem excedente\n";
                break;
        }
    }
    for (const CServicoSemItem& s : r.semItem)
        out << "  serviço " << s.servico << ": apontado " << Brasileiro(s.apontado, 4)
            << " sem item no contrato; nada"
            << (s.bMedido ? " aqui (medido, vai pelas faixas)" : "") << "\n";
}

void TextoApontamentos(std::ostringstream& out, const CResultado& r) {
    out << "\n== Apontamentos (cálculo por tempo) ==\nstatus " << NomeDoStatus(r.hrApontamentos)
        << "\n";
    out << Coluna("serviço", 8) << Coluna("quantidade", 15) << Coluna("preço unitário", 17)
        << Coluna("valor", 15) << Coluna("desconto", 11) << "  descrição\n";
    for (const REG_APONTAMENTO_CALCULADO& l : r.linhas) {
        out << Coluna(std::to_string(l.servico), 8) << Coluna(Moeda(l.quantidade.int64), 15)
            << Coluna(Moeda(l.precoUnitario.int64, 8), 17) << Coluna(Reais(l.valor.int64), 15)
            << Coluna(Moeda(l.descTotal.int64), 11) << "  "
            << Texto8(TextoDoCampo(l.descricao, sizeof l.descricao).str()) << "\n";
        // The line's value shared out over the item's classifications.
        for (ULONG i = 0; i < l.itemContrato.qtdClassificacoes; ++i) {
            const _REG_CLASSIFICACAO_GE_PS& c = l.itemContrato.classificacoes[i];
            out << "           classificação " << c.codigo;
            if (c.descricao && *c.descricao)
                out << " " << Texto8(c.descricao);
            out << ": " << Reais(c.valor.int64) << "\n";
        }
    }
    out << "Por quê:\n";
    if (FAILED(r.inicio.hr)) {
        out << "  o cálculo não começou: " << TextoDaFalha(r.inicio, "Inicializa") << "\n";
    } else if (FAILED(r.calculo.hr)) {
        const CConversa& c = r.calculo.conversa;
        out << "  itens do contrato: "
            << (c.bItensLidos ? "lidos, " + std::to_string(c.itens.size()) : "não lidos") << "\n";
        out << "  apontamentos do mês: "
            << (c.bApontamentosLidos ? "lidos, " + std::to_string(c.apontamentos.size())
                                     : "não lidos")
            << "\n";
        out << "  nenhuma linha foi calculada: "
            << TextoDaFalha(r.calculo, "FazCalculoApontamentos") << "\n";
    } else {
        ExplicaItens(out, r);
    }
    out << "Total: ";
    if (!r.total.bAlcancado)
        out << "não calculado (o cálculo parou antes)\n";
    else if (FAILED(r.total.hr))
        out << "não obtido: " << TextoDaFalha(r.total, "GetValorApontamentos") << "\n";
    else
        out << "valor " << Reais(r.valor.int64) << ", desconto " << Moeda(r.desconto.int64) << "\n";
    out << "Apontamentos listados na nota: ";
    if (!r.codigosNota.bAlcancado)
        out << "não lidos (o cálculo parou antes)\n";
    else if (FAILED(r.codigosNota.hr))
        out << "não lidos: " << TextoDaFalha(r.codigosNota, "GetCodigosApontamentos") << "\n";
    else
        out << (r.codigos.IsEmpty() ? std::string("nenhum") : Texto8(r.codigos.str())) << "\n";
}

// ---- The ranges calculation -------------------------------------------------------------------

// The bands of one range as the calculation walked them.
void ExplicaFaixa(std::ostringstream& out, const CFaixaDistribuida& f) {
    out << "  faixa " << f.codigo;
    if (!f.descricao.empty())
        out << " \"" << Texto8(f.descricao) << "\"";
    out << ", serviço " << f.servico << ": medido " << Moeda(f.medido) << " no mês\n";
    for (const CBandaDistribuida& b : f.bandas) {
        switch (b.estado) {
            case CBandaDistribuida::NaoAlcancada:
                out << (f.medido == 0 ? "    nada a distribuir\n" : "    nada mais a distribuir\n");
                return;
            case CBandaDistribuida::Aberta:
                out << "    banda " << b.inferior << " em diante (aberta): leva o resto, "
                    << Moeda(b.quantidade) << "\n";
                return;
            case CBandaDistribuida::Resto:
            case CBandaDistribuida::Cheia:
                out << "    banda " << b.inferior << " a " << b.superior << ", largura "
                    << Moeda(b.capacidade)
                    << (b.bVolta ? " (a conta da largura, em 32 bits, deu a volta)" : "") << ": "
                    << (b.estado == CBandaDistribuida::Cheia
                            ? "cheia"
                            : "cabe o resto, " + Moeda(b.quantidade))
                    << "\n";
                break;
        }
    }
    if (f.sobra != 0)
        out << "    sobra " << Moeda(f.sobra) << " além da última banda: não cobrada\n";
}

void ExplicaFaixas(std::ostringstream& out, const CResultado& r) {
    if (FAILED(r.leContrato.hr)) {
        out << "  o contrato não foi lido: " << TextoDaFalha(r.leContrato, "LeContrato")
            << "; nenhuma faixa foi calculada\n";
        return;
    }
    const CConversa& c = r.calculoFaixas.conversa;
    if (!c.bApontamentosLidos) {
        out << "  as medições do mês não foram lidas: "
            << TextoDaFalha(r.calculoFaixas, "CalculaItens") << "; nenhuma faixa foi lida\n";
        return;
    }
    const std::vector<FaixaContrato>& doContrato = r.leContrato.conversa.contrato.faixas;
    if (doContrato.empty())
        out << "  o contrato não tem faixas: nada a cobrar por medição\n";
    for (std::size_t i = 0; i < doContrato.size(); ++i) {
        if (i < r.distribuicao.size()) {
            ExplicaFaixa(out, r.distribuicao[i]);
        } else if (i == r.distribuicao.size() && FAILED(r.calculoFaixas.hr)) {
            out << "  faixa " << doContrato[i].codigo
                << ": não lida: " << TextoDaFalha(r.calculoFaixas, "CalculaItens") << "\n";
        } else {
            out << "  faixa " << doContrato[i].codigo
                << ": não alcançada (o cálculo parou antes)\n";
        }
    }
}

void TextoFaixas(std::ostringstream& out, const CResultado& r) {
    out << "\n== Faixas de medição ==\nstatus " << NomeDoStatus(r.hrFaixas) << "\n";
    out << Coluna("serviço", 8) << Coluna("quantidade", 15) << Coluna("preço", 15)
        << Coluna("valor", 15) << "\n";
    for (INT_PTR n = 0; n < r.itens.GetSize(); ++n) {
        const CItemCalculoFaixaMedicao& i = r.itens[n];
        out << Coluna(std::to_string(i.Servico), 8) << Coluna(Moeda(i.Quantidade.int64), 15)
            << Coluna(Moeda(i.Valor.int64), 15)
            << Coluna(Centavos(r.valoresItens[static_cast<std::size_t>(n)]), 15) << "\n";
    }
    out << "Por quê:\n";
    ExplicaFaixas(out, r);
    out << "Serviços faturados (preço médio ponderado):\n";
    if (FAILED(r.hrFaixas)) {
        out << "  nenhum: o cálculo falhou, nada é faturado por medição\n";
        return;
    }
    if (r.bCondensacaoRecusada) {
        out << "  nenhum: há mais linhas de serviço que faixas no contrato, e a condensação "
               "recusa (erro de índice do array)\n";
        return;
    }
    out << Coluna("serviço", 8) << Coluna("quantidade", 15) << Coluna("preço médio", 15)
        << Coluna("valor", 15) << "\n";
    for (INT_PTR n = 0; n < r.servicos.GetSize(); ++n) {
        const CItemCalculoFaixaMedicao& s = r.servicos[n];
        out << Coluna(std::to_string(s.Servico), 8) << Coluna(Moeda(s.Quantidade.int64), 15)
            << Coluna(Moeda(s.Valor.int64), 15)
            << Coluna(Centavos(r.faturados[static_cast<std::size_t>(n)].valor), 15) << "\n";
    }
    for (INT_PTR n = 0; n < r.servicos.GetSize(); ++n) {
        const CServicoFaturado& f = r.faturados[static_cast<std::size_t>(n)];
        const CExato diferenca = f.valor - f.somaBandas;
        const ULONG servico = r.servicos[n].Servico;
        if (f.bRepetido)
            out << "  serviço " << servico
                << ": de novo, com o total do serviço: a condensação abre uma linha a cada troca "
                   "de serviço, e cada linha leva o total inteiro\n";
        const bool bAvisado = std::any_of(r.avisos.begin(), r.avisos.end(), [&](const CAviso& a) {
            return a.calculo != CAviso::Apontamentos && a.servico == servico;
        });
        if (diferenca.Zero() || bAvisado || f.bRepetido) // those differ for their own reason
            continue;
        out << "  serviço " << r.servicos[n].Servico << ": o valor faturado, " << Centavos(f.valor)
            << ", difere da soma das bandas, " << Centavos(f.somaBandas) << ", em "
            << Centavos(diferenca) << ": o preço médio é guardado com quatro casas decimais ("
            << Moeda(r.servicos[n].Valor.int64) << ")\n";
    }
    if (!r.foraDaNota.Zero())
        out << "  as linhas do serviço 0 antes de qualquer outro serviço, "
            << Centavos(r.foraDaNota) << ", não abrem linha faturada: ficam fora da nota\n";
}

// ---- The invoice ------------------------------------------------------------------------------

void TextoNota(std::ostringstream& out, const CResultado& r) {
    out << "\n== Nota ==\n";
    if (!r.bNota) {
        if (FAILED(r.hrApontamentos))
            out << "não há nota: o cálculo por tempo falhou (" << NomeDoStatus(r.hrApontamentos)
                << ")\n";
        else if (FAILED(r.hrFaixas))
            out << "não há nota: o cálculo por faixas falhou (" << NomeDoStatus(r.hrFaixas)
                << ")\n";
        else
            out << "não há nota: um valor não cabe no tipo monetário (veja os avisos)\n";
        return;
    }
    const auto linha = [&](const char* pszRotulo, LONGLONG valor) {
        out << "  " << Coluna(pszRotulo, 22, false) << Coluna(Reais(valor), 20) << "\n";
    };
    linha("Apontamentos", r.notaApontamentos);
    linha("Faixas de medição", r.notaFaixas);
    linha("Valor bruto", r.notaBruto);
    linha("Desconto", -r.notaDesconto);
    linha("Total da nota", r.notaTotal);
    out << "  por extenso: " << r.notaPorExtenso << "\n";
}

} // namespace

std::string TextoDoAviso(const CAviso& a) {
    std::string texto = a.calculo == CAviso::Apontamentos ? "cálculo por tempo"
                        : a.calculo == CAviso::Faixas     ? "faixas de medição"
                                                          : "nota";
    if (a.servico)
        texto += ", serviço " + std::to_string(a.servico);
    return texto + ": " + a.oQue + " dá " + Brasileiro(a.valor, 4) +
           ", que não cabe no tipo monetário (" + kAlcanceDaMoeda +
           "); o que depende disso foi calculado assim mesmo e não vale";
}

std::string ParaTexto(const CResultado& r) {
    std::ostringstream out;
    out << "Contrato " << r.codigoContrato << " (número interno " << r.pontContr << "), mês "
        << r.mes.Formata().str() << "\n";
    if (r.bApontamentos)
        TextoApontamentos(out, r);
    if (r.bFaixas)
        TextoFaixas(out, r);
    if (r.bApontamentos && r.bFaixas)
        TextoNota(out, r);
    if (!r.avisos.empty()) {
        out << "\n== Avisos ==\n";
        for (const CAviso& a : r.avisos)
            out << "  " << TextoDoAviso(a) << "\n";
    }
    return out.str();
}

} // namespace tq::calc
