// Scenario files: the sample server's data set as JSON, the form in which a billing case travels
// between support staff, tests and tqcalc (recorded from live servers, replayed anywhere):
//
// {
//   "contrato": { "codigo": "12345", "ponteiro": 1234,
//                 "cliente": { "nome": "...", "documento": "..." },
//                 "itens": [ { "servico": 10, "precoUnitario": "2.5", "precoExcedente": "3.1",
//                              "franquia": "10", "texto": "Coleta",
//                              "classificacoes": [ { "codigo": 1, "percentual": "100",
//                                                    "descricao": "Receita" } ] } ],
//                 "faixas": [ { "codigo": 7, "classificacoes": [ ... ] } ] },
//   "faixas": [ { "codigo": 7, "servico": 10, "descricao": "...",
//                 "bandas": [ { "inferior": 1, "superior": 100, "preco": "2.00" } ] } ],
//   "apontamentos": [ { "mes": "03/2024", "ponteiro": 1, "contrato": 1234, "codigo": "101",
//                       "listarNF": 1, "motorista": 0, "placa": 0, "municipio": 0,
//                       "residuos": "",
//                       "itens": [ { "servico": 10, "quantidade": "12.5", "descTotal": "0.5",
//                                    "executor": 3, "data": "05/03/2024", "horaInicial": 800,
//                                    "horaFinal": 1230, "pesoEntrada": "0",
//                                    "pesoSaida": "0" } ] } ],
//   "falhas": [ { "servidor": "ITQGE_Faixa", "operacao": "LeFaixa", "chamada": 2,
//                 "hr": "0x80004005" } ],
//   "hostis": [ { "servidor": "ITQGE_Apontamentos", "operacao": "LeApontamentos",
//                 "tipo": "ContagemSemArray" } ]
// }
//
// A month's billing run keeps every contract in one file: "contratos": [ {...}, {...} ] in place
// of "contrato", the ranges and time records serving them all; no two may share a code or an
// internal number.
//
// Amounts are decimal strings, or JSON numbers read through their text (never through a
// double): contract item prices up to 8 decimals, every other amount up to 4. Texts are UTF-8 in
// the file and Windows-1252 in the data set, as the servers keep them. Optional fields are 0 or
// empty; the contract's internal number is atol(codigo) / 10 unless "ponteiro" gives it; the
// optional "cliente" names the customer on tqcalc's statement (no server carries it). A
// mistake throws CErroCenario, whose text (Portuguese, UTF-8) names the JSON path with its indices:
// "apontamentos[3].itens[0].quantidade: ...". Mistakes: an unknown key or one given twice, a
// wrong type, a malformed amount, too many decimals, an amount out of range, a text with a
// control character or a character Windows-1252 lacks, a month not MM/AAAA, a date not
// DD/MM/AAAA, two records at one position, two ranges with one code, both "contrato" and
// "contratos", two contracts with one code or one internal number, and a fault or a hostile
// answer that could never fire (an unknown server or operation, a call below 1, a hostile kind
// the operation cannot give).
#pragma once

#include "servers/amostra/DadosAmostra.h"

#include <stdexcept>
#include <string>

namespace tq::amostra {

class CErroCenario : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

CDadosAmostra LeCenario(const std::string& texto);
// The same, its mistakes prefixed with the file's path ("caso.json: contrato.itens[0]...").
CDadosAmostra LeArquivoCenario(const std::string& caminho);

// The data set as a scenario file ("contrato" for one contract, "contratos" for more), amounts
// with all their decimals, texts in UTF-8: what LeCenario reads back to the same data set, but
// for the customer, which the servers never have (a month recorded from them carries none).
// Compact, on one line and without the optional members at their defaults (a month of many
// contracts is read faster).
std::string EscreveCenario(const CDadosAmostra& dados, bool bCompacto = false);

// The contract's internal number from its code: atol(codigo) / 10, unsigned.
ULONG PonteiroDoCodigo(const std::string& codigo);

} // namespace tq::amostra
