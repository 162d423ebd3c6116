// The one place that includes <windows.h>. Everything Windows-specific is reached through it.
#pragma once

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <objbase.h>
#include <oleauto.h>
#include <windows.h>

// <winbase.h> defines GetCurrentTime as a macro; the library has its own functions of that stem.
#undef GetCurrentTime
