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

// The call that stopped a step, in a sentence: "ITQGE_Faixa::LeFaixa respondeu 0x... NOME".
std::string Falha(const CPasso& p, const char* pszPasso) {
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

// ---- The time calculation ---------------------------------------------------------------------

LONGLONG SomaComVolta(LONGLONG a, LONGLONG b) {
    return static_cast<LONGLONG>(static_cast<unsigned long long>(a) +
                                 static_cast<unsigned long long>(b));
}

// Each contract item and recorded service, explained as the calculation priced them: the totals
// in plain 64-bit sums, which wrap as the calculation's do.
void ExplicaItens(std::ostringstream& out, const CConversa& c, const std::set<ULONG>& medidos) {
    std::map<ULONG, LONGLONG> apontado;
    std::vector<ULONG> ordem;
    for (const Apontamento& a : c.apontamentos)
        for (const ItemApontamento& i : a.itens) {
            if (!apontado.count(i.servico))
                ordem.push_back(i.servico);
            apontado[i.servico] = SomaComVolta(apontado[i.servico], i.quantidade.int64);
        }
    if (c.itens.empty())
        out << "  o contrato não tem itens: nada a cobrar\n";
    std::set<ULONG> tratados;
    for (std::size_t n = 0; n < c.itens.size(); ++n) {
        const ItemContrato& item = c.itens[n];
        out << "  item " << n + 1 << ", serviço " << item.servico << " \"" << Texto8(item.texto)
            << "\": ";
        if (!tratados.insert(item.servico).second) {
            out << "o serviço já foi tratado por um item anterior; nada\n";
            continue;
        }
        const auto g = apontado.find(item.servico);
        if (g == apontado.end()) {
            out << "nenhum apontamento do serviço no mês; nada\n";
            continue;
        }
        const LONGLONG q = g->second, f = item.franquia;
        const LONGLONG excedente =
            SomaComVolta(q, static_cast<LONGLONG>(0 - static_cast<unsigned long long>(f)));
        if (f < 0)
            out << "franquia negativa (" << Moeda(f) << "); nada\n";
        else if (f == 0)
            out << "apontado " << Moeda(q) << ", cobrado ao preço unitário\n";
        else if (excedente > 0)
            out << "apontado " << Moeda(q) << "; a franquia de " << Moeda(f)
                << " cobrada inteira ao preço unitário e o excedente de " << Moeda(excedente)
                << " ao preço excedente\n";
        else
            out << "apontado " << Moeda(q) << "; a franquia de " << Moeda(f)
                << " cobrada inteira, sem excedente\n";
    }
    // Nothing is billed from these: their exact sums, whatever the calculation made of them.
    std::map<ULONG, CExato> exato;
    for (const Apontamento& a : c.apontamentos)
        for (const ItemApontamento& i : a.itens)
            exato[i.servico] = exato[i.servico] + CExato(i.quantidade.int64);
    for (const ULONG servico : ordem)
        if (!tratados.count(servico))
            out << "  serviço " << servico << ": apontado " << Brasileiro(exato[servico], 4)
                << " sem item no contrato; nada"
                << (medidos.count(servico) ? " aqui (medido, vai pelas faixas)" : "") << "\n";
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
            out << "           classificação " << c.codigo << " "
                << Texto8(c.descricao ? c.descricao : "") << ": " << Reais(c.valor.int64) << "\n";
        }
    }
    out << "Por quê:\n";
    if (FAILED(r.inicio.hr)) {
        out << "  o cálculo não começou: " << Falha(r.inicio, "Inicializa") << "\n";
    } else if (FAILED(r.calculo.hr)) {
        const CConversa& c = r.calculo.conversa;
        out << "  itens do contrato: "
            << (c.bItensLidos ? "lidos, " + std::to_string(c.itens.size()) : "não lidos") << "\n";
        out << "  apontamentos do mês: "
            << (c.bApontamentosLidos ? "lidos, " + std::to_string(c.apontamentos.size())
                                     : "não lidos")
            << "\n";
        out << "  nenhuma linha foi calculada: " << Falha(r.calculo, "FazCalculoApontamentos")
            << "\n";
    } else {
        std::set<ULONG> medidos;
        for (const Faixa& f : r.calculoFaixas.conversa.faixas)
            medidos.insert(f.servico);
        ExplicaItens(out, r.calculo.conversa, medidos);
    }
    out << "Total: ";
    if (!r.total.bAlcancado)
        out << "não calculado (o cálculo parou antes)\n";
    else if (FAILED(r.total.hr))
        out << "não obtido: " << Falha(r.total, "GetValorApontamentos") << "\n";
    else
        out << "valor " << Reais(r.valor.int64) << ", desconto " << Moeda(r.desconto.int64) << "\n";
    out << "Apontamentos listados na nota: ";
    if (!r.codigosNota.bAlcancado)
        out << "não lidos (o cálculo parou antes)\n";
    else if (FAILED(r.codigosNota.hr))
        out << "não lidos: " << Falha(r.codigosNota, "GetCodigosApontamentos") << "\n";
    else
        out << (r.codigos.IsEmpty() ? std::string("nenhum") : Texto8(r.codigos.str())) << "\n";
}

