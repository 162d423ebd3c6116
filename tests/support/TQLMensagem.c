/* A messages library for the tests: it describes every HRESULT as "Mensagem de teste 0x%08X".
 * The library is loaded and unloaded around every description, from any thread. It is C, with
 * no thread-local storage and no pthread lock: MinGW's winpthreads, linked into a C++ DLL, takes a
 * TLS slot at each load that it never gives back, and a process that loads the DLL a thousand
 * times (a month's billing run under wine traces every server creation) runs out of them. Each
 * text stays put until the library goes away; a spin lock guards the list. */
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

struct texto {
    int32_t hr;
    struct texto* prox;
    char t[40];
};

static struct texto* textos;
static atomic_flag ocupado = ATOMIC_FLAG_INIT;

#ifdef _WIN32
__declspec(dllexport)
#endif
    const char* TQGetDescricaoHRESULT(int32_t hr) {
    while (atomic_flag_test_and_set_explicit(&ocupado, memory_order_acquire)) {
    }
    struct texto* p = textos;
    while (p && p->hr != hr)
        p = p->prox;
    if (!p && (p = calloc(1, sizeof *p)) != NULL) {
        p->hr = hr;
        snprintf(p->t, sizeof p->t, "Mensagem de teste 0x%08X", (unsigned)hr);
        p->prox = textos;
        textos = p;
    }
    atomic_flag_clear_explicit(&ocupado, memory_order_release);
    return p ? p->t : "";
}

__attribute__((destructor)) static void Libera(void) {
    while (textos) {
        struct texto* p = textos;
        textos = p->prox;
        free(p);
    }
}
