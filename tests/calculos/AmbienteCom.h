// What every calculation test runs in: a multithreaded apartment, a registry of its own that names
// no remote server (so no keep-alive thread unless a test names one) and the task allocator's spy.
#pragma once

#include "support/EspiaContadora.h"
#include "tqlibex/registry/Registro.h"

#include <gtest/gtest.h>

namespace tq::teste {

// At the end no block may be left that nobody freed, nor any freed twice or not ours; the band
// arrays the ranges calculation keeps on purpose are freed by the test first
// (EspiaContadora::LiberaOsVivos).
class AmbienteCom : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))); }
    void TearDown() override {
        EXPECT_EQ(espia.Vivos(), 0u) << "a block nobody freed";
        EXPECT_EQ(espia.LiberacoesInvalidas(), 0u) << "a block freed twice, or not ours";
        CoUninitialize();
    }
    CRegistroEmMemoria registro;
    CEscopoRegistro escopoRegistro{registro};
    EspiaContadora espia;
};

} // namespace tq::teste
