// The COM task allocator watched for a scope: every block CoTaskMemAlloc hands out and every
// block CoTaskMemFree takes back, as an IMallocSpy sees them. Tests install a counting spy to
// prove that each block a server allocates is freed exactly once, by its owner.
#pragma once

#include "tqlibex/Escopo.h"

#include <cstddef>

namespace tq {

class IEspiaAlocador {
public:
    virtual ~IEspiaAlocador() = default;
    virtual void Alocou(void* pBloco, std::size_t cb) = 0;
    virtual void Liberou(void* pBloco) = 0;
};

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
