#include "tools/tqcalc/LinhaDeComando.h"

#include "tools/tqcalc/Formato.h"

#include <memory>

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
    if (dynamic_cast<const CLI::ExtrasError*>(&e))
        return "argumento inesperado: " + depois;
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&e)) {
        if (texto.find("At Most") != std::string::npos)
            return "a opção " + antes + " foi dada mais de uma vez";
        if (texto.find("flag override") != std::string::npos)
            return "a opção " + texto.substr(0, texto.find(' ')) + " não leva valor";
        if (doisPontos != std::string::npos)
            return "a opção " + antes + " precisa de um valor";
    }
    if (dynamic_cast<const CLI::ConversionError*>(&e))
        return "valor inválido: " + texto;
    return "linha de comando inválida (" + texto + ")";
}

} // namespace tq::calc
