#include "tqlibex/base/TQString.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <stdexcept>

std::size_t CTQString::CheckIndex(int nIndex) const {
    if (nIndex < 0 || nIndex >= GetLength())
        throw std::out_of_range("CTQString: index outside the string");
    return static_cast<std::size_t>(nIndex);
}

void CTQString::FormatV(const char* pszFormat, va_list args) {
    va_list copy;
    va_copy(copy, args);
    const int n = std::vsnprintf(nullptr, 0, pszFormat, copy);
    va_end(copy);
    if (n < 0) {
        m_s.clear();
        return;
    }
    std::string out(static_cast<std::size_t>(n) + 1, '\0');
    std::vsnprintf(out.data(), out.size(), pszFormat, args);
    out.resize(static_cast<std::size_t>(n));
    m_s = std::move(out);
}

void CTQString::Format(const char* pszFormat, ...) {
    va_list args;
    va_start(args, pszFormat);
    FormatV(pszFormat, args);
    va_end(args);
}

void CTQString::AppendFormat(const char* pszFormat, ...) {
    CTQString tail;
    va_list args;
    va_start(args, pszFormat);
    tail.FormatV(pszFormat, args);
    va_end(args);
    m_s += tail.m_s;
}

void CTQString::Append(const char* psz, int nLength) {
    if (psz && nLength > 0)
        m_s.append(psz, static_cast<std::size_t>(nLength));
}

int CTQString::Compare(const char* psz) const {
    const int r = std::strcmp(m_s.c_str(), psz ? psz : "");
    return (r > 0) - (r < 0);
}

int CTQString::CompareNoCase(const char* psz) const {
    const unsigned char* a = reinterpret_cast<const unsigned char*>(m_s.c_str());
    const unsigned char* b = reinterpret_cast<const unsigned char*>(psz ? psz : "");
    for (;; ++a, ++b) {
        const int ca = std::tolower(*a), cb = std::tolower(*b);
        if (ca != cb)
            return ca < cb ? -1 : 1;
        if (ca == 0)
            return 0;
    }
}

CTQString CTQString::Left(int nCount) const {
    nCount = std::clamp(nCount, 0, GetLength());
    return CTQString(m_s.substr(0, static_cast<std::size_t>(nCount)));
}

CTQString CTQString::Mid(int iFirst) const {
    return Mid(iFirst, GetLength());
}

CTQString CTQString::Mid(int iFirst, int nCount) const {
    iFirst = std::clamp(iFirst, 0, GetLength());
    nCount = std::clamp(nCount, 0, GetLength() - iFirst);
    return CTQString(
        m_s.substr(static_cast<std::size_t>(iFirst), static_cast<std::size_t>(nCount)));
}

CTQString CTQString::Right(int nCount) const {
    nCount = std::clamp(nCount, 0, GetLength());
    return CTQString(m_s.substr(m_s.size() - static_cast<std::size_t>(nCount)));
}

int CTQString::Find(char ch, int iStart) const {
    if (iStart < 0 || iStart > GetLength())
        return -1;
    const auto pos = m_s.find(ch, static_cast<std::size_t>(iStart));
    return pos == std::string::npos ? -1 : static_cast<int>(pos);
}

int CTQString::Find(const char* pszSub, int iStart) const {
    if (!pszSub || iStart < 0 || iStart > GetLength())
        return -1;
    const auto pos = m_s.find(pszSub, static_cast<std::size_t>(iStart));
    return pos == std::string::npos ? -1 : static_cast<int>(pos);
}

int CTQString::ReverseFind(char ch) const {
    const auto pos = m_s.rfind(ch);
    return pos == std::string::npos ? -1 : static_cast<int>(pos);
}

int CTQString::Replace(const char* pszOld, const char* pszNew) {
    if (!pszOld || !*pszOld)
        return 0;
    const std::string_view from(pszOld), to(pszNew ? pszNew : "");
    int count = 0;
    std::string out;
    std::size_t pos = 0;
    for (std::size_t hit; (hit = m_s.find(from, pos)) != std::string::npos;
         pos = hit + from.size()) {
        out.append(m_s, pos, hit - pos).append(to);
        ++count;
    }
    if (count) {
        out.append(m_s, pos, std::string::npos);
        m_s = std::move(out);
    }
    return count;
}

int CTQString::Remove(char ch) {
    const auto before = m_s.size();
    m_s.erase(std::remove(m_s.begin(), m_s.end(), ch), m_s.end());
    return static_cast<int>(before - m_s.size());
}

