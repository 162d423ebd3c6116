// The regedit export reader over any file; and any text (no line break, no NUL) written by the
// rules of regedit as a key, a value name and a string value reads back as itself.
#include "Fuzz.h"

#include "tqlibex/registry/Registro.h"

static std::string Aspas(const std::string& texto) {
    std::string r = "\"";
    for (char c : texto)
        r += c == '\\' || c == '"' ? std::string{'\\', c} : std::string{c};
    return r + "\"";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* dados, std::size_t tamanho) {
    const std::string bruto(reinterpret_cast<const char*>(dados), tamanho);
    std::vector<std::string> avisos;
    (void)tq::LeArquivoReg(bruto, &avisos);

    std::string t;
    for (char c : bruto.substr(0, 80))
        if (c != '\n' && c != '\r' && c != '\0')
            t += c;
    const auto raiz = static_cast<tq::ERaizRegistro>(tamanho % 3);
    const char* nomes[] = {"HKEY_CLASSES_ROOT", "HKEY_LOCAL_MACHINE", "HKEY_CURRENT_USER"};
    const std::string arquivo = std::string("REGEDIT4\r\n\r\n[") + nomes[tamanho % 3] + "\\" + t +
                                "]\r\n" + Aspas(t) + "=" + Aspas(t) + "\r\n" + Aspas(t + "#") +
                                "=dword:" + std::to_string(10000000 + tamanho) + "\r\n";
    avisos.clear();
    CTQString texto;
    DWORD dw = 0;
    const tq::CDadosRegistro escritos = tq::LeArquivoReg(arquivo, &avisos);
    TQ_CONFERE(avisos.empty() && escritos.LeTexto(raiz, t.c_str(), t.c_str(), texto) &&
                   texto.str() == t && escritos.LeDword(raiz, t.c_str(), (t + "#").c_str(), dw) &&
                   dw == std::stoul(std::to_string(10000000 + tamanho), nullptr, 16),
               "key, value and text \"%s\": %zu warnings, read \"%s\"", t.c_str(), avisos.size(),
               texto.GetString());
    return 0;
}
