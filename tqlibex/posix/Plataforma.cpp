#include "tqlibex/Plataforma.h"

namespace tq {

bool RodandoSobWine() {
    return false;
}

void SaidaPadraoBinaria() {}

} // namespace tq
