#include "tools/tqcalc/Conversa.h"

#include "tqlibex/com/PrimitivaCom.h"

#include <atomic>
#include <functional>
#include <utility>

namespace tq::calc {

using namespace tq::amostra;

namespace {

thread_local CConversa* t_pConversa = nullptr;

// Notes a call in this thread's conversation. `le` copies what came back and says whether it
// came whole; it runs only for a call that succeeded.
void Nota(const char* pszServidor, const char* pszOperacao, HRESULT hr,
          const std::function<bool(CConversa&)>& le = {}) {
    CConversa* c = t_pConversa;
    if (!c)
        return;
    const bool bRecusada = SUCCEEDED(hr) && le && !le(*c);
    c->chamadas.push_back({pszServidor, pszOperacao, hr, bRecusada});
}

std::vector<Classificacao> Classificacoes(const _REG_CLASSIFICACAO_GE_PS* p, ULONG n) {
    std::vector<Classificacao> v;
    for (ULONG i = 0; p && i < n; ++i)
        v.push_back({p[i].codigo, p[i].percentual.int64, p[i].descricao ? p[i].descricao : ""});
    return v;
}

// The stand-in's own interface, by which the primitive finds the real object behind it.
struct IEscuta : public IUnknown {
    virtual IUnknown* STDMETHODCALLTYPE Interno() = 0;
};
constexpr IID kIID_Escuta = {
    0x7B1D9C42, 0x3E85, 0x4F6A, {0x9C, 0x0E, 0x51, 0xA2, 0x6D, 0x8B, 0x44, 0xF3}};
constexpr IID kIID_IMarshal = {0x00000003, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

template <class I>
class CEscuta : public I, public IEscuta {
public:
    CEscuta(I* p, const char* pszServidor) : m_p(p), m_pszServidor(pszServidor) {}
    virtual ~CEscuta() { m_p->Release(); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (!ppv)
            return E_POINTER;
        if (riid == __uuidof(IUnknown) || riid == __uuidof(ITQUnknown) || riid == __uuidof(I)) {
            *ppv = static_cast<I*>(this);
        } else if (riid == kIID_Escuta) {
            *ppv = static_cast<IEscuta*>(this);
        } else if (riid == kIID_IMarshal) {
            // Marshalled, the real object goes (the primitive unwraps it): never the stand-in.
            *ppv = nullptr;
            return E_NOINTERFACE;
        } else {
            return m_p->QueryInterface(riid, ppv);
        }
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nRefs; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG n = --m_nRefs;
        if (n == 0)
            delete this;
        return n;
    }
    IUnknown* STDMETHODCALLTYPE Interno() override { return m_p; }

    HRESULT STDMETHODCALLTYPE KeepAlive(BOOL* pbOK) override { return m_p->KeepAlive(pbOK); }
    HRESULT STDMETHODCALLTYPE Inicializa(_REG_CONEXAO_PS conexao) override {
        const HRESULT hr = m_p->Inicializa(conexao);
        Nota(m_pszServidor, "Inicializa", hr);
        return hr;
    }

protected:
    I* const m_p;
    const char* const m_pszServidor;

private:
    std::atomic<ULONG> m_nRefs{1};
};

class CEscutaApontamentos final : public CEscuta<ITQGE_Apontamentos> {
public:
    explicit CEscutaApontamentos(ITQGE_Apontamentos* p) : CEscuta(p, "ITQGE_Apontamentos") {}

    HRESULT STDMETHODCALLTYPE AbreConsulta(_REG_FILTRO_APONTAMENTOS_PS filtro,
                                           _REG_CONSULTA_PS* pConsulta) override {
        const HRESULT hr = m_p->AbreConsulta(filtro, pConsulta);
        Nota(m_pszServidor, "AbreConsulta", hr);
        return hr;
    }
    HRESULT STDMETHODCALLTYPE Busca(_REG_CONSULTA_PS consulta, ULONG* pnQtd,
                                    _REG_APONTAMENTO_PS** pp) override {
        const HRESULT hr = m_p->Busca(consulta, pnQtd, pp);
        Nota(m_pszServidor, "Busca", hr, [&](CConversa& c) { return Le(c, pnQtd, pp); });
        return hr;
    }
    HRESULT STDMETHODCALLTYPE LePosicoes(_REG_FILTRO_APONTAMENTOS_PS filtro, ULONG* pnQtd,
                                         _REG_PONTEIRO_APONTAMENTO_PS** pp) override {
        const HRESULT hr = m_p->LePosicoes(filtro, pnQtd, pp);
        Nota(m_pszServidor, "LePosicoes", hr,
             [&](CConversa&) { return pnQtd && pp && tq::ArrayChegou(*pp, *pnQtd); });
        return hr;
    }
    HRESULT STDMETHODCALLTYPE LeApontamentos(ULONG nQtd, _REG_PONTEIRO_APONTAMENTO_PS* pPosicoes,
                                             ULONG* pnLidos, _REG_APONTAMENTO_PS** pp) override {
        const HRESULT hr = m_p->LeApontamentos(nQtd, pPosicoes, pnLidos, pp);
        Nota(m_pszServidor, "LeApontamentos", hr, [&](CConversa& c) { return Le(c, pnLidos, pp); });
        return hr;
    }

private:
    static bool Le(CConversa& c, const ULONG* pn, _REG_APONTAMENTO_PS* const* pp) {
        if (!pn || !pp || !tq::ApontamentosChegaram(*pp, *pn))
            return false;
        c.apontamentos.clear();
        for (ULONG i = 0; *pp && i < *pn; ++i)
            c.apontamentos.push_back(ApontamentoDoRegistro((*pp)[i]));
        c.bApontamentosLidos = true;
        return true;
    }
};

class CEscutaContratos final : public CEscuta<ITQGE_Contratos> {
public:
    explicit CEscutaContratos(ITQGE_Contratos* p) : CEscuta(p, "ITQGE_Contratos") {}

    HRESULT STDMETHODCALLTYPE LeItens(ULONG pontContr, ULONG* pnQtd,
                                      _REG_ITEM_CONTRATO_PS** pp) override {
        const HRESULT hr = m_p->LeItens(pontContr, pnQtd, pp);
        Nota(m_pszServidor, "LeItens", hr, [&](CConversa& c) {
            if (!pnQtd || !pp || !tq::ItensContratoChegaram(*pp, *pnQtd))
                return false;
            c.itens.clear();
            for (ULONG i = 0; *pp && i < *pnQtd; ++i)
                c.itens.push_back(ItemDoRegistro((*pp)[i]));
            c.bItensLidos = true;
            return true;
        });
        return hr;
    }
    HRESULT STDMETHODCALLTYPE LeContrato(ULONG pontContr, _REG_CONTRATO_PS* pContrato) override {
        const HRESULT hr = m_p->LeContrato(pontContr, pContrato);
        Nota(m_pszServidor, "LeContrato", hr, [&](CConversa& c) {
            if (!pContrato || !tq::ContratoChegou(*pContrato))
                return false;
            c.contrato = ContratoDoRegistro(*pContrato);
            c.bContratoLido = true;
            return true;
        });
        return hr;
    }
};

class CEscutaFaixa final : public CEscuta<ITQGE_Faixa> {
public:
    explicit CEscutaFaixa(ITQGE_Faixa* p) : CEscuta(p, "ITQGE_Faixa") {}

    HRESULT STDMETHODCALLTYPE LeCodigos(ULONG* pnQtd, ULONG** pp) override {
        const HRESULT hr = m_p->LeCodigos(pnQtd, pp);
        Nota(m_pszServidor, "LeCodigos", hr);
        return hr;
    }
    HRESULT STDMETHODCALLTYPE LeFaixas(ULONG nQtd, ULONG* pCodigos, ULONG* pnLidas,
                                       REG_FAIXA_PS** pp) override {
        const HRESULT hr = m_p->LeFaixas(nQtd, pCodigos, pnLidas, pp);
        Nota(m_pszServidor, "LeFaixas", hr);
        return hr;
    }
    HRESULT STDMETHODCALLTYPE LeFaixa(ULONG codigo, REG_FAIXA_PS* pFaixa) override {
        const HRESULT hr = m_p->LeFaixa(codigo, pFaixa);
        Nota(m_pszServidor, "LeFaixa", hr, [&](CConversa& c) {
            if (!pFaixa || !tq::ArrayChegou(pFaixa->bandas, pFaixa->qtdBandas))
                return false;
            c.faixas.push_back(FaixaDoRegistro(*pFaixa));
            return true;
        });
        return hr;
    }
};

// The real object behind a stand-in (not AddRef'd), or the pointer itself.
IUnknown* Interno(IUnknown* p) {
    IEscuta* pEscuta = nullptr;
    if (!p || FAILED(p->QueryInterface(kIID_Escuta, reinterpret_cast<void**>(&pEscuta))))
        return p;
    IUnknown* pInterno = pEscuta->Interno();
    pEscuta->Release();
    return pInterno;
}

const char* NomeDoServidor(REFIID riid) {
    if (riid == __uuidof(ITQGE_Apontamentos))
        return "ITQGE_Apontamentos";
    if (riid == __uuidof(ITQGE_Contratos))
        return "ITQGE_Contratos";
    if (riid == __uuidof(ITQGE_Faixa))
        return "ITQGE_Faixa";
    return nullptr;
}

// A business server's interface, in its stand-in; any other passes as it is.
IUnknown* Envolve(REFIID riid, IUnknown* p) {
    if (riid == __uuidof(ITQGE_Apontamentos))
        return static_cast<ITQGE_Apontamentos*>(
            new CEscutaApontamentos(static_cast<ITQGE_Apontamentos*>(p)));
    if (riid == __uuidof(ITQGE_Contratos))
        return static_cast<ITQGE_Contratos*>(
            new CEscutaContratos(static_cast<ITQGE_Contratos*>(p)));
    if (riid == __uuidof(ITQGE_Faixa))
        return static_cast<ITQGE_Faixa*>(new CEscutaFaixa(static_cast<ITQGE_Faixa*>(p)));
    return p;
}

// The platform's primitive with the stand-ins put in: each creation of a business server comes
// back wrapped, and the calls that must reach the real object (the proxy blanket, the marshalling
// for a keep-alive thread, which then pings the server itself) get it unwrapped.
class CPrimitivaEscuta final : public IPrimitivaCom {
public:
    HRESULT CoInitializeSecurity(void* a, LONG b, SOLE_AUTHENTICATION_SERVICE* c, void* d, DWORD e,
                                 DWORD f, void* g, DWORD h, void* i) override {
        return m_base.CoInitializeSecurity(a, b, c, d, e, f, g, h, i);
    }
    HRESULT CoCreateInstanceEx(REFCLSID rclsid, IUnknown* punkOuter, DWORD dwClsCtx,
                               COSERVERINFO* pServerInfo, DWORD dwCount,
                               MULTI_QI* pResults) override {
        const HRESULT hr =
            m_base.CoCreateInstanceEx(rclsid, punkOuter, dwClsCtx, pServerInfo, dwCount, pResults);
        for (DWORD i = 0; pResults && i < dwCount; ++i) {
            if (const char* pszServidor = NomeDoServidor(*pResults[i].pIID))
                Nota(pszServidor, "criação", FAILED(hr) ? hr : pResults[i].hr);
            if (SUCCEEDED(hr) && pResults[i].pItf && SUCCEEDED(pResults[i].hr))
                pResults[i].pItf = Envolve(*pResults[i].pIID, pResults[i].pItf);
        }
        return hr;
    }
    HRESULT CoSetProxyBlanket(IUnknown* pProxy, DWORD a, DWORD b, OLECHAR* c, DWORD d, DWORD e,
                              void* f, DWORD g) override {
        return m_base.CoSetProxyBlanket(Interno(pProxy), a, b, c, d, e, f, g);
    }
    HRESULT CoMarshalInterThreadInterfaceInStream(REFIID riid, LPUNKNOWN pUnk,
                                                  LPSTREAM* ppStm) override {
        return m_base.CoMarshalInterThreadInterfaceInStream(riid, Interno(pUnk), ppStm);
    }
    HRESULT CoGetInterfaceAndReleaseStream(LPSTREAM pStm, REFIID iid, LPVOID* ppv) override {
        return m_base.CoGetInterfaceAndReleaseStream(pStm, iid, ppv);
    }
    HRESULT CoInitializeEx(LPVOID p, DWORD d) override { return m_base.CoInitializeEx(p, d); }
    void CoUninitialize() override { m_base.CoUninitialize(); }
    BOOL IsWow64Process(BOOL* p) override { return m_base.IsWow64Process(p); }
    HANDLE CreateThread(LPTHREAD_START_ROUTINE f, LPVOID p, DWORD* pdw) override {
        return m_base.CreateThread(f, p, pdw);
    }
    HANDLE CreateEventA(BOOL a, BOOL b) override { return m_base.CreateEventA(a, b); }
    BOOL SetEvent(HANDLE h) override { return m_base.SetEvent(h); }
    DWORD WaitForSingleObject(HANDLE h, DWORD d) override {
        return m_base.WaitForSingleObject(h, d);
    }
    BOOL CloseHandle(HANDLE h) override { return m_base.CloseHandle(h); }
    void Sleep(DWORD d) override { m_base.Sleep(d); }
    DWORD GetLastError() override { return m_base.GetLastError(); }
    BOOL PostThreadMessageA(DWORD id, UINT u, WPARAM w, LPARAM l) override {
        return m_base.PostThreadMessageA(id, u, w, l);
    }
    BOOL GetMessageA(MSG* p) override { return m_base.GetMessageA(p); }
    BOOL PeekMessageA(MSG* p, UINT a, UINT b, UINT c) override {
        return m_base.PeekMessageA(p, a, b, c);
    }
    UINT_PTR SetTimer(UINT u) override { return m_base.SetTimer(u); }
    BOOL KillTimer(UINT_PTR u) override { return m_base.KillTimer(u); }
    CTQString Ping(const char* psz) override { return m_base.Ping(psz); }

private:
    IPrimitivaCom& m_base = PrimitivaComDaPlataforma();
};

} // namespace

const CChamada* CConversa::Falha() const {
    for (const CChamada& c : chamadas)
        if (FAILED(c.hr) || c.bRecusada)
            return &c;
    return nullptr;
}

CEscopoConversa::CEscopoConversa(CConversa& conversa)
    : m_pAnterior(std::exchange(t_pConversa, &conversa)) {}

CEscopoConversa::~CEscopoConversa() {
    t_pConversa = m_pAnterior;
}

namespace {
IPrimitivaCom& PrimitivaEscuta() {
    static CPrimitivaEscuta primitiva;
    return primitiva;
}
} // namespace

CEscopoEscuta::CEscopoEscuta() : m_escopo(PrimitivaEscuta()) {}

Contrato ContratoDoRegistro(const _REG_CONTRATO_PS& r) {
    Contrato c;
    c.codigo = TextoDoCampo(r.codigo, sizeof r.codigo).str();
    c.ponteiro = r.pontContr;
    for (ULONG i = 0; r.faixas && i < r.qtdFaixas; ++i)
        c.faixas.push_back(
            {r.faixas[i].codigoFaixa,
             Classificacoes(r.faixas[i].classificacoes, r.faixas[i].qtdClassificacoes)});
    return c;
}

ItemContrato ItemDoRegistro(const _REG_ITEM_CONTRATO_PS& r) {
    return {r.servico,
            r.precoUnitario.int64,
            r.precoExcedente.int64,
            r.franquia.int64,
            r.texto ? r.texto : "",
            Classificacoes(r.classificacoes, r.qtdClassificacoes)};
}

Faixa FaixaDoRegistro(const REG_FAIXA_PS& r) {
    Faixa f{r.codigo, r.servico, TextoDoCampo(r.descricao, sizeof r.descricao).str(), {}};
    for (ULONG b = 0; r.bandas && b < r.qtdBandas; ++b)
        f.bandas.push_back({r.bandas[b].inferior, r.bandas[b].superior, r.bandas[b].preco.int64});
    return f;
}

Apontamento ApontamentoDoRegistro(const _REG_APONTAMENTO_PS& r) {
    Apontamento a;
    a.ma = r.ma;
    a.ponteiro = r.ponteiro;
    a.pontContr = r.pontContr;
    a.codigo = TextoDoCampo(r.apontamento, sizeof r.apontamento).str();
    a.listarNF = r.listarNF;
    a.motorista = r.motorista;
    a.placa = r.placa;
    a.municipio = r.municipio;
    a.residuos = TextoDoCampo(r.residuos, sizeof r.residuos).str();
    if (r.itens)
        a.itens.assign(r.itens, r.itens + r.qtdItens);
    return a;
}

} // namespace tq::calc
