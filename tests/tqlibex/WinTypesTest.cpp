// The byte layouts the business servers' records rely on, and the GUID text form.
#include "tqlibex/WinTypes.h"
#include "tqlibex/GuidTexto.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace {
struct RegistroComMoeda { // a LONG followed by a currency, as server records have them
    LONG n;
    tagCY cy;
};
} // namespace

TEST(WinTypes, LarguraseAlinhamentoDoWindows) {
    EXPECT_EQ(sizeof(LONG), 4u);
    EXPECT_EQ(sizeof(ULONG), 4u);
    EXPECT_EQ(sizeof(HRESULT), 4u);
    EXPECT_EQ(sizeof(DWORD), 4u);
    // Windows aligns the currency to 8 even in 32-bit code; so must every build.
    EXPECT_EQ(offsetof(RegistroComMoeda, cy), 8u);
    EXPECT_EQ(sizeof(RegistroComMoeda), 16u);
    EXPECT_EQ(offsetof(DECIMAL, scale), 2u);
    EXPECT_EQ(offsetof(DECIMAL, sign), 3u);
    EXPECT_EQ(offsetof(DECIMAL, Hi32), 4u);
    EXPECT_EQ(offsetof(DECIMAL, Lo64), 8u);
    EXPECT_EQ(offsetof(GUID, Data4), 8u);
}

TEST(WinTypes, MetadesDaMoeda) {
    tagCY cy;
    cy.int64 = -2; // 0xFFFFFFFF_FFFFFFFE
    EXPECT_EQ(cy.Lo, 0xFFFFFFFEu);
    EXPECT_EQ(cy.Hi, -1);
}

TEST(WinTypes, AuxiliaresDeHResult) {
    EXPECT_EQ(static_cast<unsigned>(HRESULT_FROM_WIN32(1722)), 0x800706BAu);
    EXPECT_EQ(HRESULT_FROM_WIN32(0), S_OK);
    EXPECT_TRUE(FAILED(E_FAIL));
    EXPECT_TRUE(SUCCEEDED(S_FALSE));
    EXPECT_EQ(HRESULT_FACILITY(DISP_E_OVERFLOW), 2);
    EXPECT_EQ(HRESULT_CODE(DISP_E_OVERFLOW), 0x0A);
    EXPECT_EQ(HRESULT_SEVERITY(E_INVALIDARG), 1);
}

TEST(GuidTexto, IdaEVolta) {
    const GUID g = {0x0002DF01, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
    EXPECT_STREQ(tq::GuidParaTexto(g), "{0002DF01-0000-0000-C000-000000000046}");
    GUID lido{};
    ASSERT_TRUE(tq::TextoParaGuid("{0002df01-0000-0000-c000-000000000046}", lido));
    EXPECT_TRUE(lido == g);
}

TEST(GuidTexto, RecusaFormasErradas) {
    GUID g = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
    const GUID antes = g;
    for (const char* ruim :
         {"", "0002DF01-0000-0000-C000-000000000046", "{0002DF01-0000-0000-C000-00000000004}",
          "{0002DF01-0000-0000-C000-0000000000460}", "{0002DF01+0000-0000-C000-000000000046}",
          "{0002DF0G-0000-0000-C000-000000000046}"}) {
        EXPECT_FALSE(tq::TextoParaGuid(ruim, g)) << ruim;
        EXPECT_TRUE(g == antes);
    }
    EXPECT_FALSE(tq::TextoParaGuid(nullptr, g));
}
