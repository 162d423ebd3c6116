// What a calculation asked its business servers and what they answered, heard from the side: every
// server object the library creates goes through a recording stand-in that passes each call on
// unchanged and notes the operation, its status and a copy of what came back, before the library
// reads (and frees) the answer. tqcalc explains a billing from this, so it says only what the
// calculation really read, in the order it read it, and names the call that stopped it.
#pragma once

#include "servers/amostra/DadosAmostra.h"
#include "tqlibex/com/PrimitivaCom.h"

#include <string>
#include <vector>

namespace tq::calc {

struct CChamada {
    std::string servidor; // "ITQGE_Faixa", ...
    std::string operacao; // "LeFaixa", ...; "criação" for an activation
    HRESULT hr = S_OK;
    // The call answered S_OK but its answer did not come whole (a count past its block, a text
    // without its end): the library refuses such an answer, and so does the record.
    bool bRecusada = false;

    std::string Nome() const { return servidor + "::" + operacao; }
};

// One stretch of the conversation (one step of a calculation), with copies of what was read.
struct CConversa {
    std::vector<CChamada> chamadas;
    // Each read once it came whole; a refused answer leaves its flag false.
    bool bContratoLido = false;
    tq::amostra::Contrato contrato;               // LeContrato: code, number and ranges
    bool bItensLidos = false;                     // LeItens
    std::vector<tq::amostra::ItemContrato> itens; // the contract's items
    bool bApontamentosLidos = false;              // LeApontamentos or Busca
    std::vector<tq::amostra::Apontamento> apontamentos;
    std::vector<tq::amostra::Faixa> faixas; // LeFaixa, each definition read whole

    // The first call that failed or whose answer was refused; null when none did.
    const CChamada* Falha() const;
};

// While it lives, the server calls this thread makes (through objects created
// in a CEscopoEscuta) are noted in `conversa`; scopes nest, the inner one hearing.
class CEscopoConversa {
public:
    explicit CEscopoConversa(CConversa& conversa);
    ~CEscopoConversa();
    CEscopoConversa(const CEscopoConversa&) = delete;
    CEscopoConversa& operator=(const CEscopoConversa&) = delete;

private:
    CConversa* m_pAnterior;
};

// While it lives, the recording stand-in stands between the library and every server object it
// creates (one scope at a time, as any port). Without a conversation in scope the stand-ins only
// pass calls on. The stand-in itself lives on after the scope: a keep-alive thread still running
// may call it.
class CEscopoEscuta {
public:
    CEscopoEscuta();
    CEscopoEscuta(const CEscopoEscuta&) = delete;
    CEscopoEscuta& operator=(const CEscopoEscuta&) = delete;

private:
    CEscopo<IPrimitivaCom> m_escopo;
};

// Server records read back into the data set's form (texts as the servers send them, 8-bit).
tq::amostra::Contrato ContratoDoRegistro(const _REG_CONTRATO_PS& r);
tq::amostra::ItemContrato ItemDoRegistro(const _REG_ITEM_CONTRATO_PS& r);
tq::amostra::Faixa FaixaDoRegistro(const REG_FAIXA_PS& r);
tq::amostra::Apontamento ApontamentoDoRegistro(const _REG_APONTAMENTO_PS& r);

} // namespace tq::calc
