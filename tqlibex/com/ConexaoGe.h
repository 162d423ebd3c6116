// CConexaoGe<I>, the server connection template: here, its failure route. A connection that sees
// a negative HRESULT calls OnFailedHr, which hands it to the messages library (when
// CTQDFConxTratamentoErrosConfig says so) and writes one line to the connection's log (when its
// switch is on). The caller returns its HRESULT unchanged.
#pragma once

#include "tqlibex/base/WinTypes.h"
#include "tqlibex/com/RuntimeFechado.h"
#include "tqlibex/diagnostics/GeLog.h"

template <class I>
class CConexaoGe {
public:
    virtual ~CConexaoGe() = default;

    void OnFailedHr(HRESULT hr, int nChamador, const char* pszMensagem, const char* pszArquivo,
                    int nCodigo) {
        if (CTQDFConxTratamentoErrosConfig::TratarErros())
            (void)TQTrataErro2(static_cast<LONGLONG>(hr), static_cast<ULONG>(nChamador),
                               GetNumeroErro(), GetTextoErro(), __FILE__, 158,
                               tq::detail::DataDaCompilacao());
        if (m_bLog)
            m_log.Grava("%s, File=%s, Codigo=%d", pszMensagem ? pszMensagem : "",
                        CGeLog::GetNomeDoArquivo(pszArquivo).GetString(), nCodigo);
    }

    // With the connection template's own source file as the file.
    void OnFailedHr(HRESULT hr, int nChamador, const char* pszMensagem, int nCodigo) {
        OnFailedHr(hr, nChamador, pszMensagem, __FILE__, nCodigo);
    }

    // The connection's own log: a file, or silence.
    void SetLog(const char* pszArquivo) {
        m_log.ConfiguraPorArquivo(pszArquivo);
        m_bLog = pszArquivo && *pszArquivo;
    }

    I* GetInterface() const { return m_pInterface; }

protected:
    // The number and text the connection gives the messages library along with the failure.
    virtual ULONG GetNumeroErro() const { return 0; }
    virtual const char* GetTextoErro() const { return ""; }

    I* m_pInterface = nullptr;

private:
    CGeLog m_log;
    bool m_bLog = false;
};
