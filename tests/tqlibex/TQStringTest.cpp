#include "tqlibex/base/TQString.h"

#include "support/Tabela.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(TQString, FormatComTextoLongo) {
    CTQString s;
    s.Format("%s-%05lld-%#X", std::string(500, 'x').c_str(), 42LL, 0x800706BAu);
    EXPECT_EQ(s.GetLength(), 500 + 1 + 5 + 1 + 10);
    EXPECT_STREQ(s.Right(17), "-00042-0X800706BA");
    s.AppendFormat("%d", 7);
    EXPECT_EQ(s.Right(1), "7");
}

TEST(TQString, RecortesEBuscas) {
    for (const tq::teste::Linha& l : tq::teste::LeTabela("tqstring-recortes.tsv")) {
        const CTQString s(l.Texto("texto").c_str());
        const std::string op = l.Texto("op"), a = l.Texto("a"), b = l.Texto("b");
        const int n = op == "Find" || op == "ReverseFind" ? 0 : std::stoi(a);
        std::string r;
        if (op == "Left" || op == "Right")
            r = (op == "Left" ? s.Left(n) : s.Right(n)).GetString();
        else if (op == "Mid")
            r = (b.empty() ? s.Mid(n) : s.Mid(n, std::stoi(b))).GetString();
        else if (op == "ReverseFind")
            r = std::to_string(s.ReverseFind(a[0]));
        else if (a.size() > 1) // a text
            r = std::to_string(s.Find(a.c_str()));
        else
            r = std::to_string(b.empty() ? s.Find(a[0]) : s.Find(a[0], std::stoi(b)));
        EXPECT_EQ(r, l.Texto("esperado")) << l.Origem();
    }
}

TEST(TQString, ComparacoesEConcatenacao) {
    CTQString a("abc");
    CString b("abd");
    EXPECT_TRUE(a < b);
    EXPECT_TRUE(a == "abc");
    EXPECT_TRUE("abc" == a);
    EXPECT_FALSE(a == b);
    EXPECT_EQ(a.CompareNoCase("ABC"), 0);
    EXPECT_LT(a.Compare("abd"), 0);
    a += '-';
    a += b;
    a += nullptr;
    EXPECT_EQ(a, "abc-abd");
    EXPECT_EQ("<" + a + ">", "<abc-abd>");
    const CString c = a.Left(3); // CTQString results convert to CString
    EXPECT_STREQ(c.GetString(), "abc");
}

TEST(TQString, TextoDe8BitsIntacto) {
    // Windows-1252 "Descrição": case changes and trimming leave the upper half alone.
    CTQString s(" Descri\xE7\xE3o \t");
    s.Trim().MakeUpper();
    EXPECT_EQ(s, "DESCRI\xE7\xE3O");
}

TEST(TQString, SubstituiERemove) {
    CTQString s("a\r\nb\r\n");
    EXPECT_EQ(s.Remove('\r'), 2);
    EXPECT_EQ(s.Replace("\n", " | "), 2);
    EXPECT_EQ(s, "a | b | ");
    EXPECT_EQ(s.Replace("", "x"), 0);
}

TEST(TQString, GetBufferEReleaseBuffer) {
    CTQString s;
    char* p = s.GetBuffer(400);
    std::memset(p, 0, 400);
    std::strcpy(p, "FACILITY_ITF");
    s.ReleaseBuffer();
    EXPECT_EQ(s.GetLength(), 12);
    EXPECT_EQ(s, "FACILITY_ITF");
}

TEST(TQString, IndiceForaLanca) {
    const CTQString s("ab");
    EXPECT_EQ(s[1], 'b');
    EXPECT_THROW(s.GetAt(2), std::out_of_range);
    EXPECT_THROW(s.GetAt(-1), std::out_of_range);
}

TEST(TQString, Utf8IdaEVolta) {
    for (const tq::teste::Linha& l : tq::teste::LeTabela("texto-utf8.tsv")) {
        const std::string w1252 = l.Texto("w1252"), utf8 = l.Texto("utf8");
        std::string lido = "intocado";
        EXPECT_EQ(tq::DeUtf8(utf8, lido), l.Bool("valido")) << l.Origem();
        if (l.Bool("valido")) {
            EXPECT_EQ(lido, w1252) << l.Origem();
            EXPECT_EQ(tq::ParaUtf8(w1252), utf8) << l.Origem();
        } else {
            EXPECT_EQ(lido, "intocado") << l.Origem();
        }
    }
}
