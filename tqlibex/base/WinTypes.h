// The runtime layer's fixed-width Windows types: LONG, ULONG, DWORD, HRESULT (32 bits on every
// target), tagCY, DECIMAL, GUID/CLSID/IID and the HRESULT helpers. The platform folder supplies
// them; everything else in the library includes this header only.
#pragma once

#include <TQPlatformTypes.h>

#include <cstddef>

static_assert(sizeof(LONG) == 4 && sizeof(ULONG) == 4 && sizeof(DWORD) == 4);
static_assert(sizeof(HRESULT) == 4 && sizeof(SHORT) == 2 && sizeof(WORD) == 2);
static_assert(sizeof(tagCY) == 8 && alignof(tagCY) == 8);
static_assert(sizeof(DECIMAL) == 16 && offsetof(DECIMAL, scale) == 2 &&
              offsetof(DECIMAL, sign) == 3 && offsetof(DECIMAL, Hi32) == 4 &&
              offsetof(DECIMAL, Lo64) == 8);
static_assert(sizeof(GUID) == 16 && offsetof(GUID, Data4) == 8);

namespace tq::detail {
// Windows aligns a currency to 8 even in 32-bit code, so a LONG before one leaves a gap; every
// server record relies on it.
struct RegistroComMoeda {
    LONG n;
    tagCY cy;
};
static_assert(offsetof(RegistroComMoeda, cy) == 8 && sizeof(RegistroComMoeda) == 16);
static_assert(HRESULT_FROM_WIN32(1722) == static_cast<HRESULT>(0x800706BA) &&
              HRESULT_FROM_WIN32(0) == 0);
} // namespace tq::detail
