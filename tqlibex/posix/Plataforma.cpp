#include "tqlibex/Plataforma.h"

namespace tq {

bool RodandoSobWine() {
    return false;
}

} // namespace tq
