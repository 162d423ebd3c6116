#include "tqlibex/registry/Registro.h"

#include "support/Tabela.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

using tq::CDadosRegistro;
using tq::ERaizRegistro;

namespace {

constexpr ERaizRegistro HKLM = ERaizRegistro::LocalMachine;
constexpr ERaizRegistro HKCU = ERaizRegistro::CurrentUser;
constexpr ERaizRegistro HKCR = ERaizRegistro::ClassesRoot;

std::string Texto(const CDadosRegistro& d, ERaizRegistro raiz, const std::string& chave,
                  const char* valor) {
    CTQString s;
    return d.LeTexto(raiz, chave.c_str(), valor, s) ? std::string(s.GetString()) : "<missing>";
}

std::string Dword(const CDadosRegistro& d, ERaizRegistro raiz, const std::string& chave,
                  const char* valor) {
    DWORD dw = 0;
    return d.LeDword(raiz, chave.c_str(), valor, dw) ? std::to_string(dw) : "<missing>";
}

// exportacao.reg: a regedit export with every kind of line the reader meets;
// exportacao-malformada.reg: seven bad lines among good ones.
std::string Exportacao(const char* arquivo) {
    std::ifstream in(tq::teste::CaminhoDosDados(arquivo), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

} // namespace

TEST(ArquivoReg, ValoresDeUmaExportacao) {
    std::vector<std::string> avisos;
    CDadosRegistro d = tq::LeArquivoReg(Exportacao("exportacao.reg"), &avisos);
    EXPECT_TRUE(avisos.empty()) << avisos.front();
    EXPECT_FALSE(d.ExisteChave(HKLM, "SOFTWARE\\Removida"));
    for (const tq::teste::Linha& l : tq::teste::LeTabela("exportacao-valores.tsv")) {
        const ERaizRegistro raiz = l.Texto("raiz") == "HKLM"   ? HKLM
                                   : l.Texto("raiz") == "HKCU" ? HKCU
                                                               : HKCR;
        const std::string valor = l.Texto("valor");
        const char* pszValor = valor == "@" ? nullptr : valor.c_str();
        EXPECT_EQ((l.Texto("tipo") == "dword" ? Dword : Texto)(d, raiz, l.Texto("chave"), pszValor),
                  l.Texto("esperado"))
            << l.Origem();
    }
    // HKEY_CLASSES_ROOT shows HKCU\SOFTWARE\Classes over HKLM\SOFTWARE\Classes over its own keys.
    d.DefineTexto(HKCU, "Software\\Classes\\AppID\\{AAAAAAAA-2222-3333-4444-555555555555}",
                  "RemoteServerName", "do-usuario");
    EXPECT_EQ(Texto(d, HKCR, "AppID\\{AAAAAAAA-2222-3333-4444-555555555555}", "RemoteServerName"),
              "do-usuario");
}

TEST(ArquivoReg, LinhaMalformadaNaoEstragaAsOutras) {
    std::vector<std::string> avisos;
    const CDadosRegistro d = tq::LeArquivoReg(Exportacao("exportacao-malformada.reg"), &avisos);
    EXPECT_EQ(avisos.size(), 7u);
    EXPECT_EQ(Texto(d, HKLM, "SOFTWARE\\X", "A"), "1");
    EXPECT_EQ(Dword(d, HKLM, "SOFTWARE\\X", "G"), "65535")
        << "values after bad lines must stay readable";
    for (const char* v : {"B", "C", "D", "F"})
        EXPECT_EQ(Dword(d, HKLM, "SOFTWARE\\X", v), "<missing>") << v;
}

TEST(ArquivoReg, SemCabecalhoNadaELido) {
    std::vector<std::string> avisos;
    const CDadosRegistro d =
        tq::LeArquivoReg("[HKEY_LOCAL_MACHINE\\SOFTWARE\\X]\n\"A\"=\"1\"\n", &avisos);
    EXPECT_EQ(Texto(d, HKLM, "SOFTWARE\\X", "A"), "<missing>");
    EXPECT_EQ(avisos.size(), 1u);
    avisos.clear();
    tq::LeArquivoReg("lixo", &avisos);
    EXPECT_EQ(avisos.size(), 1u) << "a one-line file without a header is said to be one";
}

TEST(ArquivoReg, Utf16ComMarca) {
    // regedit writes version 5 exports in UTF-16LE; "Descrição" keeps its Windows-1252 letters.
    const std::string texto =
        "Windows Registry Editor Version 5.00\r\n[HKEY_CURRENT_USER\\SOFTWARE\\T]\r\n"
        "\"Nome\"=\"Descri\xE7\xE3o\x01\"\r\n";
    std::string utf16 = "\xFF\xFE";
    for (char c : texto) {
        utf16 += c;
        utf16 += c == '\x01' ? '\x01' : '\0'; // U+0101 has no 8-bit form
    }
    utf16 += 'A'; // half a character at the end: nothing
    std::vector<std::string> avisos;
    EXPECT_EQ(Texto(tq::LeArquivoReg(utf16, &avisos), HKCU, "SOFTWARE\\T", "Nome"),
              "Descri\xE7\xE3o?");
    EXPECT_TRUE(avisos.empty());
    const std::string utf8 =
        "\xEF\xBB\xBFWindows Registry Editor Version 5.00\n[HKEY_CURRENT_USER\\SOFTWARE\\T]\n"
        "\"Nome\"=\"Descri\xC3\xA7\xC3\xA3o\xC3\xBF\"\n";
    EXPECT_EQ(Texto(tq::LeArquivoReg(utf8, nullptr), HKCU, "SOFTWARE\\T", "Nome"),
              "Descri\xE7\xE3o\xFF");
}

TEST(Registro, EscopoInstalaERestaura) {
    tq::CRegistroEmMemoria externo, interno;
    externo.DefineTexto(HKLM, "SOFTWARE\\A", "v", "externo");
    interno.DefineTexto(HKLM, "SOFTWARE\\A", "v", "interno");
    const auto le = [] {
        CTQString s;
        return tq::RegistroAtual().LeTexto(HKLM, "SOFTWARE\\A", "v", true, s) ? s.str() : "";
    };
    {
        tq::CEscopoRegistro e1(externo);
        {
            tq::CEscopoRegistro e2(interno);
            EXPECT_EQ(le(), "interno");
        }
        EXPECT_EQ(le(), "externo");
    }
    EXPECT_EQ(&tq::RegistroAtual(), &tq::RegistroDaPlataforma());
}
