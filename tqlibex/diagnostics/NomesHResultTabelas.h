// The name tables generated from winerror.h (tqlibex/diagnostics/NomesHResultGerados.cpp), sorted
// by number.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tq::detail {

struct NomeNumero {
    std::uint32_t numero;
    const char* nome;
};

struct Tabela {
    const NomeNumero* itens;
    std::size_t n;
};

extern const Tabela kTabelaFacilidades;
extern const Tabela kTabelaCodigosWin32;
extern const Tabela kTabelaHResults;

} // namespace tq::detail
