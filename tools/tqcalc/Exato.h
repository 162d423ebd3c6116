// Exact integers for checking the calculations from the side: sums and products of raw currency
// values without the money type's 64-bit limit. Sign and a 128-bit magnitude; every value the
// checks build (sums of 64-bit values, products of two of them, quotients of those) fits.
#pragma once

#include "tqlibex/base/UInt128.h"
#include "tqlibex/base/WinTypes.h"

#include <cstdint>
#include <string>

namespace tq::calc {

class CExato {
public:
    CExato(LONGLONG v = 0)
        : m_bNegativo(v < 0),
          m_mag(v < 0 ? 0 - static_cast<std::uint64_t>(v) : static_cast<std::uint64_t>(v)) {}

    // Whether the value is a raw currency value (a signed 64-bit integer).
    bool CabeEm64() const {
        return m_mag.Hi() == 0 &&
               m_mag.Lo() <= (m_bNegativo ? std::uint64_t{1} << 63 : (std::uint64_t{1} << 63) - 1);
    }
    // The value, when CabeEm64.
    LONGLONG Valor() const {
        return m_bNegativo ? static_cast<LONGLONG>(0 - m_mag.Lo())
                           : static_cast<LONGLONG>(m_mag.Lo());
    }
    bool Negativo() const { return m_bNegativo && !Zero(); }
    bool Zero() const { return m_mag == detail::U128(0); }

    friend CExato operator+(const CExato& a, const CExato& b) {
        if (a.m_bNegativo == b.m_bNegativo)
            return CExato(a.m_bNegativo, a.m_mag + b.m_mag);
        return a.m_mag >= b.m_mag ? CExato(a.m_bNegativo, a.m_mag - b.m_mag)
                                  : CExato(b.m_bNegativo, b.m_mag - a.m_mag);
    }
    friend CExato operator-(const CExato& a, const CExato& b) { return a + b.Oposto(); }
    // Both factors must fit in 64 bits (they are raw values the calculation used).
    friend CExato operator*(const CExato& a, const CExato& b) {
        return CExato(a.m_bNegativo != b.m_bNegativo,
                      detail::U128::Mul64(a.m_mag.Lo(), b.m_mag.Lo()));
    }
    CExato Oposto() const { return CExato(!m_bNegativo, m_mag); }
    CExato Vezes(std::uint32_t m) const { return CExato(m_bNegativo, m_mag.MulSmall(m)); }

    // Divided by `d` (> 0), rounded half away from zero.
    CExato Divide(const CExato& d) const {
        detail::U128 q, r;
        detail::U128::DivMod(m_mag, d.m_mag, q, r);
        if (r + r >= d.m_mag)
            q = q + detail::U128(1);
        return CExato(m_bNegativo != d.m_bNegativo, q);
    }
    static CExato Potencia10(int n) {
        CExato p(1);
        for (int i = 0; i < n; ++i)
            p = p.Vezes(10);
        return p;
    }

    // Plain decimal digits with a point before the last nDecimais ("-12.3400").
    std::string Texto(int nDecimais) const {
        std::string digitos;
        detail::U128 v = m_mag;
        do {
            std::uint32_t resto = 0;
            v = v.DivSmall(10, resto);
            digitos.insert(digitos.begin(), static_cast<char>('0' + resto));
        } while (v != detail::U128(0));
        if (nDecimais > 0) {
            if (digitos.size() <= static_cast<std::size_t>(nDecimais))
                digitos.insert(0, static_cast<std::size_t>(nDecimais) + 1 - digitos.size(), '0');
            digitos.insert(digitos.size() - static_cast<std::size_t>(nDecimais), 1, '.');
        }
        return (Negativo() ? "-" : "") + digitos;
    }

private:
    CExato(bool bNegativo, detail::U128 mag) : m_bNegativo(bNegativo), m_mag(mag) {}

    bool m_bNegativo;
    detail::U128 m_mag;
};

} // namespace tq::calc
