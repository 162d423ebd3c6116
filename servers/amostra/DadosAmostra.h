// The sample business server's data set: contracts with their items, ranges and classifications,
// range definitions with their bands, and time records by month and contract; plus the faults a
// test or a support person scripts (call N of an operation answers a given HRESULT) and the
// hostile answers a broken server gives. Amounts are raw integers: prices of contract items with
// eight decimals, every other amount, quantity and percentage with four.
#pragma once

#include "servers/RegistrosGE.h"
#include "tqlibex/base/WinTypes.h"

#include <string>
#include <vector>

namespace tq::amostra {

struct Classificacao {
    ULONG codigo = 0;
    LONGLONG percentual = 0; // four decimals: 1,000,000 is the whole
    std::string descricao;
};

struct ItemContrato {
    ULONG servico = 0;
    LONGLONG precoUnitario = 0;  // eight decimals
    LONGLONG precoExcedente = 0; // eight decimals
    LONGLONG franquia = 0;       // four decimals
    std::string texto;
    std::vector<Classificacao> classificacoes;
};

struct FaixaContrato {
    ULONG codigo = 0; // the range definition
    std::vector<Classificacao> classificacoes;
};

struct Contrato {
    std::string codigo; // its last digit a check digit
    ULONG ponteiro = 0;
    std::vector<ItemContrato> itens;
    std::vector<FaixaContrato> faixas;
    // The customer, as a scenario names them for tqcalc's statement: no server carries them.
    std::string clienteNome, clienteDocumento;
};

struct Banda {
    LONG inferior = 0;
    LONG superior = 0; // 0: open
    LONGLONG preco = 0;
};

struct Faixa {
    ULONG codigo = 0;
    ULONG servico = 0;
    std::string descricao;
    std::vector<Banda> bandas;
};

// An item is kept as the server sends it: a month's items go out with one copy.
using ItemApontamento = _REG_ITEM_APONTAMENTO_PS;

struct Apontamento {
    WORD ma = 0; // packed as CTQMa
    ULONG ponteiro = 0;
    ULONG pontContr = 0;
    std::string codigo; // a code of 56 characters or more arrives without a terminator
    BYTE listarNF = 0;
    ULONG motorista = 0;
    ULONG placa = 0;
    ULONG municipio = 0;
    std::string residuos;
    std::vector<ItemApontamento> itens;
};

// Call `chamada` (counted from 1, per server and operation) answers hr and does nothing else.
// A success code on KeepAlive makes it answer FALSE. With `encerra`, a server in a process of its
// own ends that process inside the call instead (a server killed mid-calculation).
struct Falha {
    std::string servidor; // "ITQGE_Apontamentos", "ITQGE_Contratos", "ITQGE_Faixa"
    std::string operacao; // the operation's name in the IDL, or "KeepAlive"
    int chamada = 1;
    HRESULT hr = 0;
    bool encerra = false;
};

// A broken server's answer to every call of one operation that returns an array:
// - ContagemSemArray: a count with no array;
// - ContagemMaiorQueOArray: a count one larger than the array it sends;
// - ItensMaiorQueOArray: each record claims one element more than its inner array holds (a time
//   record's items; a contract item's or a contract range's classifications).
// In one process nothing but the block's size tells a receiver that a count runs past its array:
// the library asks the task allocator (IMalloc::GetSize), so these reach it as failures, not as
// reads past the end. Through a proxy the marshaller sends exactly as many elements as the count
// says, reading them from the server's memory: a count past the array is the server's crash.
enum class ETipoHostil { ContagemSemArray, ContagemMaiorQueOArray, ItensMaiorQueOArray };
struct Hostilidade {
    std::string servidor;
    std::string operacao;
    ETipoHostil tipo = ETipoHostil::ContagemSemArray;
};

struct CDadosAmostra {
    std::vector<Contrato> contratos;
    std::vector<Faixa> faixas;
    std::vector<Apontamento> apontamentos;
    std::vector<Falha> falhas;
    std::vector<Hostilidade> hostilidades;
};

} // namespace tq::amostra
