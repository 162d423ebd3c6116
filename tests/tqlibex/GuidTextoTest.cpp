// The GUID text form of the registry.
#include "tqlibex/base/GuidTexto.h"

#include <gtest/gtest.h>

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
