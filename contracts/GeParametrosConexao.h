// CGeParametrosConexao: the connection values of a session (a text, an unsigned 16-bit and an
// unsigned 32-bit number), which the business servers receive in their connection record.
#pragma once

#include "servers/RegistrosGE.h"
#include "tqlibex/base/TQString.h"

class CGeParametrosConexao {
public:
    CGeParametrosConexao(const CString& sTexto, USHORT wNumero, ULONG dwNumero)
        : m_sTexto(sTexto), m_wNumero(wNumero), m_dwNumero(dwNumero) {}
    virtual ~CGeParametrosConexao() = default;

    virtual CString GetTextoConexao() const { return m_sTexto; }
    virtual USHORT GetNumeroCurtoConexao() const { return m_wNumero; }
    virtual ULONG GetNumeroLongoConexao() const { return m_dwNumero; }

    // A fresh connection record from the three values: all zero, the text copied with a limit of
    // 47 bytes including its terminator.
    _REG_CONEXAO_PS GetRegistroConexao() const {
        return tq::RegistroDeConexao(GetTextoConexao(), GetNumeroCurtoConexao(),
                                     GetNumeroLongoConexao());
    }

private:
    CString m_sTexto;
    USHORT m_wNumero;
    ULONG m_dwNumero;
};
