// The shifted clock over any "TQ_DATETIME" text, read through the registry port as on a test
// machine: fifteen numbers naming two real moments shift the clock by their difference; anything
// else leaves the real clock. No text may make the clock fail other than as documented.
#include "Fuzz.h"

#include "tqlibex/clock/Relogio.h"
#include "tqlibex/registry/Registro.h"

constexpr const char* kChave = "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";

// The moment of seven parts if each fits its 16-bit field and together they name a real one.
static bool Momento(const long long* n, FILETIME& ft) {
    for (int i = 0; i < 7; ++i)
        if (n[i] < 0 || n[i] > 0xFFFF)
            return false;
    const SYSTEMTIME st = tq::Momento(n[0], n[1], n[2], n[3], n[4], n[5], n[6]);
    return SystemTimeToFileTime(&st, &ft) != 0;
}

// The refused settings' trace lines go nowhere, whatever the environment.
[[maybe_unused]] static const int kSemLog = setenv("TQ_LOG_INI", "/dev/null", 1);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* dados, std::size_t tamanho) {
    const std::string texto(reinterpret_cast<const char*>(dados), tamanho);
    tq::CRegistroEmMemoria registro;
    registro.DefineTexto(tq::ERaizRegistro::LocalMachine, kChave, "TQ_DATETIME", texto);
    tq::CRelogioAjustavel relogio(tq::Momento(15, 3, 2024, 10, 30), 180);
    tq::CEscopoRegistro escopoRegistro(registro);
    tq::CEscopoRelogio escopoRelogio(relogio);
    tq::detail::EsqueceConfiguracaoDoRelogio();

    long long n[15] = {};
    const int lidos = std::sscanf(
        texto.c_str(), "%lld;%lld/%lld/%lld;%lld:%lld:%lld:%lld;%lld/%lld/%lld;%lld:%lld:%lld:%lld",
        &n[0], &n[1], &n[2], &n[3], &n[4], &n[5], &n[6], &n[7], &n[8], &n[9], &n[10], &n[11],
        &n[12], &n[13], &n[14]);
    const ULONGLONG real = tq::Ticks(relogio.AgoraLocal());
    FILETIME sim, ref;
    const bool bDesloca = lidos == 15 && n[0] != 0 && Momento(n + 1, sim) && Momento(n + 8, ref);
    const ULONGLONG esperado = bDesloca ? tq::Ticks(sim) + (real - tq::Ticks(ref)) : real;
    const ULONGLONG obtido = tq::Ticks(GetCurrentTime_LocalFileTime());
    TQ_CONFERE(obtido == esperado, "\"%s\": %llu, expected %llu", texto.c_str(), obtido, esperado);

    // The calendar forms fail, as documented, only past what a FILETIME can name.
    try {
        (void)GetCurrentTime_LocalTime(), (void)GetCurrentTime_SystemTime();
    } catch (CTQException* e) {
        TQ_CONFERE(obtido + 180 * 60 * tq::kTicksPorSegundo >= 1ull << 63 || obtido >= 1ull << 63,
                   "\"%s\": a calendar form failed", texto.c_str());
        e->Delete();
    }
    return 0;
}
