// Unsigned 128-bit arithmetic for the exact currency functions. gcc's unsigned __int128 serves
// where the target has it; the 32-bit targets get U128Portavel, built from 64-bit halves. Both
// offer the same small interface, and tests hold them to each other.
#pragma once

#include <compare>
#include <cstdint>

namespace tq::detail {

class U128Portavel {
public:
    constexpr U128Portavel(std::uint64_t lo = 0) : m_hi(0), m_lo(lo) {}
    constexpr U128Portavel(std::uint64_t hi, std::uint64_t lo) : m_hi(hi), m_lo(lo) {}

    constexpr std::uint64_t Hi() const { return m_hi; }
    constexpr std::uint64_t Lo() const { return m_lo; }
    constexpr bool IsOdd() const { return (m_lo & 1) != 0; }

    static constexpr U128Portavel Mul64(std::uint64_t a, std::uint64_t b) {
        const std::uint64_t a0 = a & 0xFFFFFFFFu, a1 = a >> 32;
        const std::uint64_t b0 = b & 0xFFFFFFFFu, b1 = b >> 32;
        const std::uint64_t p00 = a0 * b0, p01 = a0 * b1, p10 = a1 * b0, p11 = a1 * b1;
        const std::uint64_t mid = (p00 >> 32) + (p01 & 0xFFFFFFFFu) + (p10 & 0xFFFFFFFFu);
        return {p11 + (p01 >> 32) + (p10 >> 32) + (mid >> 32), (mid << 32) | (p00 & 0xFFFFFFFFu)};
    }

    friend constexpr U128Portavel operator+(U128Portavel a, U128Portavel b) {
        const std::uint64_t lo = a.m_lo + b.m_lo;
        return {a.m_hi + b.m_hi + (lo < a.m_lo ? 1 : 0), lo};
    }
    friend constexpr U128Portavel operator-(U128Portavel a, U128Portavel b) {
        return {a.m_hi - b.m_hi - (a.m_lo < b.m_lo ? 1 : 0), a.m_lo - b.m_lo};
    }
    // The low 128 bits of the product with a 32-bit factor.
    constexpr U128Portavel MulSmall(std::uint32_t m) const {
        const U128Portavel lo = Mul64(m_lo, m);
        return {lo.m_hi + m_hi * m, lo.m_lo};
    }

    friend constexpr bool operator==(U128Portavel, U128Portavel) = default;
    friend constexpr std::strong_ordering operator<=>(U128Portavel a, U128Portavel b) {
        return a.m_hi != b.m_hi ? a.m_hi <=> b.m_hi : a.m_lo <=> b.m_lo;
    }

    // Division by a small divisor, 32 bits at a time.
    constexpr U128Portavel DivSmall(std::uint32_t d, std::uint32_t& rem) const {
        std::uint64_t r = 0;
        std::uint32_t q[4] = {};
        const std::uint32_t n[4] = {
            static_cast<std::uint32_t>(m_hi >> 32), static_cast<std::uint32_t>(m_hi),
            static_cast<std::uint32_t>(m_lo >> 32), static_cast<std::uint32_t>(m_lo)};
        for (int i = 0; i < 4; ++i) {
            const std::uint64_t cur = (r << 32) | n[i];
            q[i] = static_cast<std::uint32_t>(cur / d);
            r = cur % d;
        }
        rem = static_cast<std::uint32_t>(r);
        return {(std::uint64_t{q[0]} << 32) | q[1], (std::uint64_t{q[2]} << 32) | q[3]};
    }

    // Quotient and remainder; d must not be zero. Restoring division, one bit a step: only the
    // rare operands beyond 64 bits on the 32-bit targets come here.
    static constexpr void DivMod(U128Portavel n, U128Portavel d, U128Portavel& q, U128Portavel& r) {
        if (n.m_hi == 0 && d.m_hi == 0) {
            q = n.m_lo / d.m_lo;
            r = n.m_lo % d.m_lo;
            return;
        }
        if (d.m_hi == 0 && d.m_lo <= 0xFFFFFFFFu) {
            std::uint32_t rem = 0;
            q = n.DivSmall(static_cast<std::uint32_t>(d.m_lo), rem);
            r = rem;
            return;
        }
        U128Portavel quo, rest;
        for (int bit = 127; bit >= 0; --bit) {
            const bool carry = (rest.m_hi >> 63) != 0;
            rest = {(rest.m_hi << 1) | (rest.m_lo >> 63), (rest.m_lo << 1) | n.Bit(bit)};
            if (carry || rest >= d) {
                rest = rest - d;
                quo = quo.SetBit(bit);
            }
        }
        q = quo;
        r = rest;
    }

private:
    constexpr std::uint64_t Bit(int i) const {
        return i >= 64 ? (m_hi >> (i - 64)) & 1 : (m_lo >> i) & 1;
    }
    constexpr U128Portavel SetBit(int i) const {
        return i >= 64 ? U128Portavel{m_hi | (std::uint64_t{1} << (i - 64)), m_lo}
                       : U128Portavel{m_hi, m_lo | (std::uint64_t{1} << i)};
    }

    std::uint64_t m_hi;
    std::uint64_t m_lo;
};

#ifdef __SIZEOF_INT128__
class U128Nativo {
public:
    constexpr U128Nativo(std::uint64_t lo = 0) : m_v(lo) {}
    constexpr U128Nativo(std::uint64_t hi, std::uint64_t lo)
        : m_v((static_cast<unsigned __int128>(hi) << 64) | lo) {}

    constexpr std::uint64_t Hi() const { return static_cast<std::uint64_t>(m_v >> 64); }
    constexpr std::uint64_t Lo() const { return static_cast<std::uint64_t>(m_v); }
    constexpr bool IsOdd() const { return (m_v & 1) != 0; }

    static constexpr U128Nativo Mul64(std::uint64_t a, std::uint64_t b) {
        return Of(static_cast<unsigned __int128>(a) * b);
    }
    friend constexpr U128Nativo operator+(U128Nativo a, U128Nativo b) { return Of(a.m_v + b.m_v); }
    friend constexpr U128Nativo operator-(U128Nativo a, U128Nativo b) { return Of(a.m_v - b.m_v); }
    constexpr U128Nativo MulSmall(std::uint32_t m) const { return Of(m_v * m); }

    friend constexpr bool operator==(U128Nativo, U128Nativo) = default;
    friend constexpr std::strong_ordering operator<=>(U128Nativo a, U128Nativo b) {
        return a.m_v <=> b.m_v;
    }

    constexpr U128Nativo DivSmall(std::uint32_t d, std::uint32_t& rem) const {
        rem = static_cast<std::uint32_t>(m_v % d);
        return Of(m_v / d);
    }
    static constexpr void DivMod(U128Nativo n, U128Nativo d, U128Nativo& q, U128Nativo& r) {
        q = Of(n.m_v / d.m_v);
        r = Of(n.m_v % d.m_v);
    }

private:
    static constexpr U128Nativo Of(unsigned __int128 v) {
        U128Nativo x;
        x.m_v = v;
        return x;
    }

    unsigned __int128 m_v;
};
using U128 = U128Nativo;
#else
using U128 = U128Portavel;
#endif

} // namespace tq::detail
