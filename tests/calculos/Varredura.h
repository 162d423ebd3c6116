// The fault sweep: every call the two calculations make to their servers for one contract-month
// (tests/data/varredura.json, March 2024) fails in turn, against whichever sample server COM
// finds: in this process, or a LocalServer32. The server is scripted through ITQAmostra.
#pragma once

#include "support/EspiaContadora.h"

#include <ComApi.h>

#include <vector>

namespace tq::teste {

// Each position with each HRESULT: the failure comes back unchanged from the one step that made
// the call, that step's outputs are what a failure leaves, the other steps are untouched, the
// same objects then bill the month exactly as a clean run does, and the spy finds no block left
// but the band arrays of the ranges calculation's last pass.
void VarreFalhas(EspiaContadora& espia, const std::vector<HRESULT>& falhas);

// The server's process ends inside the month's first record read: that step fails, nothing it
// started is left behind, and the same object's next calculation fails too (its server is gone).
// Returns that step's HRESULT.
HRESULT ServidorEncerradoNoMeio(EspiaContadora& espia);

// nThreads modules bill the month at once, each with objects of its own, nPassos times: every
// pass as the clean one, and each module's last band arrays are all the spy finds. Returns the
// pings the server answered meanwhile.
long FaturasEmParalelo(EspiaContadora& espia, int nThreads, int nPassos);

} // namespace tq::teste
