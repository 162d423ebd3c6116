// A messages library for the tests: it describes every HRESULT as "Mensagem de teste 0x%08X".
#include <cstdint>
#include <cstdio>

extern "C" const char* TQGetDescricaoHRESULT(std::int32_t hr) {
    static thread_local char texto[64];
    std::snprintf(texto, sizeof texto, "Mensagem de teste 0x%08X", static_cast<unsigned>(hr));
    return texto;
}
