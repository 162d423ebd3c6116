// Taking an HRESULT apart and naming it: severity (bit 31), facility (bits 16-28), code (bits
// 0-15). Every name comes back as a CTQString (8-bit, Windows-1252), from a zeroed 400-byte buffer.
#pragma once

#include "tqlibex/base/TQString.h"
#include "tqlibex/base/WinTypes.h"

#include <initializer_list>

// "SEVERITY_SUCCESS" or "SEVERITY_ERROR".
CTQString GetNomeSeverity(HRESULT hr);
// winerror.h's FACILITY_* names and the suite's own (TQ_FACILITY_*, 236 to 266, none for 256 to
// 261); anything else is "Desconhecido ou novo código de FACILITY".
CTQString GetNomeFacility(HRESULT hr);
// The Win32 name of the code part ("RPC_S_SERVER_UNAVAILABLE"); empty for facility 4 (interface
// codes have no Win32 meaning) and for unknown codes.
CTQString GetNomeCodigoWin32(HRESULT hr);
// The symbolic name of the whole value ("E_INVALIDARG"); empty when unknown.
CTQString GetNomeHResult(HRESULT hr);
// For facility 4, whatever the severity bit, the suite's own description of the code; otherwise
// (or when the code has none) the messages library's: "TQLMensagem.dll" on Windows,
// "libTQLMensagem.so" elsewhere, export `const char* TQGetDescricaoHRESULT(HRESULT)` (C linkage,
// cdecl). Empty when neither knows the value; a missing library or export is silent.
CTQString GetDescricaoHResult(HRESULT hr);

// Whether hr is in the list of HRESULTs that follows, ended by -1. Each value is compared first
// and only then tested as the terminator, so an hr of -1 (0xFFFFFFFF) is always "in the list".
bool HResultNaLista(HRESULT hr, ...);

namespace tq::detail {

// HResultNaLista over a list without terminator, with the same order: -1 always matches.
bool HResultNaLista(HRESULT hr, std::initializer_list<HRESULT> lista);

// "TQLMensagem.dll" on Windows, "libTQLMensagem.so" elsewhere.
extern const char* const kBibliotecaMensagensPadrao;

// The library name GetDescricaoHResult loads, replaceable for a scope (tests load a library of
// their own, or one that does not exist).
const char* NomeBibliotecaMensagens();
class CEscopoBibliotecaMensagens {
public:
    explicit CEscopoBibliotecaMensagens(const char* pszNome);
    ~CEscopoBibliotecaMensagens();
    CEscopoBibliotecaMensagens(const CEscopoBibliotecaMensagens&) = delete;
    CEscopoBibliotecaMensagens& operator=(const CEscopoBibliotecaMensagens&) = delete;

private:
    const char* m_pszAnterior;
};

// The platform side: load the library, call its export, copy the text, unload. Empty on any
// failure.
CTQString DescricaoDaBibliotecaDeMensagens(const char* pszBiblioteca, HRESULT hr);

} // namespace tq::detail
