// CTQString, the runtime layer's narrow string, and CString, MFC's narrow string, with the part of
// MFC's CStringT interface that module code uses every day. Text is 8-bit (Windows-1252); the
// string never interprets it. Positions and lengths are int, as in MFC.
#pragma once

#include "tqlibex/base/WinTypes.h"

#include <cstdarg>
#include <string>
#include <string_view>

class CTQString {
public:
    CTQString() = default;
    CTQString(const char* psz) : m_s(psz ? psz : "") {}
    CTQString(const char* pch, int nLength)
        : m_s(pch ? pch : "", pch && nLength > 0 ? nLength : 0) {}
    CTQString(char ch, int nRepeat = 1) : m_s(nRepeat > 0 ? nRepeat : 0, ch) {}
    CTQString(std::string s) : m_s(std::move(s)) {}
    CTQString(std::string_view s) : m_s(s) {}

    const char* GetString() const { return m_s.c_str(); }
    operator const char*() const { return m_s.c_str(); }
    const std::string& str() const { return m_s; }

    int GetLength() const { return static_cast<int>(m_s.size()); }
    bool IsEmpty() const { return m_s.empty(); }
    void Empty() { m_s.clear(); }

    // Like MFC, an index outside the string is a programming error; it throws std::out_of_range.
    char GetAt(int nIndex) const { return m_s.at(CheckIndex(nIndex)); }
    void SetAt(int nIndex, char ch) { m_s.at(CheckIndex(nIndex)) = ch; }
    char operator[](int nIndex) const { return GetAt(nIndex); }

    void Format(const char* pszFormat, ...) TQ_PRINTF_FORMAT(2, 3);
    void FormatV(const char* pszFormat, va_list args);
    void AppendFormat(const char* pszFormat, ...) TQ_PRINTF_FORMAT(2, 3);

    CTQString& operator+=(const CTQString& s) { return m_s += s.m_s, *this; }
    CTQString& operator+=(const char* psz) { return m_s += (psz ? psz : ""), *this; }
    CTQString& operator+=(char ch) { return m_s += ch, *this; }
    void Append(const char* psz, int nLength);

    int Compare(const char* psz) const;
    int CompareNoCase(const char* psz) const;

    CTQString Left(int nCount) const;
    CTQString Mid(int iFirst) const;
    CTQString Mid(int iFirst, int nCount) const;
    CTQString Right(int nCount) const;

    int Find(char ch, int iStart = 0) const;
    int Find(const char* pszSub, int iStart = 0) const;
    int ReverseFind(char ch) const;

    int Replace(const char* pszOld, const char* pszNew);
    int Remove(char ch);
    CTQString& MakeUpper();
    CTQString& MakeLower();
    CTQString& Trim();
    CTQString& TrimLeft();
    CTQString& TrimRight();

    // A writable buffer of at least nMinBufLength characters plus a terminator; ReleaseBuffer
    // takes the length from the terminator unless it is given.
    char* GetBuffer(int nMinBufLength = 0);
    void ReleaseBuffer(int nNewLength = -1);

    friend bool operator==(const CTQString& a, const CTQString& b) { return a.m_s == b.m_s; }
    friend bool operator==(const CTQString& a, const char* b) { return a.Compare(b) == 0; }
    friend auto operator<=>(const CTQString& a, const CTQString& b) { return a.m_s <=> b.m_s; }
    friend auto operator<=>(const CTQString& a, const char* b) { return a.Compare(b) <=> 0; }

    friend CTQString operator+(const CTQString& a, const CTQString& b) { return a.m_s + b.m_s; }
    friend CTQString operator+(const CTQString& a, const char* b) { return a.m_s + (b ? b : ""); }
    friend CTQString operator+(const char* a, const CTQString& b) { return (a ? a : "") + b.m_s; }
    friend CTQString operator+(const CTQString& a, char b) { return a.m_s + b; }

private:
    std::size_t CheckIndex(int nIndex) const;

    std::string m_s;
};

// MFC's narrow CString. It shares CTQString's whole interface and converts to and from it freely.
class CString : public CTQString {
public:
    using CTQString::CTQString;
    CString() = default;
    CString(const CTQString& s) : CTQString(s) {}
};

namespace tq {
// The text of a fixed character field of a server record: up to its first NUL or its whole
// length, never further (a server need not terminate a full field).
CTQString TextoDoCampo(const char* pCampo, std::size_t nTamanho);
// Writes a text into a fixed field: at most nTamanho - 1 characters, the rest zeroed.
void TextoParaCampo(char* pCampo, std::size_t nTamanho, const char* pszTexto);

// The suite's 8-bit texts are Windows-1252; terminals, JSON and web pages want UTF-8. The five
// bytes Windows-1252 leaves undefined (0x81, 0x8D, 0x8F, 0x90, 0x9D) pass as the C1 controls of
// the same number, as Windows converts them.
std::string ParaUtf8(std::string_view texto1252);
// The reverse: false, with `saida` untouched, when the text is not UTF-8 or holds a character
// Windows-1252 cannot hold.
bool DeUtf8(std::string_view utf8, std::string& saida);
} // namespace tq
