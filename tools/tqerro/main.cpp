// tqerro: takes HRESULTs apart for the people who read the trace log.
//
//     tqerro 0x800706BA -2147467259 2147942487
//     tqerro --json 0X80040001
//
// Values are hex (0x or 0X, as the trace prints them), signed or unsigned decimal; anything that is
// not a 32-bit number is refused with exit code 2.
#include <tqge.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <cstdio>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

namespace {

std::optional<HRESULT> LeValor(const std::string& texto) {
    if (texto.empty())
        return std::nullopt;
    std::size_t fim = 0;
    try {
        if (texto.size() > 2 && texto[0] == '0' && (texto[1] == 'x' || texto[1] == 'X')) {
            const std::string digitos = texto.substr(2);
            if (digitos.empty() || digitos.size() > 8 || digitos[0] == '+' || digitos[0] == '-')
                return std::nullopt;
            const unsigned long long v = std::stoull(digitos, &fim, 16);
            if (fim != digitos.size())
                return std::nullopt;
            return static_cast<HRESULT>(static_cast<std::uint32_t>(v));
        }
        const long long v = std::stoll(texto, &fim, 10);
        if (fim != texto.size() || v < INT32_MIN || v > static_cast<long long>(UINT32_MAX))
            return std::nullopt;
        return static_cast<HRESULT>(static_cast<std::uint32_t>(v));
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

nlohmann::json ComoJson(HRESULT hr) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%08X", static_cast<unsigned>(hr));
    const auto parte = [](int numero, const CTQString& nome) {
        return nlohmann::json{{"numero", numero}, {"nome", tq::ParaUtf8(nome.str())}};
    };
    return {{"hresult", hex},
            {"decimal", static_cast<long long>(hr)},
            {"severidade", parte(static_cast<int>((hr >> 31) & 1), GetNomeSeverity(hr))},
            {"facilidade", parte(static_cast<int>((hr >> 16) & 0x1FFF), GetNomeFacility(hr))},
            {"codigo", parte(static_cast<int>(hr & 0xFFFF), GetNomeCodigoWin32(hr))},
            {"nome", tq::ParaUtf8(GetNomeHResult(hr).str())},
            {"descricao", tq::ParaUtf8(GetDescricaoHResult(hr).str())}};
}

void Imprime(HRESULT hr) {
    const nlohmann::json j = ComoJson(hr);
    const auto ou = [](const std::string& s) { return s.empty() ? std::string("-") : s; };
    std::cout << j["hresult"].get<std::string>() << " (" << j["decimal"].get<long long>() << ")\n"
              << "  severidade  " << j["severidade"]["numero"] << "  "
              << ou(j["severidade"]["nome"]) << "\n"
              << "  facilidade  " << j["facilidade"]["numero"] << "  "
              << ou(j["facilidade"]["nome"]) << "\n"
              << "  código      " << j["codigo"]["numero"] << "  " << ou(j["codigo"]["nome"])
              << "\n"
              << "  nome        " << ou(j["nome"]) << "\n"
              << "  descrição   " << ou(j["descricao"]) << "\n";
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"tqerro: decodes HRESULTs (severity, facility, code, symbolic name, description), "
                 "the suite's own facilities and texts included."};
    std::vector<std::string> valores;
    bool bJson = false;
    app.add_option("valores", valores, "HRESULTs: 0x800706BA, -2147023174 or 2147943610")
        ->required();
    app.add_flag("--json", bJson, "one JSON array, for programs");
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        app.exit(e);
        return 2;
    }

    std::vector<HRESULT> hrs;
    for (const std::string& v : valores) {
        const std::optional<HRESULT> hr = LeValor(v);
        if (!hr) {
            std::cerr << "tqerro: \"" << v
                      << "\" is not a 32-bit number (use 0x800706BA, -2147023174 "
                      << "or 2147943610)\n";
            return 2;
        }
        hrs.push_back(*hr);
    }
    if (bJson) {
        nlohmann::json todos = nlohmann::json::array();
        for (HRESULT hr : hrs)
            todos.push_back(ComoJson(hr));
        std::cout << todos.dump(2) << "\n";
    } else {
        for (std::size_t i = 0; i < hrs.size(); ++i) {
            if (i)
                std::cout << "\n";
            Imprime(hrs[i]);
        }
    }
    return 0;
}
