// Facts about the platform the library runs on.
#pragma once

namespace tq {

// True when a Windows build runs under wine rather than on Windows. Tests use it to tell
// Windows' behaviour from wine's known differences; the library never changes course on it.
bool RodandoSobWine();

// Standard output written byte for byte: no "\r" put before each "\n" on Windows, so that a
// tool's output is the same file on every platform.
void SaidaPadraoBinaria();

} // namespace tq
