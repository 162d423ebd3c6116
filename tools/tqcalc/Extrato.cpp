// The customer's statement: the month as billed, on one page a support person e-mails or prints.
// Every figure on it is the core's; this face only lays them out (the chart's geometry is its
// own, the amounts it labels are not). Every text that comes from a scenario or a server is
// escaped: a service called "<script>" is shown, never run.
#include "tools/tqcalc/Faces.h"
#include "tools/tqcalc/Formato.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <sstream>
#include <utility>

namespace tq::calc {

namespace {

std::string Html(const std::string& utf8) {
    std::string s;
    s.reserve(utf8.size());
    for (const char c : utf8) {
        switch (c) {
            case '&':
                s += "&amp;";
                break;
            case '<':
                s += "&lt;";
                break;
            case '>':
                s += "&gt;";
                break;
            case '"':
                s += "&quot;";
                break;
            case '\'':
                s += "&#39;";
                break;
            default:
                s += c;
        }
    }
    return s;
}

// An 8-bit text as the servers keep it.
std::string Html8(const std::string& texto1252) {
    return Html(ParaUtf8(texto1252));
}

// A quantity or a price with every decimal that means something, never fewer than two:
// 40,00; 7,25; 45,83333333.
std::string Numero(const CExato& v, int nDecimais) {
    std::string t = Brasileiro(v, nDecimais);
    const std::size_t virgula = t.find(',');
    if (virgula != std::string::npos)
        while (t.size() > virgula + 3 && t.back() == '0')
            t.pop_back();
    return t;
}

// A four-decimal raw value of whole cents.
std::string Centavos(const CExato& v) {
    return Brasileiro(v.Divide(100), 2);
}

std::string Mes(CTQMa mes) {
    static const char* const kNomes[] = {"janeiro",  "fevereiro", "março",    "abril",
                                         "maio",     "junho",     "julho",    "agosto",
                                         "setembro", "outubro",   "novembro", "dezembro"};
    if (!mes.IsValido())
        return mes.Formata().str();
    return std::string(kNomes[mes.GetMes() - 1]) + " de " + std::to_string(mes.GetAno());
}

std::string Maiuscula(std::string t) {
    if (!t.empty() && t[0] >= 'a' && t[0] <= 'z')
        t[0] = static_cast<char>(t[0] - 'a' + 'A');
    return t;
}

const char* const kEstilo = R"(
@page { size: A4 portrait; margin: 12mm 14mm; }
* { box-sizing: border-box; }
html { -webkit-print-color-adjust: exact; print-color-adjust: exact; }
body { margin: 0 auto; max-width: 794px; padding: 34px 53px; background: #fff; color: #1a1a1a;
       font: 12.5px/1.4 "Segoe UI", Arial, "Liberation Sans", "DejaVu Sans", sans-serif;
       overflow-wrap: anywhere; }
@media print { body { max-width: none; padding: 0; } }
p { margin: 0; }
.cabeca { display: flex; justify-content: space-between; align-items: flex-start; gap: 18px;
          border-bottom: 2px solid #1a1a1a; padding-bottom: 10px; }
.cabeca > div:first-child { flex: 1 1 auto; min-width: 0; }
.rotulo { font-size: 11px; letter-spacing: .08em; text-transform: uppercase; color: #4d4d4d; }
h1 { font-size: 24px; margin: 1px 0 6px; }
.dados { display: grid; grid-template-columns: auto minmax(0, 1fr); gap: 1px 10px; margin: 0; }
.dados dt { color: #4d4d4d; }
.dados dd { margin: 0; font-weight: 600; }
.caixa { border: 2px solid #1a1a1a; border-radius: 6px; padding: 8px 12px; width: 250px;
         text-align: right; flex: none; }
.caixa.larga { width: 340px; }
.caixa .valor { font-size: 25px; font-weight: 700; white-space: nowrap;
                font-variant-numeric: tabular-nums; }
.caixa.larga .valor { font-size: 19px; }
.caixa .extenso { font-size: 11px; }
.caixa.sem-nota { border-style: dashed; text-align: left; }
.caixa.sem-nota .valor { font-size: 19px; }
h2 { font-size: 14.5px; margin: 16px 0 5px; padding-bottom: 2px; border-bottom: 1px solid #8c8c8c; }
h2 small { font-weight: normal; font-size: 11.5px; color: #4d4d4d; }
table { width: 100%; border-collapse: collapse; font-variant-numeric: tabular-nums; }
th { font-size: 11px; font-weight: 600; text-align: left; color: #333;
     border-bottom: 1.5px solid #1a1a1a; padding: 3px 6px; }
td { padding: 4px 6px 1px; vertical-align: top; }
.n { text-align: right; white-space: nowrap; }
td:first-child, th:first-child { white-space: nowrap; }
tr.linha td { border-top: 1px solid #bfbfbf; }
tr.linha:first-child td { border-top: none; }
tr.motivo td { font-size: 11px; color: #404040; padding-top: 0; padding-bottom: 5px; }
tr.soma td { border-top: 1.5px solid #1a1a1a; font-weight: 700; padding-top: 4px; }
tr, .faixa, .nota, .aviso { break-inside: avoid; }
.marca { display: inline-block; margin-right: 6px; padding: 0 5px; border: 1px solid #1a1a1a;
         border-radius: 3px; font-size: 9.5px; font-weight: 700; letter-spacing: .05em;
         text-transform: uppercase; vertical-align: 1px; }
.marca.excedente { background: #1a1a1a; color: #fff; }
p.fora { margin-top: 8px; font-size: 11px; font-weight: 600; }
ul.fora { margin: 1px 0 0; padding-left: 16px; font-size: 11px; color: #404040; }
.faixa { margin-top: 6px; }
.faixa h3 { font-size: 12.5px; margin: 0 0 2px; }
svg.grafico { display: block; width: 100%; height: auto; }
svg text { font-family: "Segoe UI", Arial, "Liberation Sans", "DejaVu Sans", sans-serif;
           font-size: 12px; fill: #1a1a1a; }
svg .pequeno { font-size: 10.5px; fill: #404040; }
.legenda { font-size: 10.5px; color: #404040; margin-top: 1px; }
.legenda span { margin-right: 14px; white-space: nowrap; }
.legenda svg { width: 22px; height: 11px; vertical-align: -1px; }
.faturado { margin-top: 4px; }
.observacao { font-size: 11px; color: #404040; margin-top: 2px; }
.nota { display: flex; gap: 24px; align-items: flex-start; }
.nota table { width: 320px; flex: none; }
.nota td { padding: 2px 6px; }
.nota tr.total td { border-top: 2px solid #1a1a1a; font-size: 15px; font-weight: 700;
                    padding-top: 4px; }
.nota .lado { font-size: 12px; }
.nota .lado p + p { margin-top: 6px; }
.aviso { border: 3px double #1a1a1a; border-radius: 6px; padding: 10px 14px; margin-top: 16px; }
.aviso h2 { border: none; margin: 0 0 4px; font-size: 17px; }
.aviso ul { margin: 6px 0; padding-left: 18px; }
.aviso li + li { margin-top: 4px; }
.rodape { margin-top: 18px; font-size: 10.5px; color: #4d4d4d; border-top: 1px solid #bfbfbf;
          padding-top: 4px; }
)";

// ---- The head --------------------------------------------------------------------------------

void Cabeca(std::ostringstream& out, const CResultado& r) {
    out << "<header class=\"cabeca\">\n<div>\n<p class=\"rotulo\">Extrato do faturamento</p>\n"
        << "<h1>" << Html(Maiuscula(Mes(r.mes))) << "</h1>\n<dl class=\"dados\">\n"
        << "<dt>Contrato</dt><dd>" << Html(r.codigoContrato) << "</dd>\n";
    if (!r.cliente.nome.empty())
        out << "<dt>Cliente</dt><dd>" << Html(r.cliente.nome) << "</dd>\n";
    if (!r.cliente.documento.empty())
        out << "<dt>Documento</dt><dd>" << Html(r.cliente.documento) << "</dd>\n";
    out << "<dt>Emitido em</dt><dd>" << Html(r.data.Formata().str()) << "</dd>\n</dl>\n</div>\n";
    if (r.bNota) {
        // Up to hundreds of millions the figure fits the box at full size; beyond, up to the
        // money type's ends, a wider box and a smaller size keep it whole.
        const std::string total = "R$ " + Reais(r.notaTotal);
        out << "<div class=\"caixa" << (total.size() > 17 ? " larga" : "")
            << "\"><p class=\"rotulo\">Total da nota</p>\n"
            << "<p class=\"valor\">" << total << "</p>\n"
            << "<p class=\"extenso\">" << Html(r.notaPorExtenso) << "</p></div>\n";
    } else
        out << "<div class=\"caixa sem-nota\"><p class=\"rotulo\">Sem total</p>\n"
            << "<p class=\"valor\">Não é uma nota</p>\n"
            << "<p class=\"extenso\">Este mês não foi faturado: veja abaixo por quê.</p></div>\n";
    out << "</header>\n";
}

// ---- The time lines --------------------------------------------------------------------------

std::string MotivoDaLinha(const CPapelDaLinha& p, const CMotivoItem& m) {
    switch (p.papel) {
        case CPapelDaLinha::Simples:
            return "Apontado " + Numero(m.apontado, 4) + " no mês, cobrado ao preço unitário.";
        case CPapelDaLinha::Franquia:
            if (m.motivo == CMotivoItem::ComExcedente)
                return "Franquia de " + Numero(m.franquia, 4) +
                       " cobrada inteira ao preço unitário; apontado " + Numero(m.apontado, 4) +
                       " no mês.";
            return "Apontado " + Numero(m.apontado, 4) + "; a franquia de " +
                   Numero(m.franquia, 4) + " cobrada inteira, sem excedente.";
        case CPapelDaLinha::Excedente:
            return "O excedente de " + Numero(m.excedente, 4) + " (apontado " +
                   Numero(m.apontado, 4) + " − franquia " + Numero(m.franquia, 4) +
                   ") ao preço excedente.";
    }
    return std::string();
}

// What the time calculation did not bill, and why, in a few words each.
void NaoCobrados(std::ostringstream& out, const CResultado& r) {
    std::ostringstream itens;
    for (std::size_t n = 0; n < r.motivos.size(); ++n) {
        const CMotivoItem& m = r.motivos[n];
        std::string porque;
        if (m.motivo == CMotivoItem::JaTratado)
            porque = "o serviço já foi tratado por um item anterior";
        else if (m.motivo == CMotivoItem::SemApontamento)
            porque = "nenhum apontamento do serviço no mês";
        else if (m.motivo == CMotivoItem::FranquiaNegativa)
            porque = "franquia negativa (" + Numero(m.franquia, 4) + "); nada cobrado";
        else
            continue;
        itens << "<li>Item " << n + 1 << ", serviço " << m.servico << " “" << Html8(m.texto)
              << "”: " << Html(porque) << ".</li>\n";
    }
    for (const CServicoSemItem& s : r.semItem)
        itens << "<li>Serviço " << s.servico << ": "
              << (s.bMedido
                      ? "medido " + Numero(s.apontado, 4) +
                            ", cobrado pelas faixas de medição (abaixo)"
                      : "apontado " + Numero(s.apontado, 4) + " sem item no contrato; nada cobrado")
              << ".</li>\n";
    if (!itens.str().empty())
        out << "<p class=\"fora\">Sem cobrança por tempo neste mês:</p>\n<ul class=\"fora\">\n"
            << itens.str() << "</ul>\n";
}

void Apontamentos(std::ostringstream& out, const CResultado& r) {
    out << "<h2>Serviços por tempo <small>— apontamentos do mês cobrados pelos itens do "
           "contrato</small></h2>\n";
    if (r.motivos.empty() && r.semItem.empty()) {
        out << "<p>O contrato não tem itens: nada a cobrar por tempo.</p>\n";
        return;
    }
    if (r.linhas.IsEmpty()) {
        out << "<p>Nenhuma linha cobrada por tempo neste mês.</p>\n";
    } else {
        out << "<table>\n<thead><tr><th>Serviço</th><th>Descrição</th>"
               "<th class=\"n\">Quantidade</th><th class=\"n\">Preço unitário</th>"
               "<th class=\"n\">Valor (R$)</th><th class=\"n\">Desconto</th></tr></thead>\n"
               "<tbody>\n";
        for (INT_PTR n = 0; n < r.linhas.GetSize(); ++n) {
            const REG_APONTAMENTO_CALCULADO& l = r.linhas[n];
            const std::size_t i = static_cast<std::size_t>(n);
            const CPapelDaLinha* p = i < r.papeis.size() ? &r.papeis[i] : nullptr;
            std::string descricao = Html8(TextoDoCampo(l.descricao, sizeof l.descricao).str());
            if (p)
                descricao = Html8(r.motivos[p->motivo].texto);
            out << "<tr class=\"linha\"><td>" << l.servico << "</td><td>" << descricao
                << "</td><td class=\"n\">" << Numero(l.quantidade.int64, 4)
                << "</td><td class=\"n\">" << Numero(l.precoUnitario.int64, 8)
                << "</td><td class=\"n\">" << Reais(l.valor.int64) << "</td><td class=\"n\">"
                << Numero(l.descTotal.int64, 4) << "</td></tr>\n";
            if (p)
                out << "<tr class=\"motivo\"><td></td><td colspan=\"5\">"
                    << (p->papel == CPapelDaLinha::Franquia
                            ? "<span class=\"marca\">Franquia</span>"
                        : p->papel == CPapelDaLinha::Excedente
                            ? "<span class=\"marca excedente\">Excedente</span>"
                            : "")
                    << Html(MotivoDaLinha(*p, r.motivos[p->motivo])) << "</td></tr>\n";
        }
        out << "<tr class=\"soma\"><td></td><td colspan=\"3\">Total por tempo</td><td class=\"n\">"
            << Reais(r.valor.int64) << "</td><td class=\"n\">" << Numero(r.desconto.int64, 4)
            << "</td></tr>\n</tbody>\n</table>\n";
    }
    NaoCobrados(out, r);
}

// ---- The ranges: each one's ladder of bands, filled with the month ---------------------------

// The chart's own geometry: units are the viewBox's (about a CSS pixel on A4).
constexpr int kRotulo = 112;   // the band's bounds, left
constexpr int kBarras = 340;   // the bars
constexpr int kLinha = 27;     // a row
constexpr int kBarra = 17;     // a bar's height
constexpr int kNotaLinha = 13; // a row's second line, when it has one
constexpr int kTopo = 20;      // the month's marker label

std::string Pixel(double v) {
    return std::to_string(static_cast<long>(std::lround(v)));
}

struct CLinhaGrafico {
    std::string limites, rotulo;
    std::vector<std::string> notas;            // small lines under the label
    double inicio = 0, largura = 0, cheio = 0; // in raw units along the ladder
    bool bSobra = false, bAbertaVazia = false;
};

// bForaDaNota: the range's lines open no invoice line (service 0 before any other service).
void Grafico(std::ostringstream& out, const CFaixaDistribuida& f, std::size_t indice,
             bool bForaDaNota) {
    std::vector<CLinhaGrafico> linhas;
    double fim = 0, semVolta = 0;
    for (const CBandaDistribuida& b : f.bandas) {
        CLinhaGrafico l;
        const bool bAberta = b.superior == 0;
        l.limites = std::to_string(b.inferior) +
                    (bAberta ? " em diante" : " a " + std::to_string(b.superior));
        const double quantidade = static_cast<double>(std::max<LONGLONG>(b.quantidade, 0));
        l.inicio = fim;
        l.largura = bAberta ? quantidade : static_cast<double>(b.capacidade);
        l.cheio = std::min(quantidade, l.largura);
        l.bAbertaVazia = bAberta && b.estado == CBandaDistribuida::NaoAlcancada;
        const std::string conta =
            Numero(b.quantidade, 4) + " × " + Numero(b.preco, 4) + " = " + Centavos(b.valor);
        switch (b.estado) {
            case CBandaDistribuida::Cheia:
                l.rotulo = "cheia: " + conta;
                break;
            case CBandaDistribuida::Resto:
                l.rotulo = "parcial: " + conta;
                break;
            case CBandaDistribuida::Aberta:
                l.rotulo = "aberta: " + conta;
                break;
            case CBandaDistribuida::NaoAlcancada:
                l.rotulo = "não alcançada · preço " + Numero(b.preco, 4);
                break;
        }
        if (b.bVolta)
            l.notas.push_back("largura " + Numero(b.capacidade, 4) + " (volta em 32 bits)");
        if (b.quantidade < 0)
            l.notas.push_back("quantidade negativa: o valor entra negativo, sem barra");
        fim += l.largura;
        if (!b.bVolta)
            semVolta += l.largura;
        linhas.push_back(l);
    }
    if (f.sobra != 0) {
        CLinhaGrafico l;
        l.limites = "além da última";
        l.rotulo = "sobra " + Numero(f.sobra, 4) + ": não cobrada";
        l.inicio = fim;
        l.largura = static_cast<double>(std::max<LONGLONG>(f.sobra, 0));
        l.bSobra = true;
        fim += l.largura;
        linhas.push_back(l);
    }
    // The axis spans the ladder, unless a band is enormous beside the month (a wrapped width, a
    // last band for every case): then it spans a little more than the month, and what runs past
    // the edge is drawn cut.
    const double medido = static_cast<double>(std::max<LONGLONG>(f.medido, 0));
    const double referencia = medido > 0 ? medido : std::max(semVolta, 1.0);
    double eixo = fim <= 8 * referencia ? fim : 1.6 * referencia;
    if (eixo <= 0)
        eixo = 1;
    const double escala = kBarras / eixo;
    const auto caracteres = [](const std::string& utf8) {
        return static_cast<int>(std::count_if(utf8.begin(), utf8.end(), [](char c) {
            return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
        }));
    };
    int maisLongo = 0;
    int altura = kTopo;
    for (std::size_t n = 0; n < linhas.size(); ++n) {
        CLinhaGrafico& l = linhas[n];
        if (l.bSobra) {
        } else if (l.inicio > eixo * 1.000001 || (l.inicio >= eixo && l.largura > 0)) {
            l.notas.push_back("começa além do desenho");
        } else if (l.inicio + l.largura > eixo * 1.000001) {
            if (l.notas.empty())
                l.notas.push_back("largura " + Numero(f.bandas[n].capacidade, 4));
            l.notas.push_back("cortada no desenho");
        }
        // About the width of a character at each size, for a viewBox wide enough for the labels.
        maisLongo = std::max(maisLongo, caracteres(l.rotulo) * 13 / 2);
        for (const std::string& nota : l.notas)
            maisLongo = std::max(maisLongo, caracteres(nota) * 6);
        altura += kLinha + kNotaLinha * static_cast<int>(l.notas.size());
    }
    const int xTexto = kRotulo + kBarras + 10;
    const int largura = std::max(680, xTexto + maisLongo + 6);
    const std::string id = "hachura" + std::to_string(indice);
    out << "<svg class=\"grafico\" viewBox=\"0 0 " << largura << " " << altura + 4
        << "\" role=\"img\" aria-label=\"Distribuição do medido pelas bandas\">\n"
        << "<defs><pattern id=\"" << id
        << "\" width=\"6\" height=\"6\" patternUnits=\"userSpaceOnUse\" "
           "patternTransform=\"rotate(45)\"><rect width=\"6\" height=\"6\" fill=\"#fff\"/>"
           "<rect width=\"2.5\" height=\"6\" fill=\"#404040\"/></pattern></defs>\n";
    int y = kTopo;
    for (const CLinhaGrafico& l : linhas) {
        const int alto = kLinha + kNotaLinha * static_cast<int>(l.notas.size());
        out << "<text x=\"0\" y=\"" << y + 16 << "\">" << Html(l.limites) << "</text>\n";
        const double x = kRotulo + std::min(l.inicio, eixo) * escala;
        const double fimBarra = kRotulo + std::min(l.inicio + l.largura, eixo) * escala;
        const bool bCortada = l.inicio + l.largura > eixo * 1.000001 && !l.bSobra;
        if (l.bAbertaVazia || l.inicio >= eixo) {
            // Nothing to fill, or it starts past the edge: a stub says it is there.
            const double xs = std::min(x, kRotulo + kBarras - 12.0);
            out << "<rect x=\"" << Pixel(xs) << "\" y=\"" << y + 4 << "\" width=\"12\" height=\""
                << kBarra
                << "\" fill=\"#fff\" stroke=\"#333\" "
                   "stroke-dasharray=\"3 2\"/>\n";
        } else {
            const double w = std::max(fimBarra - x, 2.0);
            out << "<rect x=\"" << Pixel(x) << "\" y=\"" << y + 4 << "\" width=\"" << Pixel(w)
                << "\" height=\"" << kBarra << "\" fill=\""
                << (l.bSobra ? "url(#" + id + ")" : "#fff") << "\" stroke=\"#333\""
                << (l.bSobra ? " stroke-dasharray=\"4 2\"" : "") << "/>\n";
            if (!l.bSobra && l.cheio > 0) {
                const double wc = std::max(std::min(l.cheio * escala, w), 2.0);
                out << "<rect x=\"" << Pixel(x) << "\" y=\"" << y + 4 << "\" width=\"" << Pixel(wc)
                    << "\" height=\"" << kBarra << "\" fill=\"#2b5278\" stroke=\"#1a1a1a\"/>\n";
            }
            if (bCortada) { // a break across the bar's end
                const std::string quebra = "<path d=\"M" + Pixel(fimBarra - 10) + " " +
                                           std::to_string(y + 1) +
                                           " l6 6.5 -6 6.5 6 6.5 -6 4\" fill=\"none\" ";
                out << quebra << "stroke=\"#fff\" stroke-width=\"5\"/>" << quebra
                    << "stroke=\"#1a1a1a\" stroke-width=\"1.2\"/>\n";
            }
        }
        out << "<text x=\"" << xTexto << "\" y=\"" << y + 16 << "\">" << Html(l.rotulo)
            << "</text>\n";
        for (std::size_t k = 0; k < l.notas.size(); ++k)
            out << "<text class=\"pequeno\" x=\"" << xTexto << "\" y=\""
                << y + 16 + kNotaLinha * static_cast<int>(k + 1) << "\">" << Html(l.notas[k])
                << "</text>\n";
        y += alto;
    }
    // The month's quantity across the ladder.
    const double xMedido = kRotulo + std::min(medido, eixo) * escala;
    const bool bDireita = xMedido > kRotulo + kBarras / 2;
    out << "<line x1=\"" << Pixel(xMedido) << "\" y1=\"" << kTopo - 4 << "\" x2=\""
        << Pixel(xMedido) << "\" y2=\"" << altura << "\" stroke=\"#1a1a1a\" stroke-width=\"1.5\" "
        << "stroke-dasharray=\"5 3\"/>\n"
        << "<text class=\"pequeno\" x=\"" << Pixel(xMedido + (bDireita ? -4 : 4))
        << "\" y=\"12\" text-anchor=\"" << (bDireita ? "end" : "start")
        << "\">medido no mês: " << Numero(f.medido, 4) << "</text>\n";
    if (bDireita || xMedido > kRotulo + 14) // else the month's label stands there
        out << "<text class=\"pequeno\" x=\"" << kRotulo << "\" y=\"12\">0</text>\n";
    out << "</svg>\n";
    // What the fills mean, in words beside each kind drawn, so that grey paper reads the same.
    const bool bCheio = std::any_of(linhas.begin(), linhas.end(),
                                    [](const CLinhaGrafico& l) { return l.cheio > 0; });
    const bool bVazio = std::any_of(linhas.begin(), linhas.end(), [](const CLinhaGrafico& l) {
        return !l.bSobra && (l.cheio < l.largura || l.bAbertaVazia);
    });
    const auto amostra = [&](const std::string& preenchimento, const char* pszTraco,
                             const char* pszTexto) {
        out << "<span><svg width=\"22\" height=\"11\" viewBox=\"0 0 22 11\"><rect x=\"0.5\" "
               "y=\"0.5\" width=\"21\" height=\"10\" fill=\""
            << preenchimento << "\" stroke=\"#333\"" << pszTraco << "/></svg> " << pszTexto
            << "</span>\n";
    };
    out << "<p class=\"legenda\">\n";
    if (bCheio)
        amostra("#2b5278", "", bForaDaNota ? "distribuído, fora da nota" : "cobrado");
    if (bVazio)
        amostra("#fff", "", "largura da banda não usada no mês");
    if (f.sobra != 0)
        amostra("url(#" + id + ")", " stroke-dasharray=\"4 2\"",
                "medido além da última banda: não cobrado");
    out << "<span>- - - a quantidade medida no mês</span>\n</p>\n";
}

void Faixas(std::ostringstream& out, const CResultado& r) {
    out << "<h2>Serviços medidos <small>— quantidades do mês distribuídas pelas bandas de cada "
           "faixa</small></h2>\n";
    if (r.distribuicao.empty()) {
        out << "<p>O contrato não tem faixas: nada a cobrar por medição.</p>\n";
        return;
    }
    for (std::size_t i = 0; i < r.distribuicao.size(); ++i) {
        const CFaixaDistribuida& f = r.distribuicao[i];
        out << "<div class=\"faixa\">\n<h3>Faixa " << f.codigo;
        if (!f.descricao.empty())
            out << " · " << Html8(f.descricao);
        out << " · serviço " << f.servico << "</h3>\n";
        bool bFora = f.servico == 0;
        for (INT_PTR n = 0; bFora && n < r.servicos.GetSize(); ++n)
            bFora = r.servicos[n].Servico != 0;
        Grafico(out, f, i, bFora);
        // The service's condensed line, after its last range.
        const bool bUltima = std::none_of(
            r.distribuicao.begin() + static_cast<std::ptrdiff_t>(i) + 1, r.distribuicao.end(),
            [&](const CFaixaDistribuida& o) { return o.servico == f.servico; });
        if (!bUltima)
            continue;
        if (bFora) {
            out << "<p class=\"faturado\"><strong>Fora da nota:</strong> as linhas do serviço 0 "
                   "antes de qualquer outro serviço, R$ "
                << Centavos(r.foraDaNota) << ", não abrem linha faturada.</p>\n</div>\n";
            continue;
        }
        if (r.bCondensacaoRecusada) {
            out << "<p class=\"faturado\">Não faturado: há mais linhas de serviço que faixas no "
                   "contrato, e a condensação recusa (erro de índice do array).</p>\n</div>\n";
            continue;
        }
        for (INT_PTR n = 0; n < r.servicos.GetSize(); ++n) {
            const CItemCalculoFaixaMedicao& s = r.servicos[n];
            if (s.Servico != f.servico)
                continue;
            const CServicoFaturado& fat = r.faturados[static_cast<std::size_t>(n)];
            out << "<p class=\"faturado\"><strong>Faturado:</strong> "
                << Numero(s.Quantidade.int64, 4) << " ao preço médio ponderado de "
                << Numero(s.Valor.int64, 4) << " = <strong>R$ " << Centavos(fat.valor)
                << "</strong></p>\n";
            const CExato diferenca = fat.valor - fat.somaBandas;
            if (fat.bRepetido)
                out << "<p class=\"observacao\">De novo, com o total do serviço: a condensação "
                       "abre uma linha a cada troca de serviço, e cada linha leva o total "
                       "inteiro.</p>\n";
            else if (!diferenca.Zero())
                out << "<p class=\"observacao\">A soma das bandas dá " << Centavos(fat.somaBandas)
                    << "; o valor faturado difere em " << Centavos(diferenca)
                    << " porque o preço médio é guardado com quatro casas decimais.</p>\n";
        }
        out << "</div>\n";
    }
}

// ---- The invoice -----------------------------------------------------------------------------

void Nota(std::ostringstream& out, const CResultado& r) {
    const auto linha = [&](const char* pszClasse, const char* pszRotulo, const std::string& v) {
        out << "<tr" << pszClasse << "><td>" << pszRotulo << "</td><td class=\"n\">" << v
            << "</td></tr>\n";
    };
    out << "<h2>Nota</h2>\n<div class=\"nota\">\n<table>\n";
    linha("", "Serviços por tempo", Reais(r.notaApontamentos));
    linha("", "Serviços medidos", Reais(r.notaFaixas));
    linha("", "Valor bruto", Reais(r.notaBruto));
    linha("", "Desconto", Reais(-r.notaDesconto));
    linha(" class=\"total\"", "Total da nota (R$)", Reais(r.notaTotal));
    out << "</table>\n<div class=\"lado\">\n<p><strong>Por extenso:</strong> "
        << Html(r.notaPorExtenso) << ".</p>\n<p><strong>Apontamentos listados na nota:</strong> "
        << (r.codigos.IsEmpty() ? std::string("nenhum") : Html8(r.codigos.str()))
        << ".</p>\n</div>\n</div>\n";
}

// Without an invoice: plainly not one, and why, with nothing shown as billed.
void SemNota(std::ostringstream& out, const CResultado& r) {
    out << "<section class=\"aviso\">\n<h2>Este extrato não é uma nota</h2>\n"
        << "<p>Nada deste mês foi faturado: o extrato não traz linhas cobradas nem total.</p>\n"
        << "<ul>\n";
    const auto calculo = [&](bool bFeito, HRESULT hr, const char* pszNome,
                             std::initializer_list<std::pair<const CPasso*, const char*>> passos) {
        out << "<li><strong>" << pszNome << ":</strong> ";
        if (!bFeito) {
            out << "não feito (só um dos cálculos foi pedido).</li>\n";
            return;
        }
        if (SUCCEEDED(hr)) {
            out << "concluído (" << Html(NomeDoStatus(hr)) << ").</li>\n";
            return;
        }
        // The step that failed says which call stopped it, with the status by name.
        std::string porque = "o status " + NomeDoStatus(hr);
        for (const auto& [p, pszPasso] : passos)
            if (p->bAlcancado && FAILED(p->hr)) {
                porque = TextoDaFalha(*p, pszPasso);
                break;
            }
        out << "falhou: " << Html(porque) << ".</li>\n";
    };
    calculo(r.bApontamentos, r.hrApontamentos, "Cálculo por tempo",
            {{&r.inicio, "Inicializa"},
             {&r.calculo, "FazCalculoApontamentos"},
             {&r.total, "GetValorApontamentos"},
             {&r.codigosNota, "GetCodigosApontamentos"}});
    calculo(r.bFaixas, r.hrFaixas, "Cálculo por faixas de medição",
            {{&r.leContrato, "LeContrato"}, {&r.calculoFaixas, "CalculaItens"}});
    out << "</ul>\n";
    if (!r.avisos.empty()) {
        out << "<p><strong>Um valor do mês não cabe no tipo monetário</strong> (" << kAlcanceDaMoeda
            << "); o que depende dele não vale:</p>\n<ul>\n";
        for (const CAviso& a : r.avisos)
            out << "<li>" << Html(Maiuscula(TextoDoAviso(a))) << ".</li>\n";
        out << "</ul>\n";
    }
    out << "</section>\n";
}

} // namespace

std::string ParaExtrato(const CResultado& r) {
    std::ostringstream out;
    out << "<!DOCTYPE html>\n<html lang=\"pt-BR\">\n<head>\n<meta charset=\"utf-8\">\n"
        << "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        << "<title>Extrato do faturamento — contrato " << Html(r.codigoContrato) << " — "
        << Html(Mes(r.mes)) << "</title>\n<style>" << kEstilo << "</style>\n</head>\n<body>\n";
    Cabeca(out, r);
    if (r.bNota) {
        Apontamentos(out, r);
        Faixas(out, r);
        Nota(out, r);
    } else {
        SemNota(out, r);
    }
    out << "<p class=\"rodape\">"
        << (r.bNota ? "Valores em reais. Quantidades e preços com as casas decimais do contrato; "
                      "cada linha com o motivo de estar ali. "
                    : "")
        << "Extrato gerado pelo tqcalc em " << Html(r.data.Formata().str())
        << ".</p>\n</body>\n</html>\n";
    return out.str();
}

} // namespace tq::calc
