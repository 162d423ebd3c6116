// The business servers' interfaces and records (widl's header from servers/TQGE.idl), with their
// byte layout held to what the servers exchange. The offsets are the 32-bit ones the suite's
// modules and servers use; in 64-bit builds each pointer widens to 8 bytes aligned to 8, as MIDL
// lays it out, which moves what follows it (the second column of each check).
#pragma once

#include <ComApi.h>
#include <TQGE.h>

#include "tqlibex/base/TQString.h"
#include "tqlibex/com/AlocadorTarefas.h"

#include <cstddef>

namespace tq::detail {
constexpr bool k32Bits = sizeof(void*) == 4;
// The offset a field has in this build: the 32-bit one, or the 64-bit one where a pointer
// before it (or it, being a pointer) widens.
constexpr std::size_t Deslocamento(std::size_t d32, std::size_t d64) {
    return k32Bits ? d32 : d64;
}
} // namespace tq::detail

#define TQ_DESLOCAMENTO(tipo, campo, d32, d64)                                                     \
    static_assert(offsetof(tipo, campo) == ::tq::detail::Deslocamento(d32, d64),                   \
                  #tipo "::" #campo " is not where the servers put it")

static_assert(sizeof(_REG_CONEXAO_PS) == 56);
TQ_DESLOCAMENTO(_REG_CONEXAO_PS, numeroCurto, 48, 48);
TQ_DESLOCAMENTO(_REG_CONEXAO_PS, numeroLongo, 52, 52);

static_assert(sizeof(_REG_FILTRO_APONTAMENTOS_PS) == 96);
TQ_DESLOCAMENTO(_REG_FILTRO_APONTAMENTOS_PS, maInicial, 64, 64);
TQ_DESLOCAMENTO(_REG_FILTRO_APONTAMENTOS_PS, maFinal, 66, 66);
TQ_DESLOCAMENTO(_REG_FILTRO_APONTAMENTOS_PS, pontContr, 80, 80);

static_assert(sizeof(_REG_CONSULTA_PS) == ::tq::detail::Deslocamento(16, 24));
TQ_DESLOCAMENTO(_REG_CONSULTA_PS, buffer, 8, 8);

static_assert(sizeof(_REG_ITEM_APONTAMENTO_PS) == 56);
TQ_DESLOCAMENTO(_REG_ITEM_APONTAMENTO_PS, horaInicial, 2, 2);
TQ_DESLOCAMENTO(_REG_ITEM_APONTAMENTO_PS, horaFinal, 4, 4);
TQ_DESLOCAMENTO(_REG_ITEM_APONTAMENTO_PS, servico, 8, 8);
TQ_DESLOCAMENTO(_REG_ITEM_APONTAMENTO_PS, executor, 12, 12);
TQ_DESLOCAMENTO(_REG_ITEM_APONTAMENTO_PS, quantidade, 16, 16);
TQ_DESLOCAMENTO(_REG_ITEM_APONTAMENTO_PS, descTotal, 24, 24);
TQ_DESLOCAMENTO(_REG_ITEM_APONTAMENTO_PS, pesoEntrada, 32, 32);
TQ_DESLOCAMENTO(_REG_ITEM_APONTAMENTO_PS, pesoSaida, 40, 40);
TQ_DESLOCAMENTO(_REG_ITEM_APONTAMENTO_PS, data, 48, 48);

static_assert(sizeof(_REG_APONTAMENTO_PS) == ::tq::detail::Deslocamento(152, 160));
TQ_DESLOCAMENTO(_REG_APONTAMENTO_PS, residuos, 56, 56);
TQ_DESLOCAMENTO(_REG_APONTAMENTO_PS, listarNF, 108, 108);
TQ_DESLOCAMENTO(_REG_APONTAMENTO_PS, ma, 112, 112);
TQ_DESLOCAMENTO(_REG_APONTAMENTO_PS, ponteiro, 120, 120);
TQ_DESLOCAMENTO(_REG_APONTAMENTO_PS, pontContr, 124, 124);
TQ_DESLOCAMENTO(_REG_APONTAMENTO_PS, qtdItens, 128, 128);
TQ_DESLOCAMENTO(_REG_APONTAMENTO_PS, motorista, 132, 132);
TQ_DESLOCAMENTO(_REG_APONTAMENTO_PS, placa, 136, 136);
TQ_DESLOCAMENTO(_REG_APONTAMENTO_PS, municipio, 140, 140);
TQ_DESLOCAMENTO(_REG_APONTAMENTO_PS, itens, 148, 152);

static_assert(sizeof(_REG_PONTEIRO_APONTAMENTO_PS) == 8);
TQ_DESLOCAMENTO(_REG_PONTEIRO_APONTAMENTO_PS, ponteiro, 4, 4);

static_assert(sizeof(_REG_CLASSIFICACAO_GE_PS) == 32);
TQ_DESLOCAMENTO(_REG_CLASSIFICACAO_GE_PS, percentual, 8, 8);
TQ_DESLOCAMENTO(_REG_CLASSIFICACAO_GE_PS, valor, 16, 16);
TQ_DESLOCAMENTO(_REG_CLASSIFICACAO_GE_PS, descricao, 24, 24);

static_assert(sizeof(_REG_ITEM_CONTRATO_PS) == ::tq::detail::Deslocamento(56, 64));
TQ_DESLOCAMENTO(_REG_ITEM_CONTRATO_PS, servico, 8, 8);
TQ_DESLOCAMENTO(_REG_ITEM_CONTRATO_PS, precoUnitario, 16, 16);
TQ_DESLOCAMENTO(_REG_ITEM_CONTRATO_PS, precoExcedente, 24, 24);
TQ_DESLOCAMENTO(_REG_ITEM_CONTRATO_PS, franquia, 32, 32);
TQ_DESLOCAMENTO(_REG_ITEM_CONTRATO_PS, texto, 40, 40);
TQ_DESLOCAMENTO(_REG_ITEM_CONTRATO_PS, qtdClassificacoes, 44, 48);
TQ_DESLOCAMENTO(_REG_ITEM_CONTRATO_PS, classificacoes, 48, 56);

static_assert(sizeof(_REG_FAIXA_CONTRATO_PS) == ::tq::detail::Deslocamento(32, 40));
TQ_DESLOCAMENTO(_REG_FAIXA_CONTRATO_PS, codigoFaixa, 12, 12);
TQ_DESLOCAMENTO(_REG_FAIXA_CONTRATO_PS, qtdClassificacoes, 16, 16);
TQ_DESLOCAMENTO(_REG_FAIXA_CONTRATO_PS, classificacoes, 20, 24);

static_assert(sizeof(_REG_CONTRATO_PS) == ::tq::detail::Deslocamento(36, 40));
TQ_DESLOCAMENTO(_REG_CONTRATO_PS, pontContr, 24, 24);
TQ_DESLOCAMENTO(_REG_CONTRATO_PS, faixas, 32, 32);

static_assert(sizeof(_REG_BANDA_FAIXA_PS) == 32);
TQ_DESLOCAMENTO(_REG_BANDA_FAIXA_PS, superior, 4, 4);
TQ_DESLOCAMENTO(_REG_BANDA_FAIXA_PS, preco, 16, 16);

static_assert(sizeof(REG_FAIXA_PS) == ::tq::detail::Deslocamento(120, 128));
TQ_DESLOCAMENTO(REG_FAIXA_PS, servico, 96, 96);
TQ_DESLOCAMENTO(REG_FAIXA_PS, qtdBandas, 100, 100);
TQ_DESLOCAMENTO(REG_FAIXA_PS, bandas, 116, 120);

static_assert(sizeof(REG_APONTAMENTO_CALCULADO) == ::tq::detail::Deslocamento(344, 352));
TQ_DESLOCAMENTO(REG_APONTAMENTO_CALCULADO, servico, 32, 32);
TQ_DESLOCAMENTO(REG_APONTAMENTO_CALCULADO, descricao, 36, 36);
TQ_DESLOCAMENTO(REG_APONTAMENTO_CALCULADO, itemContrato, 288, 288);

#undef TQ_DESLOCAMENTO

namespace tq {
// What the receiver of each record owns, freed with CoTaskMemFree and the pointers cleared: an
// array goes after the blocks its elements own. Null arrays and texts are passed over, and no
// more elements are visited than their block holds, whatever the count says: an answer refused
// for its counts is freed through these too.
void LiberaClassificacoes(_REG_CLASSIFICACAO_GE_PS* p, ULONG n);
void LiberaItemContrato(_REG_ITEM_CONTRATO_PS& item);
void LiberaItensContrato(_REG_ITEM_CONTRATO_PS* p, ULONG n);
void LiberaApontamentos(_REG_APONTAMENTO_PS* p, ULONG n);
void LiberaFaixa(REG_FAIXA_PS& faixa);
void LiberaContrato(_REG_CONTRATO_PS& contrato);
// What a priced line owns: its contract item's text and classification list.
void LiberaApontamentoCalculado(REG_APONTAMENTO_CALCULADO& linha);

// Whether an answer came whole: every count held to the block its array came in, every text
// ending inside its block. In one process nothing else tells a receiver that a server's count
// runs past its array; a refused answer gets HRESULT_FROM_WIN32(RPC_X_BAD_STUB_DATA).
constexpr HRESULT kDadosRuins = static_cast<HRESULT>(0x800706F7u);
bool ItensContratoChegaram(const _REG_ITEM_CONTRATO_PS* p, ULONG n);
bool ContratoChegou(const _REG_CONTRATO_PS& contrato);
bool ApontamentosChegaram(const _REG_APONTAMENTO_PS* p, ULONG n);

namespace detail {
// Asks the processor for the first cb bytes at p (at most a kilobyte), ahead of their use; a
// prefetch never faults, whatever p is. Straight-line and always inlined on purpose: GCC takes
// a function or a loop that does nothing but prefetch for one without effect, and drops it.
template <std::size_t k = 0>
[[gnu::always_inline]] inline void AdiantaLeitura(const char* p, std::size_t cb) {
    if constexpr (k < 16) {
        if (64 * k < cb) {
            __builtin_prefetch(p + 64 * k);
            AdiantaLeitura<k + 1>(p, cb);
        }
    }
}

// Asks for the item array of the record some records ahead of record i. A month's item arrays
// are separate blocks, and a loop that does real work per item keeps too few reads in flight
// to hide the memory's latency by itself. The count has not been held to its block yet: only
// what it claims, up to a kilobyte, is asked for.
constexpr ULONG kRegistrosAdiante = 8;
[[gnu::always_inline]] inline void AdiantaItens(const _REG_APONTAMENTO_PS* p, ULONG n, ULONG i) {
    if (i + kRegistrosAdiante < n) {
        const _REG_APONTAMENTO_PS& r = p[i + kRegistrosAdiante];
        AdiantaLeitura(reinterpret_cast<const char*>(r.itens),
                       r.itens ? std::size_t{r.qtdItens} * sizeof(_REG_ITEM_APONTAMENTO_PS) : 0);
    }
}
} // namespace detail

// A server's time records where they came, in the server's own block: nothing is copied. The
// outer array is held to its block on arrival; each record's item array is held to its own
// block by whoever reads it (ItensChegaram), just before reading it, so that a month of records
// is not walked twice. What is still held goes when the holder does: the item arrays not freed
// yet (no further than the block's records), then the array.
class CApontamentosRecebidos {
public:
    CApontamentosRecebidos() = default;
    CApontamentosRecebidos(const CApontamentosRecebidos&) = delete;
    CApontamentosRecebidos& operator=(const CApontamentosRecebidos&) = delete;
    ~CApontamentosRecebidos() { Libera(); }

    // Takes over a server's answer; an array its count runs past is freed here and gives
    // kDadosRuins.
    HRESULT Recebe(_REG_APONTAMENTO_PS* p, ULONG n);
    _REG_APONTAMENTO_PS* begin() { return m_p; }
    _REG_APONTAMENTO_PS* end() { return m_p + m_n; }
    ULONG GetSize() const { return m_n; }
    // Whether the record's item array came whole.
    static bool ItensChegaram(const _REG_APONTAMENTO_PS& r) {
        return ArrayChegou(r.itens, r.qtdItens);
    }
    // Done with one of the records: its item array is freed now (the record stays, with none).
    // At most once per record: once every record has been through here, the holder frees only
    // the array, without walking it again.
    void LiberaItens(_REG_APONTAMENTO_PS& r);
    void Libera();

private:
    _REG_APONTAMENTO_PS* m_p = nullptr;
    ULONG m_n = 0;
    ULONG m_nComItens = 0; // records whose item arrays are still held
};

} // namespace tq

namespace tq {
// The connection record of a session (for the time calculation, the login record): all zero,
// then the text copied with a limit of 47 bytes including its terminator, and the two numbers.
_REG_CONEXAO_PS RegistroDeConexao(const char* pszTexto, USHORT wNumero, ULONG dwNumero);
} // namespace tq
