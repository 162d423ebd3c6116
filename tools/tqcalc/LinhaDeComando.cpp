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
