// The time calculation against the sample server: each case of tests/data/apontamentos.json is a
// scenario and the lines, totals and codes it must give; the task allocator's spy accounts for
// every block, the server's and the lines'.
#include "followup/CalculoApontamentos.h"

#include "calculos/AmbienteCom.h"
#include "servers/amostra/CenarioAmostra.h"
#include "servers/amostra/ServidorAmostra.h"
#include "support/Tabela.h"
#include "tools/tqcalc/Simulacao.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <random>
#include <thread>

using nlohmann::json;
using CalculoApontamentos = tq::teste::AmbienteCom;

namespace {

// The scenario's lines, totals and codes, as tqcalc shows them, and each line's share-out.
json Calcula(CCalculoApontamentos& calculo, ULONG contrato, CTQMa ma) {
    tq::calc::CResultado r;
    r.bFaixas = false;
    r.valor.int64 = r.desconto.int64 = 1; // a failure must clear them
    r.hrApontamentos = calculo.FazCalculoApontamentos(contrato, ma, r.linhas);
    EXPECT_EQ(calculo.GetValorApontamentos(contrato, ma, r.valor, r.desconto), r.hrApontamentos);
    calculo.GetCodigosApontamentos(contrato, ma, r.codigos);
    json j = json::parse(tq::calc::ParaJson(r)["apontamentos"].dump());
    j["rateio"] = json::array();
    for (const REG_APONTAMENTO_CALCULADO& l : r.linhas) {
        json& partes = j["rateio"].emplace_back(json::array());
        for (ULONG i = 0; i < l.itemContrato.qtdClassificacoes; ++i) {
            const _REG_CLASSIFICACAO_GE_PS& c = l.itemContrato.classificacoes[i];
            EXPECT_EQ(std::string(c.descricao), "Classe " + std::to_string(c.codigo));
            partes.push_back(std::to_string(c.codigo) + ":" + tq::calc::Quantia(c.valor));
        }
    }
    return j;
}

} // namespace

TEST_F(CalculoApontamentos, Casos) {
    std::ifstream in(tq::teste::CaminhoDosDados("apontamentos.json"));
    for (const json& caso : json::parse(in)) {
        SCOPED_TRACE(caso["caso"].get<std::string>());
        tq::amostra::CServidorAmostra servidor(tq::amostra::LeCenario(caso["cenario"].dump()));
        ASSERT_EQ(servidor.Registra(), S_OK);
        CCalculoApontamentos calculo;
        calculo.Inicializa();
        CTQMa ma;
        ASSERT_TRUE(CTQMa::Le(caso["mes"].get<std::string>().c_str(), ma));
        const json obtido = Calcula(calculo, 1234, ma);
        for (const auto& [chave, valor] : caso["esperado"].items()) // only the keys a case states
            EXPECT_EQ(obtido[chave], valor) << chave << " of " << obtido.dump(1);
    }
}

// The item cache: read once per calculation, emptied after it; items given with SetItens are not
// read; a failure after the items were read keeps them, so the retry does not read them again.
TEST_F(CalculoApontamentos, CacheDeItens) {
    // One contract, one service with a franchise and an excess, one month of two records.
    tq::amostra::CDadosAmostra dados =
        tq::amostra::LeArquivoCenario(tq::teste::CaminhoDosDados("cache-itens.json"));
    dados.falhas.push_back({"ITQGE_Apontamentos", "LePosicoes", 2, E_FAIL});
    tq::amostra::CServidorAmostra servidor(dados);
    ASSERT_EQ(servidor.Registra(), S_OK);
    CCalculoApontamentos calculo;
    calculo.Inicializa();
    const auto lidos = [&] { return servidor.Estado().Chamadas("ITQGE_Contratos", "LeItens"); };
    CCalculoApontamentos::CArrayCalculados linhas;
    EXPECT_EQ(calculo.FazCalculoApontamentos(1234, CTQMa(3, 2024), linhas), S_OK);
    CCalculoApontamentos::LiberaApontamentosCalculados(linhas);
    EXPECT_EQ(calculo.FazCalculoApontamentos(1234, CTQMa(3, 2024), linhas), E_FAIL);
    EXPECT_EQ(lidos(), 2) << "the cache was emptied after the first calculation";
    EXPECT_EQ(calculo.FazCalculoApontamentos(1234, CTQMa(3, 2024), linhas), S_OK);
    EXPECT_EQ(lidos(), 2) << "the retry found the items it had read";
    CCalculoApontamentos::LiberaApontamentosCalculados(linhas);

    CCalculoApontamentos::CArrayItensContrato itens;
    _REG_ITEM_CONTRATO_PS reg{};
    reg.servico = 10;
    reg.precoUnitario.int64 = 500000000; // 5.00000000
    itens.Add(CRegItemContrato(reg));
    calculo.SetItens(itens);
    EXPECT_EQ(calculo.FazCalculoApontamentos(1234, CTQMa(3, 2024), linhas), S_OK);
    EXPECT_EQ(json::parse(tq::calc::LinhasApontamentos(linhas).dump())[0]["valor"], "17.5000");
    EXPECT_EQ(lidos(), 2) << "items given with SetItens are not read";
    CCalculoApontamentos::LiberaApontamentosCalculados(linhas);
}

