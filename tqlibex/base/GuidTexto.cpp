#include "tqlibex/base/GuidTexto.h"

#include <cstdio>
#include <cstring>

namespace tq {

CTQString GuidParaTexto(const GUID& g) {
    char text[39];
    std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  static_cast<unsigned>(g.Data1), static_cast<unsigned>(g.Data2),
                  static_cast<unsigned>(g.Data3), g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3],
                  g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]);
    return text;
}

namespace {
int Hex(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}
} // namespace

bool TextoParaGuid(const char* psz, GUID& guid) {
    // Positions of the 32 hex digits in "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}".
    if (!psz || std::strlen(psz) != 38 || psz[0] != '{' || psz[37] != '}' || psz[9] != '-' ||
        psz[14] != '-' || psz[19] != '-' || psz[24] != '-')
        return false;
    unsigned char bytes[16];
    int pos = 1;
    for (unsigned char& b : bytes) {
        if (psz[pos] == '-')
            ++pos;
        const int hi = Hex(psz[pos]), lo = Hex(psz[pos + 1]);
        if (hi < 0 || lo < 0)
            return false;
        b = static_cast<unsigned char>(hi * 16 + lo);
        pos += 2;
    }
    GUID g;
    g.Data1 = (DWORD{bytes[0]} << 24) | (DWORD{bytes[1]} << 16) | (DWORD{bytes[2]} << 8) | bytes[3];
    g.Data2 = static_cast<WORD>((bytes[4] << 8) | bytes[5]);
    g.Data3 = static_cast<WORD>((bytes[6] << 8) | bytes[7]);
    std::memcpy(g.Data4, bytes + 8, 8);
    guid = g;
    return true;
}

} // namespace tq
