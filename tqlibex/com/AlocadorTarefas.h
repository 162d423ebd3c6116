// The COM task allocator watched for a scope: every block CoTaskMemAlloc hands out and every
// block CoTaskMemFree takes back, as an IMallocSpy sees them. Tests install a counting spy to
// prove that each block a server allocates is freed exactly once, by its owner.
#pragma once

#include "tqlibex/base/Escopo.h"
#include "tqlibex/base/WinTypes.h"

#include <cstddef>

namespace tq {

class IEspiaAlocador {
public:
    virtual ~IEspiaAlocador() = default;
    virtual void Alocou(void* pBloco, std::size_t cb) = 0;
    virtual void Liberou(void* pBloco) = 0;
};

// A task-allocated copy of a text: null for a null text or when memory runs out.
char* DuplicaTexto(const char* psz);

// A zeroed task-allocated array of n records: null for none, or when memory runs out.
void* AlocaZerado(std::size_t n, std::size_t cbElemento);
template <class T>
T* AlocaArray(std::size_t n) {
    return static_cast<T*>(AlocaZerado(n, sizeof(T)));
}

// Task-allocated blocks made one after another, for a server that hands over thousands of
// arrays at once: each one a block of its own, freed with CoTaskMemFree by whoever receives it,
// in any order and from any thread, with its own size for TamanhoDoBlocoDeTarefa, and reported
// to the spy one by one. On POSIX consecutive blocks are cut from one allocation of some tens of
// kilobytes, given back when the last block cut from it is freed (and the series has moved on):
// the blocks cost what a few allocations cost. On Windows each is a CoTaskMemAlloc of its own.
class CBlocosEmSerie {
public:
    // bParaLonge: Copia writes its blocks, headers and all, past the caches (detail::
    // CopiaParaLonge), for a month of arrays larger than any cache, which the server will not
    // read again and which would have left the caches before the receiver reads it.
    explicit CBlocosEmSerie(bool bParaLonge = false) : m_bParaLonge(bParaLonge) {}
    CBlocosEmSerie(const CBlocosEmSerie&) = delete;
    CBlocosEmSerie& operator=(const CBlocosEmSerie&) = delete;
    ~CBlocosEmSerie(); // after it the blocks' bytes are seen by every thread

    // A block of cb bytes (cb may be 0); null when memory runs out.
    void* Aloca(std::size_t cb);
    // A block holding a copy of the cb bytes at pOrigem; null when memory runs out.
    void* Copia(const void* pOrigem, std::size_t cb);

private:
    void* Corta(std::size_t cb, const void* pOrigem);

    bool m_bParaLonge;
    void* m_pGrupo = nullptr; // the allocation blocks are being cut from (POSIX)
    char* m_pLivre = nullptr;
    std::size_t m_cbLivre = 0;
    std::size_t m_nCortados = 0; // blocks cut from m_pGrupo
};

namespace detail {
// A copy whose stores bypass the caches (streaming stores): no line of the destination is read
// in to be overwritten, and what the caches hold stays. Where the target has no such stores, or
// pDestino is not 16-byte aligned, a plain copy; the last cb % 16 bytes are copied plainly.
// Streaming stores are ordered with everything else only by TerminaCopiasParaLonge.
void CopiaParaLonge(void* pDestino, const void* pOrigem, std::size_t cb);
void TerminaCopiasParaLonge();

// The size the task allocator gave a block (IMalloc::GetSize on Windows): 0 for a null pointer
// and for one the allocator does not know as a block's start, SIZE_MAX when the platform cannot
// be asked.
std::size_t TamanhoDoBlocoDeTarefa(const void* pBloco);
} // namespace detail

// How many of the n records a server's count announces the block really holds. Divides rather
// than multiplies: n times the record's size wraps a 32-bit size_t.
template <class T>
ULONG RegistrosNoBloco(const T* p, ULONG n) {
    if (!p)
        return 0;
    const std::size_t nBloco = detail::TamanhoDoBlocoDeTarefa(p) / sizeof(T);
    return nBloco < n ? static_cast<ULONG>(nBloco) : n;
}
// Whether an array of n records came whole (no records need no array).
template <class T>
bool ArrayChegou(const T* p, ULONG n) {
    return n == 0 || RegistrosNoBloco(p, n) == n;
}

namespace detail {

// Makes the platform's task allocator report to the installed spy: on Windows an IMallocSpy
// registered with ole32 once (and kept, since blocks may outlive any scope); on POSIX the
// allocator reports by itself.
void PreparaEspiaDaPlataforma();
} // namespace detail

class CEscopoEspiaAlocador : public CEscopo<IEspiaAlocador> {
public:
    explicit CEscopoEspiaAlocador(IEspiaAlocador& espia) : CEscopo<IEspiaAlocador>(espia) {
        detail::PreparaEspiaDaPlataforma();
    }
};

} // namespace tq
