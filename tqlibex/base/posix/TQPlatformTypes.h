// The Windows data types as POSIX builds define them. Every width is the Windows one:
// LONG, ULONG, DWORD and HRESULT are 32 bits here as there, whatever `long` is.
#pragma once

#include <cstddef>
#include <cstdint>

using CHAR = char;
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using USHORT = std::uint16_t;
using SHORT = std::int16_t;
using INT = int;
using UINT = unsigned int;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using DWORD = std::uint32_t;
using BOOL = int;
using LONGLONG = long long;
using ULONGLONG = unsigned long long;
using INT_PTR = std::intptr_t;
using UINT_PTR = std::uintptr_t;
using HRESULT = LONG;

// Windows aligns 64-bit members to 8 even in 32-bit code; gcc -m32 would align them to 4.
// Records carry these types, so they keep the Windows alignment on every target.
union alignas(8) tagCY {
    struct {
        ULONG Lo;
        LONG Hi;
    };
    LONGLONG int64;
};
using CY = tagCY;
using LPCY = CY*;

struct alignas(8) tagDEC {
    USHORT wReserved;
    union {
        struct {
            BYTE scale;
            BYTE sign;
        };
        USHORT signscale;
    };
    ULONG Hi32;
    union {
        struct {
            ULONG Lo32;
            ULONG Mid32;
        };
        ULONGLONG Lo64;
    };
};
using DECIMAL = tagDEC;
using LPDECIMAL = DECIMAL*;

#define DECIMAL_NEG ((BYTE)0x80)

struct GUID {
    DWORD Data1;
    WORD Data2;
    WORD Data3;
    BYTE Data4[8];
};
using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

inline bool operator==(const GUID& a, const GUID& b) {
    return a.Data1 == b.Data1 && a.Data2 == b.Data2 && a.Data3 == b.Data3 &&
           a.Data4[0] == b.Data4[0] && a.Data4[1] == b.Data4[1] && a.Data4[2] == b.Data4[2] &&
           a.Data4[3] == b.Data4[3] && a.Data4[4] == b.Data4[4] && a.Data4[5] == b.Data4[5] &&
           a.Data4[6] == b.Data4[6] && a.Data4[7] == b.Data4[7];
}
inline bool operator!=(const GUID& a, const GUID& b) {
    return !(a == b);
}

// HRESULT layout and helpers, as winerror.h defines them.
#define SUCCEEDED(hr) (((HRESULT)(hr)) >= 0)
#define FAILED(hr) (((HRESULT)(hr)) < 0)
#define HRESULT_CODE(hr) ((hr)&0xFFFF)
#define HRESULT_FACILITY(hr) (((hr) >> 16) & 0x1FFF)
#define HRESULT_SEVERITY(hr) (((hr) >> 31) & 0x1)

constexpr int FACILITY_WIN32 = 7;
constexpr HRESULT HRESULT_FROM_WIN32(unsigned long x) {
    return static_cast<HRESULT>(x) <= 0
               ? static_cast<HRESULT>(x)
               : static_cast<HRESULT>((x & 0x0000FFFFu) | (FACILITY_WIN32 << 16) | 0x80000000u);
}

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001u);
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004u);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFFu);
constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005u);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
constexpr HRESULT DISP_E_TYPEMISMATCH = static_cast<HRESULT>(0x80020005u);
constexpr HRESULT DISP_E_OVERFLOW = static_cast<HRESULT>(0x8002000Au);
constexpr HRESULT DISP_E_DIVBYZERO = static_cast<HRESULT>(0x80020012u);
constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154u);
constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110u);
constexpr HRESULT RPC_E_TOO_LATE = static_cast<HRESULT>(0x80010119u);

// The OLE Automation currency and decimal functions. On POSIX they are the library's
// portable exact implementation (tq::oleaut); on Windows they come from oleaut32.
HRESULT VarCyAdd(CY cyLeft, CY cyRight, LPCY pcyResult);
HRESULT VarCySub(CY cyLeft, CY cyRight, LPCY pcyResult);
HRESULT VarCyMul(CY cyLeft, CY cyRight, LPCY pcyResult);
HRESULT VarDecFromCy(CY cyIn, DECIMAL* pdecOut);
HRESULT VarDecFromI2(SHORT sIn, DECIMAL* pdecOut);
HRESULT VarDecDiv(LPDECIMAL pdecLeft, LPDECIMAL pdecRight, LPDECIMAL pdecResult);
HRESULT VarCyFromDec(DECIMAL* pdecIn, CY* pcyOut);

// Time as Windows keeps it: FILETIME counts 100-nanosecond ticks since 1601-01-01.
struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};
struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};

constexpr DWORD ERROR_SUCCESS = 0;
constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
constexpr DWORD ERROR_INVALID_PARAMETER = 87;

// The calling thread's last error, as kernel32 keeps it.
DWORD GetLastError();
void SetLastError(DWORD dwErrCode);

// Calendar conversions with kernel32's rules: years 1601 to 30827, every field in range (the day
// of the week is ignored on input), FILETIME values up to 0x7FFFFFFFFFFFFFFF. On failure they
// answer FALSE with ERROR_INVALID_PARAMETER as the last error.
BOOL SystemTimeToFileTime(const SYSTEMTIME* lpSystemTime, FILETIME* lpFileTime);
BOOL FileTimeToSystemTime(const FILETIME* lpFileTime, SYSTEMTIME* lpSystemTime);

// Event types of the event log.
constexpr WORD EVENTLOG_SUCCESS = 0x0000;
constexpr WORD EVENTLOG_ERROR_TYPE = 0x0001;
constexpr WORD EVENTLOG_WARNING_TYPE = 0x0002;
constexpr WORD EVENTLOG_INFORMATION_TYPE = 0x0004;
constexpr WORD EVENTLOG_AUDIT_SUCCESS = 0x0008;
constexpr WORD EVENTLOG_AUDIT_FAILURE = 0x0010;

// printf-style format checking for the library's variadic functions.
#define TQ_PRINTF_FORMAT(fmt, args) __attribute__((format(printf, fmt, args)))