// ---- The ranges calculation -------------------------------------------------------------------

// The bands of one range walked as the calculation walks them.
void ExplicaFaixa(std::ostringstream& out, const Faixa& f, tagCY total) {
    tagCY resto = total;
    out << "  faixa " << f.codigo;
    if (!f.descricao.empty())
        out << " \"" << Texto8(f.descricao) << "\"";
    out << ", serviço " << f.servico << ": medido " << Moeda(resto.int64) << " no mês\n";
    for (const Banda& banda : f.bandas) {
        if (resto.int64 == 0) {
            out << "    nada mais a distribuir\n";
            return;
        }
        if (banda.superior == 0) {
            out << "    banda " << banda.inferior << " em diante (aberta): leva o resto, "
                << Moeda(resto.int64) << "\n";
            return;
        }
        const tagCY largura =
            CCalculoFaixaMedicao::CapacidadeDaBanda(banda.inferior, banda.superior);
        out << "    banda " << banda.inferior << " a " << banda.superior << ", largura "
            << Moeda(largura.int64) << ": ";
        if (resto.int64 < largura.int64) {
            out << "cabe o resto, " << Moeda(resto.int64) << "\n";
            return;
        }
        out << "cheia\n";
        resto = (CGeCurrencyEx(resto) - largura).GetAsCurrency();
    }
    if (resto.int64 != 0)
        out << "    sobra " << Moeda(resto.int64) << " além da última banda: não cobrada\n";
}

void ExplicaFaixas(std::ostringstream& out, const CResultado& r) {
    if (FAILED(r.leContrato.hr)) {
        out << "  o contrato não foi lido: " << Falha(r.leContrato, "LeContrato")
            << "; nenhuma faixa foi calculada\n";
        return;
    }
    const CConversa& c = r.calculoFaixas.conversa;
    if (!c.bApontamentosLidos) {
        out << "  as medições do mês não foram lidas: " << Falha(r.calculoFaixas, "CalculaItens")
            << "; nenhuma faixa foi lida\n";
        return;
    }
    // The month's totals per service, through the money type's addition as the calculation adds.
    std::map<ULONG, tagCY> medido;
    for (const Apontamento& a : c.apontamentos)
        for (const ItemApontamento& i : a.itens)
            medido[i.servico] = (CGeCurrencyEx(medido[i.servico]) + i.quantidade).GetAsCurrency();
    const std::vector<FaixaContrato>& doContrato = r.leContrato.conversa.contrato.faixas;
    if (doContrato.empty())
        out << "  o contrato não tem faixas: nada a cobrar por medição\n";
    for (std::size_t i = 0; i < doContrato.size(); ++i) {
        if (i < c.faixas.size()) {
            ExplicaFaixa(out, c.faixas[i], medido[c.faixas[i].servico]);
        } else if (i == c.faixas.size() && FAILED(r.calculoFaixas.hr)) {
            out << "  faixa " << doContrato[i].codigo
                << ": não lida: " << Falha(r.calculoFaixas, "CalculaItens") << "\n";
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
        const bool bAvisado = std::any_of(r.avisos.begin(), r.avisos.end(), [&](const CAviso& a) {
            return a.calculo != CAviso::Apontamentos && a.servico == servico;
        });
        if (diferenca.Zero() || bAvisado) // a warned service differs for the warning's reason
            continue;
        out << "  serviço " << r.servicos[n].Servico << ": o valor faturado, " << Centavos(f.valor)
            << ", difere da soma das bandas, " << Centavos(f.somaBandas) << ", em "
            << Centavos(diferenca) << ": o preço médio é guardado com quatro casas decimais ("
            << Moeda(r.servicos[n].Valor.int64) << ")\n";
    }
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
