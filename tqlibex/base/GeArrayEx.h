// CGeArrayEx, the array of all collections: MFC's CArray interface over contiguous storage.
//
// An index outside the array throws std::invalid_argument with the text
// "ArrayExp - Ind:%d, Size:%d, Cod:%d": the index, the current size, and which operation refused
// it (ECodArrayEx below). A support engineer reads the code straight from a log line.
#pragma once

#include "tqlibex/base/WinTypes.h"

#include <cstdio>
#include <stdexcept>
#include <utility>
#include <vector>

enum ECodArrayEx : int {
    eCodGetAt = 1,       // GetAt
    eCodSetAt = 2,       // SetAt
    eCodElementAt = 3,   // ElementAt
    eCodOperador = 4,    // operator[]
    eCodInsertAt = 5,    // InsertAt: index or count below zero
    eCodRemoveAt = 6,    // RemoveAt: index, count, or index + count past the end
    eCodSetSize = 7,     // SetSize: negative size
    eCodSetAtGrow = 8,   // SetAtGrow: negative index
    eCodInsertArray = 9, // InsertAt(array): index below zero or past the end
};

namespace tq::detail {
[[noreturn]] inline void ErroIndiceArray(INT_PTR nIndex, INT_PTR nSize, ECodArrayEx cod) {
    char text[64];
    std::snprintf(text, sizeof text, "ArrayExp - Ind:%d, Size:%d, Cod:%d", static_cast<int>(nIndex),
                  static_cast<int>(nSize), static_cast<int>(cod));
    throw std::invalid_argument(text);
}
} // namespace tq::detail

template <class T, class ARG_T = const T&>
class CGeArrayEx {
public:
    CGeArrayEx() = default;

    INT_PTR GetSize() const { return static_cast<INT_PTR>(m_a.size()); }
    INT_PTR GetCount() const { return GetSize(); }
    INT_PTR GetUpperBound() const { return GetSize() - 1; }
    bool IsEmpty() const { return m_a.empty(); }

    // nGrowBy is MFC's allocation hint; contiguous storage grows geometrically without it.
    void SetSize(INT_PTR nNewSize, INT_PTR nGrowBy = -1) {
        (void)nGrowBy;
        if (nNewSize < 0)
            tq::detail::ErroIndiceArray(nNewSize, GetSize(), eCodSetSize);
        m_a.resize(static_cast<std::size_t>(nNewSize));
    }

    const T& GetAt(INT_PTR nIndex) const { return m_a[Check(nIndex, eCodGetAt)]; }
    T& GetAt(INT_PTR nIndex) { return m_a[Check(nIndex, eCodGetAt)]; }
    void SetAt(INT_PTR nIndex, ARG_T newElement) { m_a[Check(nIndex, eCodSetAt)] = newElement; }
    T& ElementAt(INT_PTR nIndex) { return m_a[Check(nIndex, eCodElementAt)]; }
    const T& ElementAt(INT_PTR nIndex) const { return m_a[Check(nIndex, eCodElementAt)]; }
    T& operator[](INT_PTR nIndex) { return m_a[Check(nIndex, eCodOperador)]; }
    const T& operator[](INT_PTR nIndex) const { return m_a[Check(nIndex, eCodOperador)]; }

    T* GetData() { return m_a.data(); }
    const T* GetData() const { return m_a.data(); }

    INT_PTR Add(ARG_T newElement) {
        m_a.push_back(newElement);
        return GetUpperBound();
    }

    // Appends the other array's elements; returns the index of the first one appended.
    INT_PTR Append(const CGeArrayEx& src) {
        const INT_PTR first = GetSize();
        if (&src == this) {
            m_a.reserve(m_a.size() * 2);
            m_a.insert(m_a.end(), m_a.begin(), m_a.begin() + first);
        } else {
            m_a.insert(m_a.end(), src.m_a.begin(), src.m_a.end());
        }
        return first;
    }

    // Not in MFC: the array becomes a copy of n elements at p, copied once (SetSize would first
    // value-initialise them).
    void SetDados(const T* p, INT_PTR n) { m_a.assign(p, p + (n > 0 ? n : 0)); }

    void Copy(const CGeArrayEx& src) {
        if (&src != this)
            m_a = src.m_a;
    }

    // Past the end grows the array with default elements, as MFC does.
    void SetAtGrow(INT_PTR nIndex, ARG_T newElement) {
        if (nIndex < 0)
            tq::detail::ErroIndiceArray(nIndex, GetSize(), eCodSetAtGrow);
        if (nIndex >= GetSize()) {
            T copy(newElement); // newElement may live in this array
            m_a.resize(static_cast<std::size_t>(nIndex) + 1);
            m_a[static_cast<std::size_t>(nIndex)] = std::move(copy);
            return;
        }
        m_a[static_cast<std::size_t>(nIndex)] = newElement;
    }

    // Inserting past the end first grows the array with default elements, as MFC does.
    void InsertAt(INT_PTR nIndex, ARG_T newElement, INT_PTR nCount = 1) {
        if (nIndex < 0 || nCount < 0)
            tq::detail::ErroIndiceArray(nIndex, GetSize(), eCodInsertAt);
        T copy(newElement);
        if (nIndex > GetSize())
            m_a.resize(static_cast<std::size_t>(nIndex));
        m_a.insert(m_a.begin() + nIndex, static_cast<std::size_t>(nCount), copy);
    }

    void InsertAt(INT_PTR nStartIndex, const CGeArrayEx* pNewArray) {
        if (!pNewArray || nStartIndex < 0 || nStartIndex > GetSize())
            tq::detail::ErroIndiceArray(nStartIndex, GetSize(), eCodInsertArray);
        const std::vector<T> copy(pNewArray->m_a);
        m_a.insert(m_a.begin() + nStartIndex, copy.begin(), copy.end());
    }

    void RemoveAt(INT_PTR nIndex, INT_PTR nCount = 1) {
        if (nIndex < 0 || nCount < 0 || nIndex > GetSize() || nCount > GetSize() - nIndex)
            tq::detail::ErroIndiceArray(nIndex, GetSize(), eCodRemoveAt);
        m_a.erase(m_a.begin() + nIndex, m_a.begin() + nIndex + nCount);
    }

    void RemoveAll() { m_a.clear(); }
    void FreeExtra() { m_a.shrink_to_fit(); }

    T* begin() { return m_a.data(); }
    T* end() { return m_a.data() + m_a.size(); }
    const T* begin() const { return m_a.data(); }
    const T* end() const { return m_a.data() + m_a.size(); }

private:
    std::size_t Check(INT_PTR nIndex, ECodArrayEx cod) const {
        if (nIndex < 0 || nIndex >= GetSize())
            tq::detail::ErroIndiceArray(nIndex, GetSize(), cod);
        return static_cast<std::size_t>(nIndex);
    }

    std::vector<T> m_a;
};
