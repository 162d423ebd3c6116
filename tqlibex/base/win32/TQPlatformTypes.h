// The Windows data types come from the SDK as MinGW-w64 ships it.
#pragma once

#include <WinApi.h>

#include <cstdio>

#ifndef DECIMAL_NEG
#define DECIMAL_NEG ((BYTE)0x80)
#endif

// printf-style format checking for the library's variadic functions; MinGW picks the
// archetype that matches the stdio it links (gnu_printf with its C99 stdio).
#define TQ_PRINTF_FORMAT(fmt, args) __attribute__((format(__MINGW_PRINTF_FORMAT, fmt, args)))