// Case changes touch ASCII letters only: the text is Windows-1252 and the C locale says nothing
// about its upper half.
CTQString& CTQString::MakeUpper() {
    for (char& c : m_s)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return *this;
}

CTQString& CTQString::MakeLower() {
    for (char& c : m_s)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return *this;
}

static bool IsBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

CTQString& CTQString::TrimLeft() {
    m_s.erase(m_s.begin(), std::find_if_not(m_s.begin(), m_s.end(), IsBlank));
    return *this;
}

CTQString& CTQString::TrimRight() {
    m_s.erase(std::find_if_not(m_s.rbegin(), m_s.rend(), IsBlank).base(), m_s.end());
    return *this;
}

CTQString& CTQString::Trim() {
    return TrimRight().TrimLeft();
}

char* CTQString::GetBuffer(int nMinBufLength) {
    if (nMinBufLength > GetLength())
        m_s.resize(static_cast<std::size_t>(nMinBufLength), '\0');
    return m_s.data();
}

void CTQString::ReleaseBuffer(int nNewLength) {
    if (nNewLength < 0)
        nNewLength = static_cast<int>(std::strlen(m_s.c_str()));
    m_s.resize(static_cast<std::size_t>(std::min(nNewLength, GetLength())));
}

namespace tq {

CTQString TextoDoCampo(const char* pCampo, std::size_t nTamanho) {
    if (!pCampo)
        return CTQString();
    const void* pFim = std::memchr(pCampo, '\0', nTamanho);
    const std::size_t n =
        pFim ? static_cast<std::size_t>(static_cast<const char*>(pFim) - pCampo) : nTamanho;
    return CTQString(std::string(pCampo, n));
}

void TextoParaCampo(char* pCampo, std::size_t nTamanho, const char* pszTexto) {
    if (!pCampo || nTamanho == 0)
        return;
    std::memset(pCampo, 0, nTamanho);
    if (pszTexto)
        std::memcpy(pCampo, pszTexto, strnlen(pszTexto, nTamanho - 1));
}

} // namespace tq

namespace tq {

namespace {
// Windows-1252's 0x80-0x9F; the rest of its upper half is Latin-1.
constexpr char16_t k80a9F[32] = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                 0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};
} // namespace

std::string ParaUtf8(std::string_view texto1252) {
    std::string saida;
    saida.reserve(texto1252.size());
    for (const char ch : texto1252) {
        const unsigned char b = static_cast<unsigned char>(ch);
        const unsigned c = b < 0x80 ? b : b < 0xA0 ? k80a9F[b - 0x80] : b;
        if (c < 0x80) {
            saida += static_cast<char>(c);
        } else if (c < 0x800) {
            saida += static_cast<char>(0xC0 | (c >> 6));
            saida += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            saida += static_cast<char>(0xE0 | (c >> 12));
            saida += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            saida += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return saida;
}

bool DeUtf8(std::string_view utf8, std::string& saida) {
    std::string texto;
    texto.reserve(utf8.size());
    for (std::size_t i = 0; i < utf8.size();) {
        const unsigned char b = static_cast<unsigned char>(utf8[i]);
        unsigned c;
        std::size_t n;
        if (b < 0x80) {
            c = b, n = 1;
        } else if ((b & 0xE0) == 0xC0) {
            c = b & 0x1Fu, n = 2;
        } else if ((b & 0xF0) == 0xE0) {
            c = b & 0x0Fu, n = 3;
        } else {
            return false; // four-byte sequences lie outside Windows-1252 anyway
        }
        if (i + n > utf8.size())
            return false;
        for (std::size_t k = 1; k < n; ++k) {
            const unsigned char cont = static_cast<unsigned char>(utf8[i + k]);
            if ((cont & 0xC0) != 0x80)
                return false;
            c = (c << 6) | (cont & 0x3Fu);
        }
        // Overlong forms would let one character hide behind another.
        if ((n == 2 && c < 0x80) || (n == 3 && c < 0x800))
            return false;
        i += n;
        if (c < 0x80 || (c >= 0xA0 && c <= 0xFF)) {
            texto += static_cast<char>(c);
            continue;
        }
        const char16_t* p = std::find(std::begin(k80a9F), std::end(k80a9F), c);
        if (p == std::end(k80a9F))
            return false;
        texto += static_cast<char>(0x80 + (p - k80a9F));
    }
    saida = std::move(texto);
    return true;
}

} // namespace tq
