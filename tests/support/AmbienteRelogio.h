// A test's own registry and clock: an in-memory registry and a settable clock installed for the
// test, and the process-wide clock setting forgotten before and after, as in a new process.
#pragma once

#include "tqlibex/clock/Relogio.h"
#include "tqlibex/registry/Registro.h"

#include <gtest/gtest.h>

namespace tq::teste {

using tq::Momento;

constexpr const char* kChaveAmbiente =
    "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";

class AmbienteRelogio : public ::testing::Test {
protected:
    AmbienteRelogio()
        : relogio(Momento(15, 3, 2024, 10, 30), 180), escopoRegistro(registro),
          escopoRelogio(relogio) {
        tq::detail::EsqueceConfiguracaoDoRelogio();
    }
    ~AmbienteRelogio() override { tq::detail::EsqueceConfiguracaoDoRelogio(); }

    void DefineRelogio(const char* texto) {
        registro.DefineTexto(ERaizRegistro::LocalMachine, kChaveAmbiente, "TQ_DATETIME", texto);
    }
    void MarcaMaquinaDeTeste(ERaizRegistro raiz) {
        registro.DefineDword(raiz, "SOFTWARE\\PTA", "Env_PTA", 1);
    }

    CRegistroEmMemoria registro;
    CRelogioAjustavel relogio;

private:
    CEscopoRegistro escopoRegistro;
    CEscopoRelogio escopoRelogio;
};

} // namespace tq::teste
