// POSIX: the messages library is a shared object found by dlopen's usual search.
#include "tqlibex/diagnostics/NomesHResult.h"

#include <dlfcn.h>

namespace tq::detail {

const char* const kBibliotecaMensagensPadrao = "libTQLMensagem.so";

CTQString DescricaoDaBibliotecaDeMensagens(const char* pszBiblioteca, HRESULT hr) {
    void* biblioteca = dlopen(pszBiblioteca, RTLD_NOW | RTLD_LOCAL);
    if (!biblioteca)
        return CTQString();
    using Funcao = const char* (*)(HRESULT);
    CTQString texto;
    if (const auto funcao = reinterpret_cast<Funcao>(dlsym(biblioteca, "TQGetDescricaoHRESULT")))
        texto = funcao(hr); // copied before the library goes away
    dlclose(biblioteca);
    return texto;
}

} // namespace tq::detail
