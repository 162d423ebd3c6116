#include "tqlibex/base/TQException.h"

#include <algorithm>
#include <cstring>

bool CException::GetErrorMessage(char* pszError, UINT nMaxError, UINT* pnHelpContext) const {
    if (pnHelpContext)
        *pnHelpContext = 0;
    if (pszError && nMaxError > 0)
        pszError[0] = '\0';
    return false;
}

bool CTQException::GetErrorMessage(char* pszError, UINT nMaxError, UINT* pnHelpContext) const {
    if (pnHelpContext)
        *pnHelpContext = 0;
    if (!pszError || nMaxError == 0)
        return false;
    const std::size_t n =
        std::min<std::size_t>(nMaxError - 1, static_cast<std::size_t>(m_sTexto.GetLength()));
    std::memcpy(pszError, m_sTexto.GetString(), n);
    pszError[n] = '\0';
    return true;
}
