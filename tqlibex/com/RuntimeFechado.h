// Entry points of the suite's closed runtime libraries that this library calls: the messages
// library (TQTrataErro2), the foundation library (CTQLumenException, TQFC_GetServidores), the
// data-access library (CTQDadosDF_Erro) and the connection library
// (CTQDFConxTratamentoErrosConfig). Here they are stand-ins: each report goes to a replaceable
// hook whose default only traces, and the server registry's last-access record is settable.
#pragma once

#include "tqlibex/base/WinTypes.h"
#include "tqlibex/diagnostics/NomeDaFuncao.h"

#include <functional>
#include <mutex>
#include <utility>

// Hands a failure to the messages library, which decides whether and how the user is told.
bool TQTrataErro2(LONGLONG hr, ULONG ulChamador, ULONG ulNumero, const char* pszTexto,
                  const char* pszArquivo, int nLinha, const char* pszCompilacao);

// The report object of the access-registry route: built on the stack, never thrown. HRESULTs are
// the Windows long, 32 bits on every platform (a 64-bit long would keep 0x80040005 positive).
class CTQLumenException {
public:
    CTQLumenException() = default;
    ~CTQLumenException() = default;
    static bool CallOnError(CTQLumenException& e, HRESULT hr, int nCodigoErro, int nServidor,
                            int nLinha, const char* pszArquivo, const char* pszCompilacao);
};

// The error record of the last server access.
class CTQDadosDF_Erro {
public:
    HRESULT GetHR() const { return m_hr; }
    int GetCodigoErro() const { return m_nCodigoErro; }
    unsigned short GetNumeroServidor() const { return m_nServidor; }
    void Define(HRESULT hr, int nCodigoErro, unsigned short nServidor) {
        m_hr = hr;
        m_nCodigoErro = nCodigoErro;
        m_nServidor = nServidor;
    }

private:
    HRESULT m_hr = 0;
    int m_nCodigoErro = 0;
    unsigned short m_nServidor = 0;
};

class CTQServidoresBase {
public:
    CTQDadosDF_Erro* GetUltimoAcesso() { return &m_ultimoAcesso; }

private:
    CTQDadosDF_Erro m_ultimoAcesso;
};

// The process's server registry.
CTQServidoresBase* TQFC_GetServidores();

// Whether connection failures go to the messages library (on by default).
class CTQDFConxTratamentoErrosConfig {
public:
    static bool TratarErros();
    static void SetTrataErros(bool bTratar);
    static void SetTratarMensagens(bool bTratar);
    static bool TratarMensagens();
};

namespace tq {

using GanchoTrataErro2 =
    std::function<bool(LONGLONG, ULONG, ULONG, const char*, const char*, int, const char*)>;
using GanchoCallOnError =
    std::function<bool(CTQLumenException&, HRESULT, int, int, int, const char*, const char*)>;

namespace detail {
// The one installed hook of type F (empty: the default, which only traces).
template <class F>
class CGancho {
public:
    static F Atual() {
        std::lock_guard lock(Mutex());
        return Valor();
    }
    static F Troca(F novo) {
        std::lock_guard lock(Mutex());
        std::swap(Valor(), novo);
        return novo;
    }

private:
    static std::mutex& Mutex() {
        static std::mutex mutex;
        return mutex;
    }
    static F& Valor() {
        static F valor;
        return valor;
    }
};
} // namespace detail

// Installs a hook for a scope; the previous one comes back on exit.
template <class F>
class CEscopoGancho {
public:
    explicit CEscopoGancho(F gancho) : m_anterior(detail::CGancho<F>::Troca(std::move(gancho))) {}
    ~CEscopoGancho() { detail::CGancho<F>::Troca(std::move(m_anterior)); }
    CEscopoGancho(const CEscopoGancho&) = delete;
    CEscopoGancho& operator=(const CEscopoGancho&) = delete;

private:
    F m_anterior;
};

using CEscopoTrataErro2 = CEscopoGancho<GanchoTrataErro2>;
using CEscopoCallOnError = CEscopoGancho<GanchoCallOnError>;

namespace detail {

// The library's build date and time, "Nov 22 2017 14:43:40".
const char* DataDaCompilacao();

// The access-registry route: run the server call, then look at the registry's last access; a
// negative HRESULT there goes to CTQLumenException::CallOnError. The server call's own result is
// returned, whatever the registry says.
template <class Chamada>
HRESULT ChamadaViaServidores(Chamada chamada, int nLinha, const char* pszArquivo) {
    const HRESULT hr = chamada();
    const CTQDadosDF_Erro* erro = TQFC_GetServidores()->GetUltimoAcesso();
    if (erro->GetHR() < 0) {
        CTQLumenException e;
        CTQLumenException::CallOnError(e, erro->GetHR(), erro->GetCodigoErro(),
                                       static_cast<int>(erro->GetNumeroServidor()), nLinha,
                                       pszArquivo, DataDaCompilacao());
    }
    return hr;
}

} // namespace detail
} // namespace tq

// A server call through the process's server registry, with the line and bare file name of the
// call site: HRESULT hr = TQ_VIA_SERVIDORES(pServidor->Le(&filtro));
#define TQ_VIA_SERVIDORES(expr)                                                                    \
    __extension__({                                                                                \
        static constexpr ::tq::detail::NomeFixo tq_arquivo_ =                                      \
            ::tq::detail::NomeDoArquivo(__FILE__);                                                 \
        ::tq::detail::ChamadaViaServidores([&]() -> HRESULT { return (expr); }, __LINE__,          \
                                           tq_arquivo_.data());                                    \
    })
