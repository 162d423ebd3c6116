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

namespace detail {
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
