#include "tqlibex/TQString.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
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
