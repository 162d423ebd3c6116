// The qualified name of the enclosing function in the form the suite's traces have always had
// ("CTQComPtr<struct ITQGE_Apontamentos>::CoCreateInstance"), derived at compile time from gcc's
// __PRETTY_FUNCTION__ ("HRESULT CTQComPtr<I>::CoCreateInstance(const CLSID&) [with I = ...]"):
// return type and parameters dropped, template parameters replaced by their arguments, and class
// arguments written "struct X" (the server interfaces are structs).
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace tq::detail {

inline constexpr std::size_t kTamanhoNome = 256;
using NomeFixo = std::array<char, kTamanhoNome>;

constexpr bool EhIdentificador(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

constexpr bool EhTipoBasico(std::string_view v) {
    for (std::string_view b :
         {"bool", "char", "signed", "unsigned", "short", "int", "long", "float", "double", "void",
          "wchar_t", "char8_t", "char16_t", "char32_t"})
        if (v.substr(0, b.size()) == b && (v.size() == b.size() || !EhIdentificador(v[b.size()])))
            return true;
    return !v.empty() &&
           !(v[0] == '_' || (v[0] >= 'a' && v[0] <= 'z') || (v[0] >= 'A' && v[0] <= 'Z'));
}

// The argument bound to template parameter `nome` in "[with I = X; HRESULT = long int]".
constexpr std::string_view ArgumentoDe(std::string_view com, std::string_view nome) {
    std::size_t pos = 0;
    while (pos < com.size()) {
        std::size_t fim = com.find("; ", pos);
        if (fim == std::string_view::npos)
            fim = com.size();
        const std::string_view par = com.substr(pos, fim - pos);
        const std::size_t igual = par.find(" = ");
        if (igual != std::string_view::npos) {
            // Non-type parameters carry their type: "int K = 3".
            std::string_view parametro = par.substr(0, igual);
            if (const std::size_t espaco = parametro.rfind(' '); espaco != std::string_view::npos)
                parametro = parametro.substr(espaco + 1);
            if (parametro == nome)
                return par.substr(igual + 3);
        }
        pos = fim + 2;
    }
    return {};
}

constexpr NomeFixo NomeDaFuncao(std::string_view assinatura) {
    std::string_view com;
    if (const std::size_t p = assinatura.find(" [with "); p != std::string_view::npos) {
        com = assinatura.substr(p + 7);
        if (!com.empty() && com.back() == ']')
            com.remove_suffix(1);
        assinatura = assinatura.substr(0, p);
    }
    // The parameter list: the first '(' outside template brackets.
    std::size_t abre = assinatura.size();
    for (std::size_t i = 0, nivel = 0; i < assinatura.size(); ++i) {
        if (assinatura[i] == '<')
            ++nivel;
        else if (assinatura[i] == '>' && nivel > 0)
            --nivel;
        else if (assinatura[i] == '(' && nivel == 0) {
            abre = i;
            break;
        }
    }
    // The name starts after the last space outside template brackets (the return type's end).
    std::size_t inicio = 0;
    for (std::size_t i = abre, nivel = 0; i > 0; --i) {
        const char c = assinatura[i - 1];
        if (c == '>')
            ++nivel;
        else if (c == '<' && nivel > 0)
            --nivel;
        else if ((c == ' ' || c == '*' || c == '&') && nivel == 0) {
            inicio = i;
            break;
        }
    }
    const std::string_view nome = assinatura.substr(inicio, abre - inicio);

    NomeFixo saida{};
    std::size_t n = 0;
    const auto poe = [&saida, &n](std::string_view s) {
        for (char c : s)
            if (n + 1 < saida.size())
                saida[n++] = c;
    };
    std::size_t nivel = 0;
    for (std::size_t i = 0; i < nome.size();) {
        const char c = nome[i];
        if (nivel > 0 && EhIdentificador(c) && !com.empty()) {
            std::size_t fim = i;
            while (fim < nome.size() && EhIdentificador(nome[fim]))
                ++fim;
            const std::string_view palavra = nome.substr(i, fim - i);
            const std::string_view argumento = ArgumentoDe(com, palavra);
            if (!argumento.empty()) {
                if (!EhTipoBasico(argumento))
                    poe("struct ");
                poe(argumento);
            } else {
                poe(palavra);
            }
            i = fim;
            continue;
        }
        if (c == '<')
            ++nivel;
        else if (c == '>' && nivel > 0)
            --nivel;
        poe(std::string_view(&nome[i], 1));
        ++i;
    }
    return saida;
}

// "TQComPtr" from ".../tqlibex/com/TQComPtr.cpp": the bare name the traces show.
constexpr NomeFixo NomeDoArquivo(std::string_view caminho) {
    const std::size_t barra = caminho.find_last_of("/\\");
    if (barra != std::string_view::npos)
        caminho = caminho.substr(barra + 1);
    if (const std::size_t ponto = caminho.rfind('.'); ponto != std::string_view::npos && ponto > 0)
        caminho = caminho.substr(0, ponto);
    NomeFixo saida{};
    for (std::size_t i = 0; i < caminho.size() && i + 1 < saida.size(); ++i)
        saida[i] = caminho[i];
    return saida;
}

} // namespace tq::detail
