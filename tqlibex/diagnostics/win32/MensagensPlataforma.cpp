// Windows: the messages library is a DLL found by LoadLibraryA's search (the program's folder
// first).
#include "tqlibex/diagnostics/NomesHResult.h"

#include <WinApi.h>

namespace tq::detail {

const char* const kBibliotecaMensagensPadrao = "TQLMensagem.dll";

CTQString DescricaoDaBibliotecaDeMensagens(const char* pszBiblioteca, HRESULT hr) {
    const HMODULE biblioteca = LoadLibraryA(pszBiblioteca);
    if (!biblioteca)
        return CTQString();
    using Funcao = const char*(__cdecl*)(HRESULT);
    CTQString texto;
    if (const auto funcao = reinterpret_cast<Funcao>(
            reinterpret_cast<void*>(GetProcAddress(biblioteca, "TQGetDescricaoHRESULT"))))
        texto = funcao(hr); // copied before the library goes away
    FreeLibrary(biblioteca);
    return texto;
}

} // namespace tq::detail
