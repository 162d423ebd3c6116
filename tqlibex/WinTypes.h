// The runtime layer's fixed-width Windows types: LONG, ULONG, DWORD, HRESULT (32 bits on every
// target), tagCY, DECIMAL, GUID/CLSID/IID and the HRESULT helpers. The platform folder supplies
// them; everything else in the library includes this header only.
#pragma once

#include <TQPlatformTypes.h>

static_assert(sizeof(LONG) == 4 && sizeof(ULONG) == 4 && sizeof(DWORD) == 4);
static_assert(sizeof(HRESULT) == 4 && sizeof(SHORT) == 2 && sizeof(WORD) == 2);
static_assert(sizeof(tagCY) == 8 && alignof(tagCY) == 8);
static_assert(sizeof(DECIMAL) == 16);
static_assert(sizeof(GUID) == 16);