// Without a server to open, Inicializa throws (every server fault is in the fault sweep).
TEST_F(CalculoApontamentos, SemServidorInicializaLanca) {
    CCalculoApontamentos semServidor;
    EXPECT_THROW(semServidor.Inicializa(), long) << "no class registered";
}

// What the sample server hands over is its data set, whatever the month's size: every record's
// fields (a code that fills its field arrives with no terminator), its item count, its items
// byte for byte in a block of exactly their size; then everything freed (the fixture's spy).
TEST_F(CalculoApontamentos, EntregaDoServidor) {
    for (const tq::teste::Linha& l : tq::teste::LeTabela("entregas-amostra.tsv")) {
        SCOPED_TRACE(l.Origem());
        std::mt19937 gerador(static_cast<unsigned>(l.I64("registros")));
        tq::amostra::CDadosAmostra dados;
        const CTQMa ma(3, 2024);
        for (long long r = 0; r < l.I64("registros"); ++r) {
            tq::amostra::Apontamento a;
            a.ma = ma.GetCompactado();
            a.ponteiro = static_cast<ULONG>(r + 1);
            a.pontContr = 1234;
            a.codigo = r % 7 ? std::to_string(gerador()) : std::string(56, 'C');
            a.residuos = "Classe " + std::to_string(gerador() % 3);
            a.listarNF = static_cast<BYTE>(gerador() % 2);
            a.motorista = gerador();
            a.placa = gerador();
            a.municipio = gerador();
            a.itens.resize(static_cast<std::size_t>(l.I64("itens")));
            for (_REG_ITEM_APONTAMENTO_PS& item : a.itens) {
                auto* bytes = reinterpret_cast<unsigned char*>(&item);
                for (std::size_t b = 0; b < sizeof item; ++b)
                    bytes[b] = static_cast<unsigned char>(gerador());
            }
            dados.apontamentos.push_back(std::move(a));
        }
        tq::amostra::CServidorAmostra servidor(dados);
        ASSERT_EQ(servidor.Registra(), S_OK);
        CTQComPtr<ITQGE_Apontamentos> p;
        ASSERT_EQ(p.CoCreateInstance(__uuidof(TQGE_Apontamentos)), S_OK);
        _REG_FILTRO_APONTAMENTOS_PS filtro{};
        ULONG nAntes = 0;
        _REG_PONTEIRO_APONTAMENTO_PS* pAntes = nullptr;
        ASSERT_EQ(p->LePosicoes(filtro, &nAntes, &pAntes), E_UNEXPECTED) << "before Inicializa";
        ASSERT_EQ(p->Inicializa(_REG_CONEXAO_PS{}), S_OK);
        filtro.pontContr = 1234;
        filtro.maInicial = filtro.maFinal = ma.GetCompactado();
        ULONG n = 0;
        _REG_APONTAMENTO_PS* pRegistros = nullptr;
        if (l.Texto("operacao") == "Busca") {
            _REG_CONSULTA_PS consulta{};
            ASSERT_EQ(p->AbreConsulta(filtro, &consulta), S_OK);
            ASSERT_EQ(p->Busca(consulta, &n, &pRegistros), S_OK);
            CoTaskMemFree(consulta.buffer);
        } else {
            ULONG nPosicoes = 0;
            _REG_PONTEIRO_APONTAMENTO_PS* pPosicoes = nullptr;
            ASSERT_EQ(p->LePosicoes(filtro, &nPosicoes, &pPosicoes), S_OK);
            ASSERT_EQ(p->LeApontamentos(nPosicoes, pPosicoes, &n, &pRegistros), S_OK);
            CoTaskMemFree(pPosicoes);
        }
        ASSERT_EQ(n, dados.apontamentos.size());
        ASSERT_TRUE(tq::ApontamentosChegaram(pRegistros, n));
        for (ULONG i = 0; i < n; ++i) {
            const tq::amostra::Apontamento& a = dados.apontamentos[i];
            const _REG_APONTAMENTO_PS& r = pRegistros[i];
            ASSERT_EQ(std::string(r.apontamento, strnlen(r.apontamento, sizeof r.apontamento)),
                      a.codigo)
                << i;
            ASSERT_EQ(std::string(r.residuos), a.residuos) << i;
            ASSERT_TRUE(r.ma == a.ma && r.ponteiro == a.ponteiro && r.pontContr == a.pontContr &&
                        r.listarNF == a.listarNF && r.motorista == a.motorista &&
                        r.placa == a.placa && r.municipio == a.municipio)
                << i;
            ASSERT_EQ(r.qtdItens, a.itens.size()) << i;
            if (a.itens.empty()) {
                ASSERT_EQ(r.itens, nullptr) << i;
                continue;
            }
            ASSERT_EQ(tq::detail::TamanhoDoBlocoDeTarefa(r.itens),
                      a.itens.size() * sizeof(_REG_ITEM_APONTAMENTO_PS))
                << i;
            ASSERT_EQ(std::memcmp(r.itens, a.itens.data(),
                                  a.itens.size() * sizeof(_REG_ITEM_APONTAMENTO_PS)),
                      0)
                << i;
        }
        tq::LiberaApontamentos(pRegistros, n);
    }
}

