// Facts about the platform the library runs on, and the console a tool writes to.
#pragma once

#include <cstddef>
#include <string_view>

namespace tq {

// True when a Windows build runs under wine rather than on Windows. Tests use it to tell
// Windows' behaviour from wine's known differences; the library never changes course on it.
bool RodandoSobWine();

// Standard output written byte for byte: no "\r" put before each "\n" on Windows, so that a
// tool's output is the same file on every platform.
void SaidaPadraoBinaria();

enum class EFluxo { Saida, Erro };
// Whether standard output or error is a terminal (a console) a person is looking at.
bool EhTerminal(EFluxo fluxo);
// Writes UTF-8 text to standard output or error. A Windows console gets it as UTF-16, so that
// accents show whatever its code page; a pipe, a file and every POSIX stream get the bytes as
// they are. False when the text could not all be written (a full disk, a closed pipe).
bool EscreveTexto(EFluxo fluxo, std::string_view utf8);

// Asks the platform to back the whole large pages inside [p, p + cb) with large pages when they
// are first touched: a table of tens of megabytes read from end to end then costs one page walk
// per 2 MiB instead of one per 4 KiB. Linux's transparent huge pages; elsewhere nothing.
void PedePaginasGrandes(void* p, std::size_t cb);

} // namespace tq
