// The month's billing run: the journal read back after a crash, the summary's rows, the run's own
// inputs and shares, the hand-written JSON against nlohmann's, and the run itself with several
// threads over one shared sample server (the tsan preset runs this program).
#include "tools/tqcalc/Lote.h"
#include "calculos/AmbienteCom.h"
#include "servers/amostra/CenarioAmostra.h"
#include "support/Tabela.h"
#include "tools/tqcalc/Diario.h"
#include "tools/tqcalc/EntradaLote.h"
#include "tools/tqcalc/Faces.h"
#include "tools/tqcalc/Formato.h"
#include "tools/tqcalc/GeraMes.h"
#include "tools/tqcalc/Resumo.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

namespace fs = std::filesystem;
using json = nlohmann::ordered_json;

namespace {

// A folder of the test's own, gone at its end.
class CPasta {
public:
    CPasta() {
        std::random_device r;
        m_caminho = fs::temp_directory_path() /
                    ("tqge_lote_" + std::to_string(r()) + "_" + std::to_string(r()));
        fs::create_directories(m_caminho);
    }
    ~CPasta() {
        std::error_code erro;
        fs::remove_all(m_caminho, erro);
    }
    std::string operator/(const std::string& nome) const { return (m_caminho / nome).string(); }

private:
    fs::path m_caminho;
};

void Grava(const std::string& caminho, const std::string& texto) {
    std::ofstream(caminho, std::ios::binary) << texto;
}

std::string Le(const std::string& caminho) {
    std::ifstream in(caminho, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

// The journal's entries, each once, by code.
std::map<std::string, std::string> Entradas(const std::string& notas) {
    std::map<std::string, std::string> m;
    for (const std::string& linha : tq::teste::Separa(Le(notas), '\n')) {
        const json e = json::parse(linha);
        EXPECT_TRUE(m.emplace(e["contrato"].get<std::string>(), linha).second)
            << "a contract twice in " << notas;
    }
    return m;
}

} // namespace

// ---- The journal ----------------------------------------------------------------------------

TEST(Diario, RecuperaOQueFoiGravadoInteiro) {
    for (const tq::teste::Linha& l : tq::teste::LeTabela("lote-diarios.tsv")) {
        CPasta pasta;
        const std::string notas = pasta / "notas.jsonl", conteudo = l.Texto("conteudo");
        Grava(notas, conteudo);
        std::size_t esperada = 1;
        tq::calc::CDiario diario;
        const tq::calc::CDiario::CRecuperacao r =
            diario.Abre(notas, [&](std::string_view linha, std::size_t numero) {
                EXPECT_EQ(numero, esperada++) << l.Origem() << ": lines in order, from 1";
                return linha.substr(0, 2) == "ok";
            });
        EXPECT_EQ(r.nLinhas, static_cast<std::size_t>(l.I64("mantidas"))) << l.Origem();
        EXPECT_EQ(r.nDescartadas, static_cast<std::size_t>(l.I64("descartadas"))) << l.Origem();
        EXPECT_EQ(r.nBytesDescartados, static_cast<std::uint64_t>(l.I64("bytes_descartados")))
            << l.Origem();
        // What is kept is what was there, up to the cut; what comes next follows it.
        const std::string mantido = conteudo.substr(0, conteudo.size() - r.nBytesDescartados);
        EXPECT_EQ(Le(notas), mantido) << l.Origem();
        diario.Acrescenta("ok-depois\n");
        diario.Sincroniza();
        diario.Fecha();
        EXPECT_EQ(Le(notas), mantido + "ok-depois\n") << l.Origem();
    }
}

TEST(Diario, ArquivoInteiroSubstituiOAnterior) {
    CPasta pasta;
    const std::string resumo = pasta / "resumo.csv";
    tq::calc::GravaArquivoInteiro(resumo, "antigo\n");
    tq::calc::GravaArquivoInteiro(resumo, "novo\n");
    EXPECT_EQ(Le(resumo), "novo\n");
    EXPECT_FALSE(fs::exists(resumo + ".tmp"));
}

// ---- The summary ----------------------------------------------------------------------------

TEST(Resumo, LinhaDaEntrada) {
    for (const tq::teste::Linha& l : tq::teste::LeTabela("lote-resumo.tsv")) {
        const std::string texto = l.Texto("entrada");
        const json e = json::parse(texto, nullptr, false);
        tq::calc::CLinhaResumo linha;
        std::string erro = "não é JSON";
        const bool bLida = !e.is_discarded() && tq::calc::LinhaDoResumo(e, linha, erro);
        if (l.Texto("erro").empty()) {
            EXPECT_TRUE(bLida) << l.Origem() << ": " << erro;
            EXPECT_EQ(linha.csv, l.Texto("linha")) << l.Origem();
        } else {
            EXPECT_FALSE(bLida) << l.Origem() << ": read as " << linha.csv;
            EXPECT_EQ(erro, l.Texto("erro")) << l.Origem();
        }
    }
}

TEST(Resumo, OrdemDeCodigoComoTextoEOsProblemas) {
    tq::calc::CResumo resumo;
    std::string erro;
    for (
        const char* e :
        {R"({"contrato":"9","totalNota":"1.00","avisos":[]})",
         R"({"contrato":"10","apontamentos":{"status":"0x800706BA"},"totalNota":null,"avisos":[]})",
         R"({"contrato":"1000","totalNota":null,"avisos":[{}]})",
         R"({"contrato":"100","totalNota":"-2.50","avisos":[]})"}) {
        tq::calc::CLinhaResumo l;
        ASSERT_TRUE(tq::calc::LinhaDoResumo(json::parse(e), l, erro)) << erro;
        resumo.Acrescenta(l);
    }
    EXPECT_EQ(resumo.Csv(), std::string(tq::calc::kCabecalhoResumo) +
                                "\n10;RPC_S_SERVER_UNAVAILABLE;;;\n100;S_OK;;;-2,50\n"
                                "1000;DISP_E_OVERFLOW;;;\n9;S_OK;;;1,00\n");
    using P = std::pair<std::string, std::string>;
    EXPECT_EQ(resumo.Problemas(),
              (std::vector<P>{{"10", "RPC_S_SERVER_UNAVAILABLE"}, {"1000", "DISP_E_OVERFLOW"}}));
    EXPECT_EQ(resumo.Falhas(), 1u);
    EXPECT_EQ(resumo.Estouros(), 1u);
    EXPECT_EQ(resumo.PrimeiroRepetido(), "");
    tq::calc::CLinhaResumo l;
    ASSERT_TRUE(tq::calc::LinhaDoResumo(
        json::parse(R"({"contrato":"100","totalNota":null,"avisos":[]})"), l, erro));
    resumo.Acrescenta(l);
    EXPECT_EQ(resumo.PrimeiroRepetido(), "100");
}

// ---- The run's inputs -------------------------------------------------------------------------

TEST(EntradaLote, ListaFaturadoEParte) {
    for (const tq::teste::Linha& l : tq::teste::LeTabela("lote-entradas.tsv")) {
        CPasta pasta;
        const std::string arquivo = pasta / "entrada.txt", tipo = l.Texto("tipo");
        const std::string mensagem = l.Texto("mensagem");
        Grava(arquivo, l.Texto("conteudo"));
        std::string lido;
        try {
            if (tipo == "lista") {
                for (const tq::calc::CContratoLote& c :
                     tq::calc::LeEntradaDeLista(arquivo).contratos)
                    lido += (lido.empty() ? "" : ",") + c.codigo;
            } else if (tipo == "faturado") {
                for (const auto& [codigo, total] : tq::calc::LeFaturado(arquivo))
                    lido += (lido.empty() ? "" : ",") + codigo + "=" + std::to_string(total);
            } else {
                tq::calc::CParte parte;
                if (!tq::calc::LeParte(l.Texto("conteudo"), parte))
                    throw tq::calc::CErroEntrada("inválida");
                lido = parte.Texto();
            }
            EXPECT_TRUE(mensagem.empty()) << l.Origem() << ": accepted as " << lido;
            EXPECT_EQ(lido, l.Texto("esperado")) << l.Origem();
        } catch (const tq::calc::CErroEntrada& e) {
            EXPECT_FALSE(mensagem.empty()) << l.Origem() << ": " << e.what();
            EXPECT_NE(std::string(e.what()).find(mensagem), std::string::npos)
                << l.Origem() << ": " << e.what();
        }
    }
}

TEST(EntradaLote, PartesDividemOMes) {
    for (const tq::teste::Linha& l : tq::teste::LeTabela("lote-partes.tsv")) {
        std::vector<tq::calc::CContratoLote> todos;
        for (int i = 0; i < l.Int("contratos"); ++i)
            todos.push_back({std::to_string(i), static_cast<ULONG>(i)});
        tq::calc::CParte parte;
        ASSERT_TRUE(tq::calc::LeParte(l.Texto("parte"), parte)) << l.Origem();
        std::string posicoes;
        for (const tq::calc::CContratoLote& c : tq::calc::ContratosDaParte(todos, parte))
            posicoes += (posicoes.empty() ? "" : ",") + c.codigo;
        EXPECT_EQ(posicoes, l.Texto("posicoes")) << l.Origem();
        EXPECT_EQ(tq::calc::TamanhoDaParte(todos.size(), parte),
                  tq::teste::Separa(posicoes, ',').size())
            << l.Origem();
    }
}

TEST(EntradaLote, PastaDeCenarios) {
    for (const tq::teste::Linha& l : tq::teste::LeTabela("lote-pastas.tsv")) {
        CPasta pasta;
        fs::create_directories(pasta / "casos");
        Grava(pasta / "casos/a.json", l.Texto("a.json"));
        Grava(pasta / "casos/b.json", l.Texto("b.json"));
        Grava(pasta / "casos/leia-me.txt", "not a scenario: passed over");
        try {
            const tq::calc::CEntradaLote e = tq::calc::LeEntradaDeCenarios(pasta / "casos");
            EXPECT_TRUE(l.Texto("mensagem").empty()) << l.Origem() << ": accepted";
            EXPECT_EQ(e.tipo, tq::calc::CEntradaLote::Pasta);
            EXPECT_EQ(e.contratos.size(), static_cast<std::size_t>(l.I64("contratos")))
                << l.Origem();
            EXPECT_EQ(e.dados.faixas.size(), static_cast<std::size_t>(l.I64("faixas")))
                << l.Origem();
            EXPECT_EQ(e.dados.apontamentos.size(), static_cast<std::size_t>(l.I64("apontamentos")))
                << l.Origem();
        } catch (const tq::calc::CErroEntrada& e) {
            EXPECT_FALSE(l.Texto("mensagem").empty()) << l.Origem() << ": " << e.what();
            EXPECT_NE(std::string(e.what()).find(l.Texto("mensagem")), std::string::npos)
                << l.Origem() << ": " << e.what();
        }
    }
}

// ---- The journal's line is tqcalc --json
// ---------------------------------------------------------

// Every byte an escape could concern, and text beyond ASCII, as nlohmann's dump escapes it.
TEST(FaceJson, TextoEscapadoComoODump) {
    std::vector<std::string> textos = {"Coleta de resíduos", "×−…€", "a\"b\\c/d", "\x7F"};
    for (int c = 1; c < 0x80; ++c)
        textos.push_back(std::string("<") + static_cast<char>(c) + ">");
    for (const std::string& t : textos) {
        std::string escapado = "\"";
        tq::calc::AcrescentaEscapado(escapado, t);
        EXPECT_EQ(escapado + "\"", json(t).dump()) << "byte " << static_cast<int>(t[1]);
    }
}

// The amounts as the money type writes them, on the plain decimal text's table (the range's ends
// among its rows).
TEST(FaceJson, QuantiaComoOTipoMonetario) {
    for (const tq::teste::Linha& l : tq::teste::LeTabela("moeda-decimal.tsv")) {
        if (l.Texto("raw") == "-")
            continue;
        EXPECT_EQ(tq::calc::Quantia(l.I64("raw"), l.Int("decimais")), l.Texto("volta"))
            << l.Origem();
    }
}

// ---- The run ------------------------------------------------------------------------------------

using Lote = tq::teste::AmbienteCom;

namespace {

std::string MesGerado(const CPasta& pasta, std::size_t nContratos, unsigned long long semente) {
    tq::calc::COpcoesMes o;
    o.nContratos = nContratos;
    o.semente = semente;
    o.cadaFalho = 11;
    const std::string arquivo = pasta / ("mes-" + std::to_string(semente) + ".json");
    Grava(arquivo, tq::amostra::EscreveCenario(tq::calc::GeraMes(o), true));
    return arquivo;
}

int Fatura(const std::string& entrada, const std::string& saida, unsigned nThreads,
           tq::calc::CMedidasLote* pMedidas = nullptr, const std::string& mes = "03/2024",
           const std::string& parte = "1/1") {
    tq::calc::COpcoesLote o;
    o.entrada = entrada;
    o.mes = mes;
    o.saida = saida;
    o.nThreads = nThreads;
    o.parte = parte;
    return tq::calc::ExecutaLote(o, pMedidas);
}

} // namespace

// Four workers over one sample server bill the month as one does: the same summary, the same
// entries; started again, the run finds every contract done. The task allocator is left with
// nothing (AmbienteCom).
TEST_F(Lote, QuatroThreadsFaturamComoUma) {
    CPasta pasta;
    const std::string mes = MesGerado(pasta, 200, 7);
    tq::calc::CMedidasLote uma, quatro, depois;
    EXPECT_EQ(Fatura(mes, pasta / "uma", 1, &uma), 1) << "every 11th contract fails";
    EXPECT_EQ(Fatura(mes, pasta / "quatro", 4, &quatro), 1);
    EXPECT_EQ(uma.nCalculados, 200u);
    EXPECT_EQ(quatro.nCalculados, 200u);
    EXPECT_EQ(quatro.nThreads, 4u);
    EXPECT_EQ(Le(pasta / "uma/resumo.csv"), Le(pasta / "quatro/resumo.csv"));
    EXPECT_EQ(Entradas(pasta / "uma/notas.jsonl"), Entradas(pasta / "quatro/notas.jsonl"));
    EXPECT_EQ(tq::teste::Separa(Le(pasta / "uma/resumo.csv"), '\n').size(), 201u);

    EXPECT_EQ(Fatura(mes, pasta / "quatro", 3, &depois), 1);
    EXPECT_EQ(depois.nJaFeitos, 200u);
    EXPECT_EQ(depois.nCalculados, 0u);
    EXPECT_EQ(Le(pasta / "uma/resumo.csv"), Le(pasta / "quatro/resumo.csv"));
}

// A folder holds one run: another month, input or share is refused, and the journal untouched.
TEST_F(Lote, PastaDeOutroLoteRecusada) {
    CPasta pasta;
    const std::string mes = MesGerado(pasta, 30, 3), outro = MesGerado(pasta, 30, 4);
    ASSERT_EQ(Fatura(mes, pasta / "saida", 2), 1);
    const std::string notas = Le(pasta / "saida/notas.jsonl");
    EXPECT_EQ(Fatura(mes, pasta / "saida", 2, nullptr, "02/2024"), 2);
    EXPECT_EQ(Fatura(outro, pasta / "saida", 2), 2);
    EXPECT_EQ(Fatura(mes, pasta / "saida", 2, nullptr, "03/2024", "1/2"), 2);
    EXPECT_EQ(Le(pasta / "saida/notas.jsonl"), notas);
    // Notes of unknown origin are not gone on with either.
    fs::create_directories(pasta / "sem-lote");
    Grava(pasta / "sem-lote/notas.jsonl", "");
    EXPECT_EQ(Fatura(mes, pasta / "sem-lote", 2), 2);
    // Nor a journal with a contract the input does not have.
    ASSERT_EQ(Fatura(mes, pasta / "alheio", 1), 1);
    std::ofstream(pasta / "alheio/notas.jsonl", std::ios::app)
        << R"({"contrato":"1","totalNota":null,"avisos":[]})"
        << "\n";
    const std::string alheio = Le(pasta / "alheio/notas.jsonl");
    EXPECT_EQ(Fatura(mes, pasta / "alheio", 1), 2);
    EXPECT_EQ(Le(pasta / "alheio/notas.jsonl"), alheio) << "a refused journal is left as it was";
    // Nor a folder another run holds right now.
    fs::create_directories(pasta / "ocupada");
    tq::calc::CTrava outra;
    ASSERT_TRUE(outra.Tranca(pasta / "ocupada/lote.trava"));
    EXPECT_EQ(Fatura(mes, pasta / "ocupada", 1), 2);
    EXPECT_FALSE(fs::exists(pasta / "ocupada/notas.jsonl"));
    // Nor a folder inside the scenarios read, whose files would be read as scenarios next time.
    fs::create_directories(pasta / "casos");
    fs::copy_file(tq::teste::CaminhoDosDados("../../examples/coleta-residuos.json"),
                  pasta / "casos/40017.json");
    EXPECT_EQ(Fatura(pasta / "casos", pasta / "casos/saida", 1), 2);
}