// Large months asked for by two threads at once: the server's helper copies half of one answer
// and the other caller copies its own whole; each gets its month intact (under ThreadSanitizer
// too) and every block is freed (the fixture's spy).
TEST_F(CalculoApontamentos, MesesGrandesAoMesmoTempo) {
    tq::amostra::CDadosAmostra dados;
    const CTQMa ma(3, 2024);
    std::mt19937 gerador(11);
    for (ULONG r = 0; r < 16000; ++r) { // 9 MB: past the caches
        tq::amostra::Apontamento a;
        a.ma = ma.GetCompactado();
        a.ponteiro = r + 1;
        a.pontContr = 1234;
        a.itens.resize(10);
        for (_REG_ITEM_APONTAMENTO_PS& item : a.itens) {
            item.servico = gerador();
            item.quantidade.int64 = gerador();
        }
        dados.apontamentos.push_back(std::move(a));
    }
    tq::amostra::CServidorAmostra servidor(dados);
    ASSERT_EQ(servidor.Registra(), S_OK);
    const auto pede = [&] {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        CTQComPtr<ITQGE_Apontamentos> p;
        bool bInteiro = SUCCEEDED(p.CoCreateInstance(__uuidof(TQGE_Apontamentos))) &&
                        SUCCEEDED(p->Inicializa(_REG_CONEXAO_PS{}));
        _REG_FILTRO_APONTAMENTOS_PS filtro{};
        filtro.pontContr = 1234;
        filtro.maInicial = filtro.maFinal = ma.GetCompactado();
        for (int vez = 0; vez < 3 && bInteiro; ++vez) {
            _REG_CONSULTA_PS consulta{};
            ULONG n = 0;
            _REG_APONTAMENTO_PS* pRegistros = nullptr;
            bInteiro = SUCCEEDED(p->AbreConsulta(filtro, &consulta)) &&
                       SUCCEEDED(p->Busca(consulta, &n, &pRegistros)) &&
                       n == dados.apontamentos.size();
            CoTaskMemFree(consulta.buffer);
            for (ULONG i = 0; i < n && bInteiro; ++i)
                bInteiro = pRegistros[i].ponteiro == i + 1 &&
                           std::memcmp(pRegistros[i].itens, dados.apontamentos[i].itens.data(),
                                       10 * sizeof(_REG_ITEM_APONTAMENTO_PS)) == 0;
            tq::LiberaApontamentos(pRegistros, n);
        }
        p.Release();
        CoUninitialize();
        return bInteiro;
    };
    bool bOutro = false;
    std::thread outro([&] { bOutro = pede(); });
    const bool bEste = pede();
    outro.join();
    EXPECT_TRUE(bEste);
    EXPECT_TRUE(bOutro);
}

