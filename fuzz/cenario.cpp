// The scenario loader over any text: a scenario, or CErroCenario and nothing else; and what it
// reads, written again, reads back to the same scenario.
#include "Fuzz.h"

#include "servers/amostra/CenarioAmostra.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* dados, std::size_t tamanho) {
    std::string escrito;
    try {
        escrito = tq::amostra::EscreveCenario(
            tq::amostra::LeCenario(std::string(reinterpret_cast<const char*>(dados), tamanho)));
    } catch (const tq::amostra::CErroCenario&) {
        return 0;
    }
    // A written scenario refused would escape as CErroCenario: a crash too.
    const std::string relido = tq::amostra::EscreveCenario(tq::amostra::LeCenario(escrito));
    TQ_CONFERE(relido == escrito, "written again differently:\n%s\n%s", escrito.c_str(),
               relido.c_str());
    return 0;
}
