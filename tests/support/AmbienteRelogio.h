// A test's own registry and clock: an in-memory registry and a settable clock installed for the
// test, and the process-wide clock setting forgotten before and after, as in a new process.
#pragma once

#include "tqlibex/Registro.h"
#include "tqlibex/Relogio.h"

#include <gtest/gtest.h>

namespace tq::teste {

inline SYSTEMTIME Momento(int dia, int mes, int ano, int hora = 0, int minuto = 0, int segundo = 0,
                          int ms = 0) {
    SYSTEMTIME st{};
    st.wDay = static_cast<WORD>(dia);
    st.wMonth = static_cast<WORD>(mes);
    st.wYear = static_cast<WORD>(ano);
    st.wHour = static_cast<WORD>(hora);
    st.wMinute = static_cast<WORD>(minuto);
    st.wSecond = static_cast<WORD>(segundo);
    st.wMilliseconds = static_cast<WORD>(ms);
    return st;
}

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