// A large month is read a slice at a time: the totals are the whole month's, and a slice the
// server refuses ends the calculation with its failure, no line and every block freed (the
// fixture's spy).
TEST_F(CalculoApontamentos, MesEmPartes) {
    constexpr ULONG kServicos = 40;
    for (const tq::teste::Linha& l : tq::teste::LeTabela("meses-em-partes.tsv")) {
        SCOPED_TRACE(l.Origem());
        const CTQMa ma(3, 2024);
        tq::amostra::CDadosAmostra dados;
        tq::amostra::Contrato contrato;
        contrato.codigo = "12340";
        contrato.ponteiro = 1234;
        for (ULONG s = 1; s <= kServicos; ++s) {
            tq::amostra::ItemContrato item;
            item.servico = s;
            item.precoUnitario = 100000000; // 1.00000000
            contrato.itens.push_back(item);
        }
        dados.contratos.push_back(contrato);
        std::mt19937 gerador(7);
        std::map<ULONG, long long> esperado;
        for (long long r = 0; r < l.I64("registros"); ++r) {
            tq::amostra::Apontamento a;
            a.ma = ma.GetCompactado();
            a.ponteiro = static_cast<ULONG>(r + 1);
            a.pontContr = 1234;
            a.itens.resize(static_cast<std::size_t>(1 + r % 3));
            for (_REG_ITEM_APONTAMENTO_PS& item : a.itens) {
                item.servico = 1 + gerador() % kServicos;
                item.quantidade.int64 = gerador() % 100000;
                esperado[item.servico] += item.quantidade.int64;
            }
            dados.apontamentos.push_back(std::move(a));
        }
        if (l.I64("falha_na_chamada"))
            dados.falhas.push_back({"ITQGE_Apontamentos", "LeApontamentos",
                                    static_cast<int>(l.I64("falha_na_chamada")), E_FAIL});
        tq::amostra::CServidorAmostra servidor(dados);
        ASSERT_EQ(servidor.Registra(), S_OK);
        CCalculoApontamentos calculo;
        calculo.Inicializa();
        CCalculoApontamentos::CArrayCalculados linhas;
        const HRESULT hr = calculo.FazCalculoApontamentos(1234, ma, linhas);
        EXPECT_EQ(servidor.Estado().Chamadas("ITQGE_Apontamentos", "LeApontamentos"),
                  l.I64("chamadas"));
        if (l.I64("falha_na_chamada")) {
            EXPECT_EQ(hr, E_FAIL);
            EXPECT_EQ(linhas.GetSize(), 0);
            continue;
        }
        ASSERT_EQ(hr, S_OK);
        ASSERT_EQ(static_cast<std::size_t>(linhas.GetSize()), esperado.size());
        for (INT_PTR i = 0; i < linhas.GetSize(); ++i) // one line per service, in the items' order
            EXPECT_EQ(linhas[i].quantidade.int64, esperado[linhas[i].servico]) << i;
        CCalculoApontamentos::LiberaApontamentosCalculados(linhas);
    }
}

// The month's totals per service in the order services first occur, and the index from service
// to position, month after month on one index: last month's services are gone from it.
TEST(TotalizaPorServico, OrdemSomasEIndice) {
    tq::detail::CMapaPorChave<int> indice;
    for (const tq::teste::Linha& l : tq::teste::LeTabela("totais-por-servico.tsv")) {
        std::vector<std::vector<_REG_ITEM_APONTAMENTO_PS>> itens;
        for (const std::string& r : tq::teste::Separa(l.Texto("registros"), '|')) {
            std::vector<_REG_ITEM_APONTAMENTO_PS>& v = itens.emplace_back();
            for (const std::string& t : tq::teste::Separa(r, ' ')) {
                if (t == "-")
                    continue;
                unsigned long long servico = 0;
                long long q = 0, d = 0;
                ASSERT_EQ(std::sscanf(t.c_str(), "%llu:%lld:%lld", &servico, &q, &d), 3) << t;
                _REG_ITEM_APONTAMENTO_PS& item = v.emplace_back(); // zeroed
                item.servico = static_cast<ULONG>(servico);
                item.quantidade.int64 = q;
                item.descTotal.int64 = d;
            }
        }
        CCalculoApontamentos::CArrayApontamentosPs registros;
        for (std::vector<_REG_ITEM_APONTAMENTO_PS>& v : itens) {
            _REG_APONTAMENTO_PS r{};
            r.qtdItens = static_cast<ULONG>(v.size());
            r.itens = v.empty() ? nullptr : v.data();
            registros.Add(r);
        }
        CCalculoApontamentos::CArrayTotais totais;
        CCalculoApontamentos::TotalizaPorServico(registros, totais, indice);
        std::string obtido;
        for (INT_PTR i = 0; i < totais.GetSize(); ++i) {
            const auto& t = totais[i];
            obtido += (i ? "," : "") + std::to_string(t.servico) + "=" +
                      std::to_string(t.quantidade.int64) + "/" + std::to_string(t.descTotal.int64);
            EXPECT_EQ(indice.Procura(t.servico) ? *indice.Procura(t.servico) : -1, i) << l.Origem();
        }
        EXPECT_EQ(obtido, l.Texto("totais")) << l.Origem();
        EXPECT_EQ(indice.Tamanho(), static_cast<std::size_t>(totais.GetSize())) << l.Origem();
    }
}
