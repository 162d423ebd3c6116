#include "tools/tqcalc/Simulacao.h"

#include "foundation/GeCurrencyEx.h"
#include "servers/amostra/CenarioAmostra.h"
#include "tqlibex/NomesHResult.h"

#include <cstdio>
#include <map>
#include <set>
#include <sstream>

namespace tq::calc {

using json = nlohmann::ordered_json;
using namespace tq::amostra;

namespace {

constexpr USHORT kConexaoNumero = 0;
const char* const kConexaoTexto = "tqcalc";

std::string Formata(const char* formato, ...) TQ_PRINTF_FORMAT(1, 2);
std::string Formata(const char* formato, ...) {
    va_list args;
    va_start(args, formato);
    CTQString s;
    s.FormatV(formato, args);
    va_end(args);
    return s.str();
}

std::string Moeda(tagCY cy, int nDecimais = 4) {
    return Brasileiro(cy.int64, nDecimais);
}

// The contract's ranges, as the contract server has them.
HRESULT LeContratoDoServidor(ULONG pontContr, CRegContratoPs& contrato) {
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

std::string NomeDoStatus(HRESULT hr) {
    const std::string nome = GetNomeHResult(hr).str();
    const std::string descricao = GetDescricaoHResult(hr).str();
    std::string texto = Status(hr);
    if (!nome.empty())
        texto += " " + nome;
    texto += " (" + GetNomeFacility(hr).str();
    if (!GetNomeCodigoWin32(hr).IsEmpty())
        texto += ", " + GetNomeCodigoWin32(hr).str();
    texto += ")";
    if (!descricao.empty())
        texto += " " + descricao;
    return texto;
}

// ---- Why each line is there -----------------------------------------------------------------
// The explanations add as the calculations do: the time calculation's totals in plain 64-bit
// arithmetic that wraps, the ranges calculation's through the money value.

LONGLONG SomaComVolta(LONGLONG a, LONGLONG b) {
    return static_cast<LONGLONG>(static_cast<unsigned long long>(a) +
                                 static_cast<unsigned long long>(b));
}

tagCY SomaMoeda(tagCY a, tagCY b) {
    return (CGeCurrencyEx(a) + b).GetAsCurrency();
}

void ExplicaApontamentos(std::ostringstream& out, const CDadosAmostra& e) {
    std::map<ULONG, std::pair<LONGLONG, LONGLONG>> gravado; // service -> quantity, discount
    for (const Apontamento& a : e.apontamentos)
        for (const ItemApontamento& i : a.itens) {
            auto& g = gravado[i.servico];
            g.first = SomaComVolta(g.first, i.quantidade.int64);
            g.second = SomaComVolta(g.second, i.descTotal.int64);
        }
    std::set<ULONG> tratados;
    out << "Por que:\n";
    const std::vector<ItemContrato> vazio;
    const std::vector<ItemContrato>& itens = e.contratos.empty() ? vazio : e.contratos[0].itens;
    if (itens.empty())
        out << "  o contrato nao tem itens: nada a cobrar\n";
    for (std::size_t n = 0; n < itens.size(); ++n) {
        const ItemContrato& item = itens[n];
        out << Formata("  item %zu, servico %u \"%s\": ", n + 1,
                       static_cast<unsigned>(item.servico), item.texto.c_str());
        if (!tratados.insert(item.servico).second) {
            out << "o servico ja foi tratado por um item anterior; nada\n";
            continue;
        }
        const auto g = gravado.find(item.servico);
        if (g == gravado.end()) {
            out << "nenhum apontamento do servico no mes; nada\n";
            continue;
        }
        tagCY q, f;
        q.int64 = g->second.first;
        f.int64 = item.franquia;
        if (item.franquia < 0) {
            out << "franquia negativa (" << Moeda(f) << "); nada\n";
        } else if (item.franquia == 0) {
            out << "gravado " << Moeda(q) << " ao preco unitario\n";
        } else if (q.int64 > item.franquia) {
            tagCY exc;
            exc.int64 = SomaComVolta(q.int64, 0 - static_cast<unsigned long long>(item.franquia));
            out << "gravado " << Moeda(q) << "; a franquia de " << Moeda(f)
                << " cobrada inteira ao preco unitario e o excedente de " << Moeda(exc)
                << " ao preco excedente\n";
        } else {
            out << "gravado " << Moeda(q) << "; a franquia de " << Moeda(f)
                << " cobrada inteira, sem excedente\n";
        }
    }
    std::set<ULONG> porFaixa;
    for (const Faixa& f : e.faixas)
        porFaixa.insert(f.servico);
    for (const auto& [servico, g] : gravado)
        if (!tratados.count(servico)) {
            tagCY q;
            q.int64 = g.first;
            out << Formata("  servico %u: gravado ", static_cast<unsigned>(servico)) << Moeda(q)
                << " sem item no contrato; nada"
                << (porFaixa.count(servico) ? " aqui (medido, vai pelas faixas)" : "") << "\n";
        }
}

// The bands of one range walked as the calculation walks them, to say why each line is there.
void ExplicaFaixa(std::ostringstream& out, const Faixa& f, tagCY total) {
    tagCY resto = total;
    out << Formata("  faixa %u, servico %u: medido ", static_cast<unsigned>(f.codigo),
                   static_cast<unsigned>(f.servico))
        << Moeda(resto) << " no mes\n";
    for (std::size_t b = 0; b < f.bandas.size(); ++b) {
        const Banda& banda = f.bandas[b];
        if (resto.int64 == 0) {
            out << "    nada mais a distribuir\n";
            return;
        }
        if (banda.superior == 0) {
            out << Formata("    banda %ld em diante (aberta): leva o resto, ",
                           static_cast<long>(banda.inferior))
                << Moeda(resto) << "\n";
            return;
        }
        const tagCY largura =
            CCalculoFaixaMedicao::CapacidadeDaBanda(banda.inferior, banda.superior);
        out << Formata("    banda %ld a %ld, largura ", static_cast<long>(banda.inferior),
                       static_cast<long>(banda.superior))
            << Moeda(largura) << ": ";
        if (resto.int64 < largura.int64) {
            out << "cabe o resto, " << Moeda(resto) << "\n";
            return;
        }
        out << "cheia\n";
        resto = (CGeCurrencyEx(resto) - largura).GetAsCurrency();
    }
    if (resto.int64 != 0)
        out << "    sobra " << Moeda(resto) << " alem da ultima banda: nao cobrada\n";
}

} // namespace

std::string Status(HRESULT hr) {
    char texto[16];
    std::snprintf(texto, sizeof texto, "0x%08X", static_cast<unsigned>(hr));
    return texto;
}

std::string Quantia(tagCY cy, int nDecimais) {
    return CGeCurrencyEx::TextoDecimal(cy.int64, nDecimais).str();
}

std::string Brasileiro(LONGLONG bruto, int nDecimais) {
    const std::string t = CGeCurrencyEx::TextoDecimal(bruto, nDecimais).str();
    const std::size_t inicio = t[0] == '-' ? 1 : 0, ponto = t.find('.');
    const std::string inteiros =
        t.substr(inicio, ponto == std::string::npos ? std::string::npos : ponto - inicio);
    std::string r = t.substr(0, inicio);
    for (std::size_t i = 0; i < inteiros.size(); ++i) {
        if (i && (inteiros.size() - i) % 3 == 0)
            r += '.';
        r += inteiros[i];
    }
    if (ponto != std::string::npos) {
        r += ',';
        r.append(t, ponto + 1);
    }
    return r;
}

json LinhasApontamentos(const CCalculoApontamentos::CArrayCalculados& linhas) {
    json v = json::array();
    for (const REG_APONTAMENTO_CALCULADO& l : linhas)
        v.push_back({{"servico", l.servico},
                     {"quantidade", Quantia(l.quantidade)},
                     {"precoUnitario", Quantia(l.precoUnitario, 8)},
                     {"valor", Quantia(l.valor)},
                     {"descTotal", Quantia(l.descTotal)},
                     {"descricao", TextoDoCampo(l.descricao, sizeof l.descricao).str()}});
    return v;
}

json ItensFaixa(const CArrayItensFaixa& itens) {
    json v = json::array();
    for (const CItemCalculoFaixaMedicao& i : itens)
        v.push_back({{"servico", i.Servico},
                     {"quantidade", Quantia(i.Quantidade)},
                     {"valor", Quantia(i.Valor)}});
    return v;
}

void Calcula(ULONG pontContr, CTQMa mes, CResultado& r) {
    if (r.bApontamentos) {
        CCalculoApontamentos calculo(kConexaoTexto, kConexaoNumero, 0);
        try {
            calculo.Inicializa();
        } catch (long hr) {
            r.hrApontamentos = static_cast<HRESULT>(hr);
        }
        if (calculo.IsInicializado()) {
            r.hrApontamentos = calculo.FazCalculoApontamentos(pontContr, mes, r.linhas);
            if (SUCCEEDED(r.hrApontamentos))
                r.hrApontamentos =
                    calculo.GetValorApontamentos(pontContr, mes, r.valor, r.desconto);
            if (SUCCEEDED(r.hrApontamentos))
                r.hrApontamentos = calculo.GetCodigosApontamentos(pontContr, mes, r.codigos);
        }
    }
    if (r.bFaixas) {
        CRegContratoPs contrato;
        r.hrFaixas = LeContratoDoServidor(pontContr, contrato);
        if (FAILED(r.hrFaixas))
            return;
        CCalculoFaixaMedicao calculo(kConexaoTexto, kConexaoNumero, 0);
        calculo.SetContrato(contrato);
        r.hrFaixas = calculo.CalculaItens(mes);
        r.itens.Copy(calculo.GetItens());
        try {
            calculo.GetServicosFaturamento(r.servicos);
        } catch (const std::invalid_argument&) {
            r.servicos.RemoveAll(); // more service lines than ranges: none condensed
        }
        // The last calculation's bands are the owner's to free; this one is done with them.
        for (tagREG_FAIXA_PS& faixa : calculo.GetFaixas())
            LiberaFaixa(faixa);
    }
}

json ParaJson(const CResultado& r) {
    json j = json::object();
    if (r.bApontamentos)
        j["apontamentos"] = {{"status", Status(r.hrApontamentos)},
                             {"linhas", LinhasApontamentos(r.linhas)},
                             {"valor", Quantia(r.valor)},
                             {"desconto", Quantia(r.desconto)},
                             {"codigos", r.codigos.str()}};
    if (r.bFaixas)
        j["faixas"] = {{"status", Status(r.hrFaixas)},
                       {"itens", ItensFaixa(r.itens)},
                       {"servicos", ItensFaixa(r.servicos)}};
    return j;
}

std::string ParaTexto(const CResultado& r, const CDadosAmostra& e, ULONG pontContr, CTQMa mes) {
    std::ostringstream out;
    out << "Contrato " << (e.contratos.empty() ? std::string("?") : e.contratos[0].codigo)
        << " (numero interno " << pontContr << "), mes " << mes.Formata().str() << "\n";
    if (r.bApontamentos) {
        out << "\n== Apontamentos (calculo por tempo) ==\nstatus " << NomeDoStatus(r.hrApontamentos)
            << "\n";
        out << Formata("%8s %14s %16s %14s %10s  %s\n", "servico", "quantidade", "preco unitario",
                       "valor", "desconto", "descricao");
        for (const REG_APONTAMENTO_CALCULADO& l : r.linhas) {
            out << Formata("%8u %14s %16s %14s %10s  %s\n", static_cast<unsigned>(l.servico),
                           Moeda(l.quantidade).c_str(), Moeda(l.precoUnitario, 8).c_str(),
                           CGeCurrencyEx(l.valor, 2).GetFormatado().GetString(),
                           Moeda(l.descTotal).c_str(),
                           TextoDoCampo(l.descricao, sizeof l.descricao).GetString());
            // The line's value shared out over the item's classifications.
            for (ULONG i = 0; i < l.itemContrato.qtdClassificacoes; ++i) {
                const _REG_CLASSIFICACAO_GE_PS& c = l.itemContrato.classificacoes[i];
                out << Formata("%10s classificacao %u %s: ", "", static_cast<unsigned>(c.codigo),
                               c.descricao ? c.descricao : "")
                    << CGeCurrencyEx(c.valor, 2).GetFormatado().str() << "\n";
            }
        }
        ExplicaApontamentos(out, e);
        out << "Total: valor " << CGeCurrencyEx(r.valor, 2).GetFormatado().str() << ", desconto "
            << Moeda(r.desconto) << "\n";
        out << "Apontamentos listados na nota: "
            << (r.codigos.IsEmpty() ? std::string("nenhum") : r.codigos.str()) << "\n";
    }
    if (r.bFaixas) {
        out << "\n== Faixas de medicao ==\nstatus " << NomeDoStatus(r.hrFaixas) << "\n";
        out << Formata("%8s %14s %14s\n", "servico", "quantidade", "preco");
        for (const CItemCalculoFaixaMedicao& i : r.itens)
            out << Formata("%8u %14s %14s\n", static_cast<unsigned>(i.Servico),
                           Moeda(i.Quantidade).c_str(), Moeda(i.Valor).c_str());
        out << "Por que:\n";
        std::map<ULONG, tagCY> medido;
        for (const Apontamento& a : e.apontamentos)
            for (const ItemApontamento& i : a.itens)
                medido[i.servico] = SomaMoeda(medido[i.servico], i.quantidade);
        if (!e.contratos.empty())
            for (const FaixaContrato& fc : e.contratos[0].faixas) {
                const Faixa* f = nullptr;
                for (const Faixa& d : e.faixas)
                    if (d.codigo == fc.codigo)
                        f = &d;
                if (!f) {
                    out << Formata("  faixa %u: definicao nao lida\n",
                                   static_cast<unsigned>(fc.codigo));
                    continue;
                }
                ExplicaFaixa(out, *f, medido[f->servico]);
            }
        out << "Servicos faturados (preco medio ponderado):\n";
        for (const CItemCalculoFaixaMedicao& s : r.servicos)
            out << Formata("%8u %14s %14s\n", static_cast<unsigned>(s.Servico),
                           Moeda(s.Quantidade).c_str(), Moeda(s.Valor).c_str());
    }
    return out.str();
}

CDadosAmostra Filtra(const CDadosAmostra& dados, ULONG pontContr, CTQMa mes) {
    CDadosAmostra f;
    for (const Contrato& c : dados.contratos)
        if (c.ponteiro == pontContr)
            f.contratos.push_back(c);
    for (const Apontamento& a : dados.apontamentos)
        if (a.pontContr == pontContr && a.ma == mes.GetCompactado())
            f.apontamentos.push_back(a);
    f.faixas = dados.faixas;
    return f;
}

HRESULT CServidores::Abre(std::string& relatorio) {
    const _REG_CONEXAO_PS conexao = RegistroDeConexao(kConexaoTexto, kConexaoNumero, 0);
    HRESULT hr = contratos.CoCreateInstance(__uuidof(TQGE_Contratos));
    if (SUCCEEDED(hr))
        hr = faixa.CoCreateInstance(__uuidof(TQGE_Faixa));
    if (SUCCEEDED(hr))
        hr = apontamentos.CoCreateInstance(__uuidof(TQGE_Apontamentos));
    const auto relata = [&relatorio](const char* nome, const CTQComPtrBase& p, REFCLSID clsid) {
        const CTQString servidor = NomeDoServidorRemoto(clsid);
        relatorio += Formata("%s: %s%s\n", nome,
                             servidor.IsEmpty() ? "servidor local"
                                                : ("servidor remoto " + servidor.str()).c_str(),
                             p.TemKeepAlive() ? ", keep-alive ativo" : "");
    };
    relata("ITQGE_Contratos", contratos, __uuidof(TQGE_Contratos));
    relata("ITQGE_Faixa", faixa, __uuidof(TQGE_Faixa));
    relata("ITQGE_Apontamentos", apontamentos, __uuidof(TQGE_Apontamentos));
    if (SUCCEEDED(hr))
        hr = contratos->Inicializa(conexao);
    if (SUCCEEDED(hr))
        hr = faixa->Inicializa(conexao);
    if (SUCCEEDED(hr))
        hr = apontamentos->Inicializa(conexao);
    return hr;
}

HRESULT LeEntradas(CServidores& servidores, ULONG pontContr, CTQMa mes, CDadosAmostra& dados) {
    ITQGE_Contratos* pContratos = servidores.contratos.GetInterface();
    ITQGE_Faixa* pFaixa = servidores.faixa.GetInterface();
    ITQGE_Apontamentos* pApontamentos = servidores.apontamentos.GetInterface();
    if (!pContratos || !pFaixa || !pApontamentos)
        return E_POINTER;
    HRESULT hr;

    // The contract and its ranges.
    _REG_CONTRATO_PS contrato{};
    hr = pContratos->LeContrato(pontContr, &contrato);
    if (FAILED(hr))
        return hr;
    if (!ContratoChegou(contrato)) {
        LiberaContrato(contrato);
        return kDadosRuins;
    }
    Contrato c;
    c.codigo = TextoDoCampo(contrato.codigo, sizeof contrato.codigo).str();
    c.ponteiro = contrato.pontContr;
    const auto classificacoes = [](const _REG_CLASSIFICACAO_GE_PS* p, ULONG n) {
        std::vector<Classificacao> v;
        for (ULONG i = 0; p && i < n; ++i)
            v.push_back({p[i].codigo, p[i].percentual.int64, p[i].descricao ? p[i].descricao : ""});
        return v;
    };
    for (ULONG i = 0; contrato.faixas && i < contrato.qtdFaixas; ++i)
        c.faixas.push_back(
            {contrato.faixas[i].codigoFaixa, classificacoes(contrato.faixas[i].classificacoes,
                                                            contrato.faixas[i].qtdClassificacoes)});
    LiberaContrato(contrato);

    // Its items.
    ULONG n = 0;
    _REG_ITEM_CONTRATO_PS* pItens = nullptr;
    hr = pContratos->LeItens(pontContr, &n, &pItens);
    if (FAILED(hr))
        return hr;
    if (!ItensContratoChegaram(pItens, n)) {
        LiberaItensContrato(pItens, n);
        return kDadosRuins;
    }
    for (ULONG i = 0; pItens && i < n; ++i)
        c.itens.push_back({pItens[i].servico, pItens[i].precoUnitario.int64,
                           pItens[i].precoExcedente.int64, pItens[i].franquia.int64,
                           pItens[i].texto ? pItens[i].texto : "",
                           classificacoes(pItens[i].classificacoes, pItens[i].qtdClassificacoes)});
    LiberaItensContrato(pItens, n);

    // Its range definitions.
    for (const FaixaContrato& fc : c.faixas) {
        REG_FAIXA_PS reg{};
        hr = pFaixa->LeFaixa(fc.codigo, &reg);
        if (FAILED(hr))
            return hr;
        if (!ArrayChegou(reg.bandas, reg.qtdBandas)) {
            LiberaFaixa(reg);
            return kDadosRuins;
        }
        Faixa f{
            reg.codigo, reg.servico, TextoDoCampo(reg.descricao, sizeof reg.descricao).str(), {}};
        for (ULONG b = 0; reg.bandas && b < reg.qtdBandas; ++b)
            f.bandas.push_back(
                {reg.bandas[b].inferior, reg.bandas[b].superior, reg.bandas[b].preco.int64});
        LiberaFaixa(reg);
        dados.faixas.push_back(std::move(f));
    }
    dados.contratos.push_back(std::move(c));

    // The month's records.
    _REG_FILTRO_APONTAMENTOS_PS filtro{};
    filtro.pontContr = pontContr;
    filtro.maInicial = filtro.maFinal = mes.GetCompactado();
    ULONG nPosicoes = 0, nRegistros = 0;
    _REG_PONTEIRO_APONTAMENTO_PS* pPosicoes = nullptr;
    _REG_APONTAMENTO_PS* pRegistros = nullptr;
    hr = pApontamentos->LePosicoes(filtro, &nPosicoes, &pPosicoes);
    if (SUCCEEDED(hr) && !ArrayChegou(pPosicoes, nPosicoes))
        hr = kDadosRuins;
    if (SUCCEEDED(hr))
        hr = pApontamentos->LeApontamentos(nPosicoes, pPosicoes, &nRegistros, &pRegistros);
    CoTaskMemFree(pPosicoes);
    if (FAILED(hr))
        return hr;
    if (!ApontamentosChegaram(pRegistros, nRegistros)) {
        LiberaApontamentos(pRegistros, nRegistros);
        return kDadosRuins;
    }
    for (ULONG i = 0; pRegistros && i < nRegistros; ++i) {
        const _REG_APONTAMENTO_PS& r = pRegistros[i];
        Apontamento a;
        a.ma = r.ma;
        a.ponteiro = r.ponteiro;
        a.pontContr = r.pontContr;
        a.codigo = TextoDoCampo(r.apontamento, sizeof r.apontamento).str();
        a.listarNF = r.listarNF;
        a.motorista = r.motorista;
        a.placa = r.placa;
        a.municipio = r.municipio;
        a.residuos = TextoDoCampo(r.residuos, sizeof r.residuos).str();
        if (r.itens)
            a.itens.assign(r.itens, r.itens + r.qtdItens);
        dados.apontamentos.push_back(std::move(a));
    }
    LiberaApontamentos(pRegistros, nRegistros);
    return S_OK;
}

} // namespace tq::calc
