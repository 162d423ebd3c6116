#include "tools/tqcalc/LinhaDeComando.h"

#include "tools/tqcalc/Formato.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace tq::calc {

namespace {

constexpr int kColuna = 30;

class CFormato final : public CLI::Formatter {
public:
    std::string make_option(const CLI::Option* opt, bool is_positional) const override {
        const std::string nome = "  " + make_option_name(opt, is_positional) +
                                 (is_positional ? "" : make_option_opts(opt));
        const std::string descricao = make_option_desc(opt);
        std::string linha = Coluna(nome, kColuna, false);
        if (linha.size() > nome.size() + 1 || descricao.empty())
            return linha + descricao + "\n";
        return nome + "\n" + std::string(kColuna, ' ') + descricao + "\n";
    }
};

} // namespace

void EmPortugues(CLI::App& app) {
    auto formato = std::make_shared<CFormato>();
    formato->label("Usage", "Uso");
    formato->label("OPTIONS", "OPÇÕES");
    formato->label("Positionals", "Argumentos");
    formato->label("REQUIRED", "OBRIGATÓRIO");
    formato->label("SUBCOMMAND", "COMANDO");
    formato->label("SUBCOMMANDS", "COMANDOS");
    formato->label("Subcommands", "Comandos");
    app.formatter(formato);
    app.option_defaults()->group("Opções");
    app.set_help_flag("-h,--help", "mostra esta ajuda e sai");
    // CLI11 reads "/x" as an option on Windows; a path may start with a slash.
    app.allow_windows_style_options(false);
}

void AcrescentaComandosLote(CLI::App& app, CComandosLote& c) {
    app.require_subcommand(0, 1);
    c.lote = app.add_subcommand("lote", R"(o faturamento do mês: todos os contratos de uma entrada.

Cada contrato recebe os dois cálculos e o total da nota, exatamente como um tqcalc sozinho os dá,
em N threads. Na PASTA: notas.jsonl (uma linha JSON por contrato, gravada à medida que terminam),
resumo.csv (no fim, por código) e, com --conferir, divergencias.csv. Interrompido a qualquer
momento, rodado de novo com os mesmos argumentos, continua de onde parou: nada se perde, nada se
repete.

  tqcalc lote MES.json --mes 03/2024 --saida PASTA         os "contratos" do cenário
  tqcalc lote CASOS/ --mes 03/2024 --saida PASTA           uma pasta de cenários (um contrato cada)
  tqcalc lote --contratos LISTA.txt --mes 03/2024 --saida PASTA
                                          os códigos da lista, nos servidores desta máquina

Códigos de saída: 0 todos faturados (e nenhuma divergência); 1 um contrato falhou ou divergiu
(cada um listado com o seu status), ou o diário não pôde ser gravado; 2 um erro na entrada (nada
é calculado); 3 um valor não cabe no tipo monetário.
)");
    COpcoesLote& o = c.opcoes;
    c.lote
        ->add_option("entrada", o.entrada, "um cenário com \"contratos\", ou uma pasta de cenários")
        ->type_name("");
    c.lote
        ->add_option("--contratos", o.lista,
                     "os códigos a faturar (um por linha), nos servidores desta máquina")
        ->type_name("LISTA.txt");
    c.lote->add_option("--mes", o.mes, "o mês a faturar (obrigatório)")->type_name("MM/AAAA");
    c.lote->add_option("--saida", o.saida, "a pasta das notas e do resumo (obrigatória)")
        ->type_name("PASTA");
    c.lote->add_option("--threads", c.threads, "quantas threads calculam (padrão: uma por CPU)")
        ->type_name("N");
    c.lote
        ->add_option("--parte", o.parte,
                     "só a parte I de N do mês (para N máquinas; junte com tqcalc junta)")
        ->type_name("I/N");
    c.lote
        ->add_option("--conferir", o.conferir,
                     "confere os totais com os faturados (contrato;total, vírgula decimal)")
        ->type_name("FATURADO.csv");

    c.junta = app.add_subcommand("junta", R"(junta as partes de um mês faturado em N máquinas.

Grava na PASTA os mesmos arquivos que um lote só do mês inteiro gravaria. Recusa partes que se
sobrepõem, que faltam ou que não terminaram.

  tqcalc junta PARTE1 PARTE2 ... --saida PASTA [--conferir FATURADO.csv]

Códigos de saída: os do lote.
)");
    c.junta->add_option("partes", c.pastas, "as pastas das partes (tqcalc lote --parte I/N)")
        ->type_name("");
    c.junta->add_option("--saida", c.saidaJunta, "a pasta do mês junto (obrigatória)")
        ->type_name("PASTA");
    c.junta
        ->add_option("--conferir", c.conferirJunta,
                     "confere os totais com os faturados (contrato;total, vírgula decimal)")
        ->type_name("FATURADO.csv");
}

bool LeThreads(const std::string& texto, unsigned& n) {
    if (texto.empty() || texto.size() > 4 ||
        texto.find_first_not_of("0123456789") != std::string::npos)
        return false;
    n = static_cast<unsigned>(std::stoul(texto));
    return n >= 1 && n <= 1024;
}

std::string MensagemDaLinhaDeComando(const CLI::ParseError& e) {
    const std::string texto = e.what();
    const std::size_t doisPontos = texto.find(": ");
    const std::string antes = texto.substr(0, doisPontos);
    const std::string depois =
        doisPontos == std::string::npos ? texto : texto.substr(doisPontos + 2);
    if (dynamic_cast<const CLI::ExtrasError*>(&e)) {
        // CLI11 lists them last first.
        std::vector<std::string> extras;
        for (std::size_t i = 0, fim; i <= depois.size(); i = fim + 1) {
            fim = std::min(depois.find(' ', i), depois.size());
            extras.insert(extras.begin(), depois.substr(i, fim - i));
        }
        std::string lista;
        for (const std::string& a : extras)
            lista += (lista.empty() ? "" : " ") + a;
        return (extras.size() > 1 ? "argumentos inesperados: " : "argumento inesperado: ") + lista;
    }
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&e)) {
        if (texto.find("At Most") != std::string::npos)
            return "a opção " + antes + " foi dada mais de uma vez";
        if (texto.find("flag override") != std::string::npos)
            return "a opção " + texto.substr(0, texto.find(' ')) + " não leva valor";
        if (doisPontos != std::string::npos)
            return "a opção " + antes + " precisa de um valor";
    }
    // "Could not convert: --json = abc": a flag given a value.
    const std::size_t igual = texto.find(" = ");
    if (dynamic_cast<const CLI::ConversionError*>(&e) && doisPontos != std::string::npos &&
        igual != std::string::npos)
        return "a opção " + texto.substr(doisPontos + 2, igual - doisPontos - 2) +
               " não aceita o valor \"" + texto.substr(igual + 3) + "\"";
    return "linha de comando inválida (" + texto + ")";
}

std::string OpcaoQueEngoliuOutra(const CLI::App& app) {
    for (const CLI::Option* opt : app.get_options())
        for (const std::string& valor : opt->results())
            if (opt->get_expected_min() > 0 && valor.rfind("--", 0) == 0)
                return "a opção " + opt->get_name() + " precisa de um valor (e recebeu a opção \"" +
                       valor + "\")";
    return {};
}

} // namespace tq::calc
