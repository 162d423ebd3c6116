// CTQMa and CTQDma: month-year and day-month-year, the runtime's date types.
//
// Packed forms (the server records carry them, in fields such as `ma` and `data`):
//   CTQMa  16 bits: (year << 4) | month          — year 0..4095, month 1..12; 0x7E83 = 03/2024
//   CTQDma 32 bits: (year << 16) | (month << 8) | day                        ; 0x07E8030F =
//   15/03/2024
// Both order as numbers in calendar order, and 0 is the empty value; a part too large for its
// field (day or month above 255, a year above 65535 or 4095) constructs the empty value. Text forms
// "MM/AAAA" and "DD/MM/AAAA".
#pragma once

#include "tqlibex/base/TQString.h"
#include "tqlibex/base/WinTypes.h"

#include <compare>

class CTQMa {
public:
    CTQMa() = default;
    CTQMa(int nMes, int nAno);
    static CTQMa DeCompactado(WORD wMa) {
        CTQMa ma;
        ma.m_wMa = wMa;
        return ma;
    }

    WORD GetCompactado() const { return m_wMa; }
    int GetMes() const { return m_wMa & 0x0F; }
    int GetAno() const { return m_wMa >> 4; }
    bool IsEmpty() const { return m_wMa == 0; }
    // A month from 1 to 12 of a year from 1 to 4095.
    bool IsValido() const { return GetMes() >= 1 && GetMes() <= 12 && GetAno() >= 1; }
    int UltimoDiaDoMes() const;

    // Whole months forward or back (n < 0); an invalid value stays as it is.
    CTQMa& SomaMeses(int nMeses);

    CTQString Formata() const; // "MM/AAAA"
    // Reads "MM/AAAA"; false (and ma unchanged) for anything else or an invalid month.
    static bool Le(const char* pszTexto, CTQMa& ma);

    friend bool operator==(CTQMa a, CTQMa b) { return a.m_wMa == b.m_wMa; }
    friend std::strong_ordering operator<=>(CTQMa a, CTQMa b) { return a.m_wMa <=> b.m_wMa; }

private:
    WORD m_wMa = 0;
};
static_assert(sizeof(CTQMa) == 2, "CTQMa travels as one 16-bit number");

class CTQDma {
public:
    CTQDma() = default;
    CTQDma(int nDia, int nMes, int nAno);
    static CTQDma DeCompactado(DWORD dwData) {
        CTQDma d;
        d.m_dwData = dwData;
        return d;
    }
    static CTQDma DeSystemTime(const SYSTEMTIME& st) {
        return CTQDma(st.wDay, st.wMonth, st.wYear);
    }

    DWORD GetCompactado() const { return m_dwData; }
    int GetDia() const { return static_cast<int>(m_dwData & 0xFF); }
    int GetMes() const { return static_cast<int>((m_dwData >> 8) & 0xFF); }
    int GetAno() const { return static_cast<int>(m_dwData >> 16); }
    CTQMa GetMa() const { return CTQMa(GetMes(), GetAno()); }
    bool IsEmpty() const { return m_dwData == 0; }
    // A real calendar day of a year from 1 to 65535.
    bool IsValida() const;

    static bool EhBissexto(int nAno);
    static int UltimoDiaDoMes(int nMes, int nAno);
    int UltimoDiaDoMes() const { return UltimoDiaDoMes(GetMes(), GetAno()); }
    bool EhUltimoDiaDoMes() const { return IsValida() && GetDia() == UltimoDiaDoMes(); }
    // 0 = Sunday.
    int DiaDaSemana() const;

    // Calendar arithmetic; an invalid date stays as it is. Adding months keeps the day, or takes
    // the month's last day when it is shorter (31/01 + 1 month = 28/02 or 29/02).
    CTQDma& SomaDias(long nDias);
    CTQDma& SomaMeses(int nMeses);
    CTQDma& SomaAnos(int nAnos) { return SomaMeses(nAnos * 12); }
    // Days from other to this (negative when this is earlier); both must be valid.
    long DiasDesde(const CTQDma& outra) const;

    CTQString Formata() const; // "DD/MM/AAAA"
    // Reads "DD/MM/AAAA"; false (and d unchanged) for anything else or a day that does not exist.
    static bool Le(const char* pszTexto, CTQDma& d);

    friend bool operator==(CTQDma a, CTQDma b) { return a.m_dwData == b.m_dwData; }
    friend std::strong_ordering operator<=>(CTQDma a, CTQDma b) {
        return a.m_dwData <=> b.m_dwData;
    }

private:
    long long Dias() const;
    void DefineDias(long long dias);

    DWORD m_dwData = 0;
};
static_assert(sizeof(CTQDma) == 4, "CTQDma travels as one 32-bit number");
