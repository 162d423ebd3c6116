// CException and the runtime's CTQException, in the MFC manner: thrown by pointer, caught by
// pointer, and released by the catcher with Delete():
//
//     try { ... } catch (CTQException* e) { Log(e->GetTexto()); e->Delete(); }
#pragma once

#include "tqlibex/base/TQString.h"
#include "tqlibex/base/WinTypes.h"

class CException {
public:
    CException() = default;
    CException(const CException&) = delete;
    CException& operator=(const CException&) = delete;
    virtual ~CException() = default;

    // Frees the exception object; the only way a catcher releases it.
    void Delete() { delete this; }
    // Copies the message into the buffer (always terminated); false when there is none.
    virtual bool GetErrorMessage(char* pszError, UINT nMaxError,
                                 UINT* pnHelpContext = nullptr) const;
};

// A platform failure: the platform's last error and the text of the step that failed
// ("GetCurrentTime_LocalTime: FileTimeToSystemTime").
class CTQException : public CException {
public:
    CTQException(DWORD dwCodigo, const char* pszTexto) : m_dwCodigo(dwCodigo), m_sTexto(pszTexto) {}

    DWORD GetCodigo() const { return m_dwCodigo; }
    const CTQString& GetTexto() const { return m_sTexto; }
    bool GetErrorMessage(char* pszError, UINT nMaxError,
                         UINT* pnHelpContext = nullptr) const override;

private:
    DWORD m_dwCodigo;
    CTQString m_sTexto;
};
