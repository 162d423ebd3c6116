// A month of many contracts for the billing run's benchmark and tests, the same for a given seed
// on every platform (its own generator and draws: no std distribution, whose results the standard
// libraries do not share). Each contract has two to five items (a third with a franchise and an
// "Excedente" price), up to two of the system's ranges, and 5 to 15 time records of 1 to 6 items
// in the month, some of them for services no item prices; a few records of the month before are
// there for the servers to filter out. Contract codes end in a check digit and grow from three
// digits (seven by the 10,000th contract), so that their order as text is not their order as
// numbers.
#pragma once

#include "foundation/TQDma.h"
#include "servers/amostra/DadosAmostra.h"

#include <cstddef>

namespace tq::calc {

struct COpcoesMes {
    std::size_t nContratos = 10000;
    unsigned long long semente = 2024;
    CTQMa mes{3, 2024};
    int registrosMin = 5, registrosMax = 15, itensMin = 1, itensMax = 6;
    // Every this-many-th contract also names a range no definition has: its ranges calculation
    // fails with ERROR_NOT_FOUND (0 for none).
    std::size_t cadaFalho = 0;
    // Quantities and prices whose products need no rounding to cents (whole quantities, prices in
    // cents, single-band ranges): the month bills to the same cent wherever the platform's
    // currency arithmetic rounds ties its own way.
    bool bSemArredondamento = false;
};

tq::amostra::CDadosAmostra GeraMes(const COpcoesMes& opcoes);

// Each contract of the month as a scenario of its own, as tqcalc --gravar records one: the
// contract, the ranges it names and its time records.
tq::amostra::CDadosAmostra SoDoContrato(const tq::amostra::CDadosAmostra& mes, std::size_t i);

} // namespace tq::calc
