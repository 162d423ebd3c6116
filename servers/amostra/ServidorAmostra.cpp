#include "servers/amostra/ServidorAmostra.h"

#include "tqlibex/system/Plataforma.h"
#include "tqlibex/system/Processo.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace tq::amostra {

namespace {

constexpr HRESULT kNaoEncontrado = static_cast<HRESULT>(0x80070490u); // ERROR_NOT_FOUND
constexpr IID kIID_IMarshal = {0x00000003, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// An operation's index, found while compiling: a name the server does not count does not build.
consteval std::size_t IndiceDaOperacao(std::string_view nome) {
    const std::size_t i = CEstadoAmostra::Indice(CEstadoAmostra::kOperacoes, nome);
    if (i == CEstadoAmostra::kNenhumNome)
        throw "not an operation of the sample server";
    return i;
}

// ---- Records from the data set, every block from the task allocator -------------------------

// A month whose records and items pass this many bytes is larger than the caches.
constexpr std::size_t kMesGrande = 8 * 1024 * 1024;

HRESULT PreencheClassificacoes(const std::vector<Classificacao>& origem,
                               _REG_CLASSIFICACAO_GE_PS*& p, ULONG& n) {
    n = 0;
    p = AlocaArray<_REG_CLASSIFICACAO_GE_PS>(origem.size());
    if (!p)
        return origem.empty() ? S_OK : E_OUTOFMEMORY;
    n = static_cast<ULONG>(origem.size());
    for (ULONG i = 0; i < n; ++i) {
        p[i].codigo = origem[i].codigo;
        p[i].percentual.int64 = origem[i].percentual;
        if (!(p[i].descricao = DuplicaTexto(origem[i].descricao.c_str())))
            return E_OUTOFMEMORY;
    }
    return S_OK;
}

HRESULT PreencheItemContrato(const Contrato& c, std::size_t i, bool bClassificacaoAMais,
                             _REG_ITEM_CONTRATO_PS& r) {
    const ItemContrato& d = c.itens[i];
    r.pontContr = c.ponteiro;
    r.item = static_cast<ULONG>(i + 1);
    r.servico = d.servico;
    r.precoUnitario.int64 = d.precoUnitario;
    r.precoExcedente.int64 = d.precoExcedente;
    r.franquia.int64 = d.franquia;
    if (!(r.texto = DuplicaTexto(d.texto.c_str())))
        return E_OUTOFMEMORY;
    const HRESULT hr =
        PreencheClassificacoes(d.classificacoes, r.classificacoes, r.qtdClassificacoes);
    r.qtdClassificacoes += bClassificacaoAMais ? 1 : 0;
    return hr;
}

HRESULT PreencheFaixa(const Faixa& d, REG_FAIXA_PS& r) {
    r.codigo = d.codigo;
    TextoParaCampo(r.descricao, sizeof r.descricao, d.descricao.c_str());
    r.servico = d.servico;
    r.bandas = AlocaArray<_REG_BANDA_FAIXA_PS>(d.bandas.size());
    if (!r.bandas && !d.bandas.empty())
        return E_OUTOFMEMORY;
    r.qtdBandas = static_cast<ULONG>(d.bandas.size());
    for (std::size_t i = 0; i < d.bandas.size(); ++i) {
        r.bandas[i].inferior = d.bandas[i].inferior;
        r.bandas[i].superior = d.bandas[i].superior;
        r.bandas[i].preco.int64 = d.bandas[i].preco;
    }
    return S_OK;
}

// A filter's reserved bytes travel as zeros: a server cannot tell what anything else would mean,
// so it refuses it rather than guess.
bool FiltroLimpo(const _REG_FILTRO_APONTAMENTOS_PS& filtro) {
    const auto zeros = [](const BYTE* p, std::size_t n) {
        return std::all_of(p, p + n, [](BYTE b) { return b == 0; });
    };
    return zeros(filtro.reservado1, sizeof filtro.reservado1) &&
           zeros(filtro.reservado2, sizeof filtro.reservado2) &&
           zeros(filtro.reservado3, sizeof filtro.reservado3);
}

// An array of n records filled one by one, each zeroed just before; on any failure everything
// goes and the error comes back. The operation's hostility, if scripted, changes the count or
// takes the array away.
template <class R, class Preenche>
HRESULT DevolveArray(CEstadoAmostra& estado, const char* pszServidor, const char* pszOperacao,
                     std::size_t n, const Preenche& preenche, void (*libera)(R*, ULONG), ULONG* pn,
                     R** pp) {
    R* p = n ? static_cast<R*>(CoTaskMemAlloc(n * sizeof(R))) : nullptr;
    if (!p && n != 0)
        return E_OUTOFMEMORY;
    for (std::size_t i = 0; i < n; ++i) {
        std::memset(&p[i], 0, sizeof(R));
        const HRESULT hr = preenche(i, p[i]);
        if (FAILED(hr)) {
            libera(p, static_cast<ULONG>(i + 1));
            return hr;
        }
    }
    *pn = static_cast<ULONG>(n);
    *pp = p;
    if (estado.Hostil(pszServidor, pszOperacao, ETipoHostil::ContagemSemArray)) {
        libera(p, static_cast<ULONG>(n));
        *pp = nullptr;
        *pn = static_cast<ULONG>(std::max<std::size_t>(n, 1));
    } else if (estado.Hostil(pszServidor, pszOperacao, ETipoHostil::ContagemMaiorQueOArray)) {
        ++*pn;
    }
    return S_OK;
}

void LiberaPosicoes(_REG_PONTEIRO_APONTAMENTO_PS* p, ULONG) {
    CoTaskMemFree(p);
}
void LiberaCodigos(ULONG* p, ULONG) {
    CoTaskMemFree(p);
}
void LiberaFaixas(REG_FAIXA_PS* p, ULONG n) {
    if (p)
        for (ULONG i = 0; i < n; ++i)
            LiberaFaixa(p[i]);
    CoTaskMemFree(p);
}

// ---- The objects ----------------------------------------------------------------------------

// IUnknown, ITQUnknown, the sample server's own ITQAmostra and the free-threaded marshaler for
// one interface: in one process, ole32 hands the pointer itself to a keep-alive thread; across
// processes, the proxy does the work.
template <class I>
class CObjetoAmostra : public I, public ITQAmostra {
public:
    CObjetoAmostra(std::shared_ptr<CEstadoAmostra> pEstado, const char* pszNome)
        : m_pEstado(std::move(pEstado)), m_pszNome(pszNome),
          m_nServidor(CEstadoAmostra::Indice(CEstadoAmostra::kServidores, pszNome)) {
        CoCreateFreeThreadedMarshaler(static_cast<I*>(this), &m_pMarshaler);
    }
    virtual ~CObjetoAmostra() {
        if (m_pMarshaler)
            m_pMarshaler->Release();
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (!ppv)
            return E_POINTER;
        if (riid == __uuidof(IUnknown) || riid == __uuidof(ITQUnknown) || riid == __uuidof(I)) {
            *ppv = static_cast<I*>(this);
            AddRef();
            return S_OK;
        }
        if (riid == __uuidof(ITQAmostra)) {
            *ppv = static_cast<ITQAmostra*>(this);
            AddRef();
            return S_OK;
        }
        if (riid == kIID_IMarshal && m_pMarshaler)
            return m_pMarshaler->QueryInterface(riid, ppv);
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nRefs; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG n = --m_nRefs;
        if (n == 0)
            delete this;
        return n;
    }

    // A scripted failure comes back as it is; a scripted success code answers FALSE.
    HRESULT STDMETHODCALLTYPE KeepAlive(BOOL* pbOK) override {
        if (!pbOK)
            return E_POINTER;
        const HRESULT hr = m_pEstado->Chamada(m_nServidor, IndiceDaOperacao("KeepAlive"));
        const bool bVerdadeiro = m_pEstado->Pingado();
        if (FAILED(hr))
            return hr;
        *pbOK = hr == S_OK && bVerdadeiro ? TRUE : FALSE;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetPid(DWORD* pdwPid) override {
        if (!pdwPid)
            return E_POINTER;
        *pdwPid = detail::IdDoProcesso();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetPings(LONG* pnPings) override {
        if (!pnPings)
            return E_POINTER;
        *pnPings = static_cast<LONG>(m_pEstado->Pings());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE DefineFalsos(LONG nFalsos) override {
        m_pEstado->DefineFalsos(nFalsos);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE DefineFalha(const char* pszServidor, const char* pszOperacao,
                                          LONG nChamada, HRESULT hr, BOOL bEncerra) override {
        if (!pszServidor || !pszOperacao)
            return E_POINTER;
        std::vector<Falha> falhas;
        if (*pszServidor)
            falhas.push_back(
                {pszServidor, pszOperacao, static_cast<int>(nChamada), hr, bEncerra != FALSE});
        m_pEstado->DefineFalhas(std::move(falhas));
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetChamadas(const char* pszServidor, const char* pszOperacao,
                                          LONG* pnChamadas) override {
        if (!pszServidor || !pszOperacao || !pnChamadas)
            return E_POINTER;
        *pnChamadas = m_pEstado->Chamadas(pszServidor, pszOperacao);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE Inicializa(_REG_CONEXAO_PS) override {
        const HRESULT hr = m_pEstado->Chamada(m_nServidor, IndiceDaOperacao("Inicializa"));
        if (SUCCEEDED(hr))
            m_bInicializado = true;
        return hr;
    }

protected:
    // A data call is answered only after Inicializa has given the object its connection, as a
    // business server needs it to know whose data to read; before, E_UNEXPECTED.
    HRESULT Atende(std::size_t nOperacao) {
        return m_bInicializado ? m_pEstado->Chamada(m_nServidor, nOperacao) : E_UNEXPECTED;
    }

    std::shared_ptr<CEstadoAmostra> m_pEstado;
    const char* m_pszNome;
    const std::size_t m_nServidor;

private:
    std::atomic<bool> m_bInicializado{false};
    std::atomic<ULONG> m_nRefs{1};
    IUnknown* m_pMarshaler = nullptr;
};

class CApontamentosAmostra final : public CObjetoAmostra<ITQGE_Apontamentos> {
public:
    explicit CApontamentosAmostra(std::shared_ptr<CEstadoAmostra> p)
        : CObjetoAmostra(std::move(p), "ITQGE_Apontamentos") {}

    HRESULT STDMETHODCALLTYPE AbreConsulta(_REG_FILTRO_APONTAMENTOS_PS filtro,
                                           _REG_CONSULTA_PS* pConsulta) override {
        if (!pConsulta)
            return E_POINTER;
        std::memset(pConsulta, 0, sizeof *pConsulta);
        HRESULT hr = Atende(IndiceDaOperacao("AbreConsulta"));
        if (FAILED(hr))
            return hr;
        if (!FiltroLimpo(filtro))
            return E_INVALIDARG;
        // The handle's buffer carries the query's number; the receiver frees it.
        auto* pBuffer = AlocaArray<ULONG>(1);
        if (!pBuffer)
            return E_OUTOFMEMORY;
        *pBuffer = m_pEstado->AbreConsulta(filtro);
        pConsulta->numero = *pBuffer;
        pConsulta->tamanho = sizeof(ULONG);
        pConsulta->buffer = reinterpret_cast<BYTE*>(pBuffer);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE Busca(_REG_CONSULTA_PS consulta, ULONG* pnQtd,
                                    _REG_APONTAMENTO_PS** pp) override {
        if (!pnQtd || !pp)
            return E_POINTER;
        *pnQtd = 0;
        *pp = nullptr;
        HRESULT hr = Atende(IndiceDaOperacao("Busca"));
        if (FAILED(hr))
            return hr;
        _REG_FILTRO_APONTAMENTOS_PS filtro;
        if (!m_pEstado->FechaConsulta(consulta.numero, filtro))
            return E_INVALIDARG;
        return Devolve(m_pEstado->Filtra(filtro), "Busca", pnQtd, pp);
    }

    HRESULT STDMETHODCALLTYPE LePosicoes(_REG_FILTRO_APONTAMENTOS_PS filtro, ULONG* pnQtd,
                                         _REG_PONTEIRO_APONTAMENTO_PS** pp) override {
        if (!pnQtd || !pp)
            return E_POINTER;
        *pnQtd = 0;
        *pp = nullptr;
        HRESULT hr = Atende(IndiceDaOperacao("LePosicoes"));
        if (FAILED(hr))
            return hr;
        if (!FiltroLimpo(filtro))
            return E_INVALIDARG;
        const std::vector<std::size_t> achados = m_pEstado->Filtra(filtro);
        return DevolveArray<_REG_PONTEIRO_APONTAMENTO_PS>(
            *m_pEstado, m_pszNome, "LePosicoes", achados.size(),
            [&](std::size_t i, _REG_PONTEIRO_APONTAMENTO_PS& r) {
                const CEstadoAmostra::Chave& chave = m_pEstado->ChaveDe(achados[i]);
                r.ma = chave.ma;
                r.ponteiro = chave.ponteiro;
                return S_OK;
            },
            LiberaPosicoes, pnQtd, pp);
    }

    HRESULT STDMETHODCALLTYPE LeApontamentos(ULONG nQtd, _REG_PONTEIRO_APONTAMENTO_PS* pPosicoes,
                                             ULONG* pnLidos, _REG_APONTAMENTO_PS** pp) override {
        if (!pnLidos || !pp || (nQtd && !pPosicoes))
            return E_POINTER;
        *pnLidos = 0;
        *pp = nullptr;
        HRESULT hr = Atende(IndiceDaOperacao("LeApontamentos"));
        if (FAILED(hr))
            return hr;
        // The records at the positions asked for, in that order; an unknown position is passed
        // over.
        std::vector<std::size_t> achados;
        achados.reserve(nQtd);
        std::size_t nProximo = 0;
        for (ULONG i = 0; i < nQtd; ++i) {
            const std::size_t a =
                m_pEstado->IndiceNaPosicao(pPosicoes[i].ma, pPosicoes[i].ponteiro, nProximo);
            if (a != CEstadoAmostra::kNenhum)
                achados.push_back(a);
        }
        return Devolve(achados, "LeApontamentos", pnLidos, pp);
    }

private:
    // The records found (indices into the data set), each with its item array: each record
    // copied from the image the server keeps of it, its items from the server's own array of
    // them into a block cut in series with the others (tq::CBlocosEmSerie). A month larger than
    // the caches is written past them: the server does not read it again, and by the time the
    // receiver does it would have left them anyway.
    HRESULT Devolve(const std::vector<std::size_t>& achados, const char* pszOperacao, ULONG* pn,
                    _REG_APONTAMENTO_PS** pp) {
        const bool bItensAMais =
            m_pEstado->Hostil(m_pszNome, pszOperacao, ETipoHostil::ItensMaiorQueOArray);
        const std::size_t n = achados.size();
        std::size_t cbMes = n * sizeof(_REG_APONTAMENTO_PS);
        for (std::size_t a : achados)
            cbMes += m_pEstado->QtdItens(a) * sizeof(ItemApontamento);
        const bool bParaLonge = cbMes > kMesGrande;
        auto* p =
            n ? static_cast<_REG_APONTAMENTO_PS*>(CoTaskMemAlloc(n * sizeof(_REG_APONTAMENTO_PS)))
              : nullptr;
        if (!p && n != 0)
            return E_OUTOFMEMORY;
        // Records [inicio, fim) with their items; how far it got when memory ran out.
        const auto copia = [&](std::size_t inicio, std::size_t fim) {
            CBlocosEmSerie blocos(bParaLonge);
            for (std::size_t i = inicio; i < fim; ++i) {
                const std::size_t a = achados[i];
                _REG_APONTAMENTO_PS r = m_pEstado->Imagem(a);
                r.qtdItens += bItensAMais ? 1 : 0;
                const std::size_t cb = m_pEstado->QtdItens(a) * sizeof(ItemApontamento);
                if (cb) {
                    r.itens = static_cast<_REG_ITEM_APONTAMENTO_PS*>(
                        blocos.Copia(m_pEstado->Itens(a), cb));
                    if (!r.itens)
                        return i;
                }
                if (bParaLonge)
                    detail::CopiaParaLonge(&p[i], &r, sizeof r);
                else
                    p[i] = r;
            }
            return fim;
        };
        // A month past the caches is copied half by the calling thread and half by the server's
        // helper (when it is free): a processor alone fetches only so much memory at a time.
        const std::size_t meio = bParaLonge ? n / 2 : n;
        std::size_t fimDaSegunda = n;
        CEstadoAmostra::CAjudante& ajudante = m_pEstado->Ajudante();
        const bool bAjudado = meio < n && ajudante.Comeca([&] { fimDaSegunda = copia(meio, n); });
        const std::size_t fimDaPrimeira = copia(0, bAjudado ? meio : n);
        if (bAjudado)
            ajudante.Espera();
        if (bParaLonge)
            detail::TerminaCopiasParaLonge();
        if (fimDaPrimeira != (bAjudado ? meio : n) || fimDaSegunda != n) {
            for (std::size_t i = meio; bAjudado && i < fimDaSegunda; ++i)
                CoTaskMemFree(p[i].itens);
            LiberaApontamentos(p, static_cast<ULONG>(fimDaPrimeira));
            return E_OUTOFMEMORY;
        }
        *pn = static_cast<ULONG>(n);
        *pp = p;
        if (m_pEstado->Hostil(m_pszNome, pszOperacao, ETipoHostil::ContagemSemArray)) {
            LiberaApontamentos(p, static_cast<ULONG>(n));
            *pp = nullptr;
            *pn = static_cast<ULONG>(std::max<std::size_t>(n, 1));
        } else if (m_pEstado->Hostil(m_pszNome, pszOperacao, ETipoHostil::ContagemMaiorQueOArray)) {
            ++*pn;
        }
        return S_OK;
    }
};

class CContratosAmostra final : public CObjetoAmostra<ITQGE_Contratos> {
public:
    explicit CContratosAmostra(std::shared_ptr<CEstadoAmostra> p)
        : CObjetoAmostra(std::move(p), "ITQGE_Contratos") {}

    HRESULT STDMETHODCALLTYPE LeItens(ULONG pontContr, ULONG* pnQtd,
                                      _REG_ITEM_CONTRATO_PS** pp) override {
        if (!pnQtd || !pp)
            return E_POINTER;
        *pnQtd = 0;
        *pp = nullptr;
        HRESULT hr = Atende(IndiceDaOperacao("LeItens"));
        if (FAILED(hr))
            return hr;
        const Contrato* c = m_pEstado->ProcuraContrato(pontContr);
        const bool bAMais =
            m_pEstado->Hostil(m_pszNome, "LeItens", ETipoHostil::ItensMaiorQueOArray);
        return DevolveArray<_REG_ITEM_CONTRATO_PS>(
            *m_pEstado, m_pszNome, "LeItens", c ? c->itens.size() : 0,
            [&](std::size_t i, _REG_ITEM_CONTRATO_PS& r) {
                return PreencheItemContrato(*c, i, bAMais, r);
            },
            LiberaItensContrato, pnQtd, pp);
    }

    HRESULT STDMETHODCALLTYPE LeContrato(ULONG pontContr, _REG_CONTRATO_PS* pContrato) override {
        if (!pContrato)
            return E_POINTER;
        std::memset(pContrato, 0, sizeof *pContrato);
        HRESULT hr = Atende(IndiceDaOperacao("LeContrato"));
        if (FAILED(hr))
            return hr;
        const Contrato* c = m_pEstado->ProcuraContrato(pontContr);
        if (!c)
            return kNaoEncontrado;
        TextoParaCampo(pContrato->codigo, sizeof pContrato->codigo, c->codigo.c_str());
        pContrato->pontContr = c->ponteiro;
        pContrato->faixas = AlocaArray<_REG_FAIXA_CONTRATO_PS>(c->faixas.size());
        if (!pContrato->faixas && !c->faixas.empty())
            return E_OUTOFMEMORY;
        pContrato->qtdFaixas = static_cast<ULONG>(c->faixas.size());
        for (std::size_t i = 0; i < c->faixas.size() && SUCCEEDED(hr); ++i) {
            _REG_FAIXA_CONTRATO_PS& r = pContrato->faixas[i];
            r.pontContr = c->ponteiro;
            r.item = static_cast<ULONG>(i + 1);
            r.codigoFaixa = c->faixas[i].codigo;
            if (const Faixa* f = m_pEstado->ProcuraFaixa(r.codigoFaixa))
                r.servico = f->servico;
            hr = PreencheClassificacoes(c->faixas[i].classificacoes, r.classificacoes,
                                        r.qtdClassificacoes);
            if (m_pEstado->Hostil(m_pszNome, "LeContrato", ETipoHostil::ItensMaiorQueOArray))
                ++r.qtdClassificacoes;
        }
        if (FAILED(hr))
            LiberaContrato(*pContrato);
        return hr;
    }
};

class CFaixaAmostra final : public CObjetoAmostra<ITQGE_Faixa> {
public:
    explicit CFaixaAmostra(std::shared_ptr<CEstadoAmostra> p)
        : CObjetoAmostra(std::move(p), "ITQGE_Faixa") {}

    HRESULT STDMETHODCALLTYPE LeCodigos(ULONG* pnQtd, ULONG** pp) override {
        if (!pnQtd || !pp)
            return E_POINTER;
        *pnQtd = 0;
        *pp = nullptr;
        HRESULT hr = Atende(IndiceDaOperacao("LeCodigos"));
        if (FAILED(hr))
            return hr;
        const std::vector<Faixa>& faixas = m_pEstado->Dados().faixas;
        return DevolveArray<ULONG>(
            *m_pEstado, m_pszNome, "LeCodigos", faixas.size(),
            [&](std::size_t i, ULONG& r) {
                r = faixas[i].codigo;
                return S_OK;
            },
            LiberaCodigos, pnQtd, pp);
    }

    HRESULT STDMETHODCALLTYPE LeFaixas(ULONG nQtd, ULONG* pCodigos, ULONG* pnLidas,
                                       REG_FAIXA_PS** pp) override {
        if (!pnLidas || !pp || (nQtd && !pCodigos))
            return E_POINTER;
        *pnLidas = 0;
        *pp = nullptr;
        HRESULT hr = Atende(IndiceDaOperacao("LeFaixas"));
        if (FAILED(hr))
            return hr;
        std::vector<const Faixa*> achadas;
        for (ULONG i = 0; i < nQtd; ++i)
            if (const Faixa* f = m_pEstado->ProcuraFaixa(pCodigos[i]))
                achadas.push_back(f);
        return DevolveArray<REG_FAIXA_PS>(
            *m_pEstado, m_pszNome, "LeFaixas", achadas.size(),
            [&](std::size_t i, REG_FAIXA_PS& r) { return PreencheFaixa(*achadas[i], r); },
            LiberaFaixas, pnLidas, pp);
    }

    HRESULT STDMETHODCALLTYPE LeFaixa(ULONG codigo, REG_FAIXA_PS* pFaixa) override {
        if (!pFaixa)
            return E_POINTER;
        std::memset(pFaixa, 0, sizeof *pFaixa);
        HRESULT hr = Atende(IndiceDaOperacao("LeFaixa"));
        if (FAILED(hr))
            return hr;
        const Faixa* f = m_pEstado->ProcuraFaixa(codigo);
        if (!f)
            return kNaoEncontrado;
        hr = PreencheFaixa(*f, *pFaixa);
        if (FAILED(hr)) {
            LiberaFaixa(*pFaixa);
            return hr;
        }
        if (m_pEstado->Hostil(m_pszNome, "LeFaixa", ETipoHostil::ContagemSemArray)) {
            LiberaFaixa(*pFaixa);
            pFaixa->qtdBandas = std::max<ULONG>(pFaixa->qtdBandas, 1);
        } else if (m_pEstado->Hostil(m_pszNome, "LeFaixa", ETipoHostil::ContagemMaiorQueOArray)) {
            ++pFaixa->qtdBandas;
        }
        return S_OK;
    }
};

// The factory of one of the three classes; it holds the server's state only weakly, so that a
// revoked server makes no more objects.
template <class T>
class CFabricaAmostra final : public IClassFactory {
public:
    explicit CFabricaAmostra(std::weak_ptr<CEstadoAmostra> pEstado)
        : m_pEstado(std::move(pEstado)) {}
    virtual ~CFabricaAmostra() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (!ppv)
            return E_POINTER;
        if (riid == __uuidof(IUnknown) || riid == __uuidof(IClassFactory)) {
            *ppv = static_cast<IClassFactory*>(this);
            AddRef();
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nRefs; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG n = --m_nRefs;
        if (n == 0)
            delete this;
        return n;
    }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pUnkOuter, REFIID riid,
                                             void** ppv) override {
        if (!ppv)
            return E_POINTER;
        *ppv = nullptr;
        if (pUnkOuter)
            return CLASS_E_NOAGGREGATION;
        std::shared_ptr<CEstadoAmostra> pEstado = m_pEstado.lock();
        if (!pEstado)
            return CO_E_SERVER_STOPPING;
        auto* p = new T(std::move(pEstado));
        const HRESULT hr = p->QueryInterface(riid, ppv);
        p->Release();
        return hr;
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

private:
    std::weak_ptr<CEstadoAmostra> m_pEstado;
    std::atomic<ULONG> m_nRefs{1};
};

} // namespace

// ---- The shared state -----------------------------------------------------------------------

namespace {
unsigned long long Posicao(WORD ma, ULONG ponteiro) {
    return (static_cast<unsigned long long>(ma) << 32) | ponteiro;
}
} // namespace

namespace {
void TextoParaCampoSemTerminador(char* pCampo, std::size_t nTamanho, const std::string& texto) {
    // A text as long as the field fills it, with no terminator: as a real server sends it.
    std::memcpy(pCampo, texto.data(), std::min(texto.size(), nTamanho));
}

// A record as it goes out, but for its item array.
_REG_APONTAMENTO_PS ImagemDe(const Apontamento& a) {
    _REG_APONTAMENTO_PS r;
    std::memset(&r, 0, sizeof r);
    TextoParaCampoSemTerminador(r.apontamento, sizeof r.apontamento, a.codigo);
    TextoParaCampoSemTerminador(r.residuos, sizeof r.residuos, a.residuos);
    r.listarNF = a.listarNF;
    r.ma = a.ma;
    r.ponteiro = a.ponteiro;
    r.pontContr = a.pontContr;
    r.motorista = a.motorista;
    r.placa = a.placa;
    r.municipio = a.municipio;
    r.qtdItens = static_cast<ULONG>(a.itens.size());
    return r;
}
} // namespace

// A position names one record: its month and its number within it.
CEstadoAmostra::CEstadoAmostra(CDadosAmostra dados)
    : m_dados(std::move(dados)), m_bComFalhas(!m_dados.falhas.empty()), m_falhas(m_dados.falhas) {
    const std::size_t n = m_dados.apontamentos.size();
    m_bPrimeiroNaPosicao.reserve(n);
    m_imagens.reserve(n);
    m_chaves.reserve(n);
    m_inicioItens.reserve(n + 1);
    std::size_t nItens = 0;
    for (const Apontamento& a : m_dados.apontamentos)
        nItens += a.itens.size();
    m_itens.reserve(nItens);
    // A month is copied out of these two from end to end, record after record.
    PedePaginasGrandes(m_itens.data(), nItens * sizeof(ItemApontamento));
    PedePaginasGrandes(m_imagens.data(), n * sizeof(_REG_APONTAMENTO_PS));
    for (const Apontamento& a : m_dados.apontamentos) {
        m_bPrimeiroNaPosicao.push_back(m_porPosicao.emplace(Posicao(a.ma, a.ponteiro), &a).second);
        m_imagens.push_back(ImagemDe(a));
        m_porContrato[a.pontContr].push_back(m_chaves.size());
        m_chaves.push_back({a.pontContr, a.ponteiro, a.ma});
        m_inicioItens.push_back(m_itens.size());
        m_itens.insert(m_itens.end(), a.itens.begin(), a.itens.end());
    }
    m_inicioItens.push_back(m_itens.size());
    for (const Contrato& c : m_dados.contratos)
        m_contratos.emplace(c.ponteiro, &c);
    for (const Faixa& f : m_dados.faixas)
        m_faixas.emplace(f.codigo, &f);
}

std::vector<std::size_t> CEstadoAmostra::Filtra(const _REG_FILTRO_APONTAMENTOS_PS& filtro) const {
    std::vector<std::size_t> achados;
    const auto doContrato = m_porContrato.find(filtro.pontContr);
    if (doContrato == m_porContrato.end())
        return achados;
    for (const std::size_t i : doContrato->second) {
        const Chave& c = m_chaves[i];
        if (c.ma >= filtro.maInicial && c.ma <= filtro.maFinal)
            achados.push_back(i);
    }
    return achados;
}

const Contrato* CEstadoAmostra::ProcuraContrato(ULONG ponteiro) const {
    const auto it = m_contratos.find(ponteiro);
    return it == m_contratos.end() ? nullptr : it->second;
}

const Faixa* CEstadoAmostra::ProcuraFaixa(ULONG codigo) const {
    const auto it = m_faixas.find(codigo);
    return it == m_faixas.end() ? nullptr : it->second;
}

const Apontamento* CEstadoAmostra::NaPosicao(WORD ma, ULONG ponteiro) const {
    const auto it = m_porPosicao.find(Posicao(ma, ponteiro));
    return it == m_porPosicao.end() ? nullptr : it->second;
}

std::size_t CEstadoAmostra::IndiceNaPosicao(WORD ma, ULONG ponteiro, std::size_t& nProximo) const {
    std::size_t i = nProximo;
    if (i >= m_chaves.size() || !m_bPrimeiroNaPosicao[i] || m_chaves[i].ma != ma ||
        m_chaves[i].ponteiro != ponteiro) {
        const Apontamento* a = NaPosicao(ma, ponteiro);
        if (!a)
            return kNenhum;
        i = static_cast<std::size_t>(a - m_dados.apontamentos.data());
    }
    nProximo = i + 1;
    return i;
}

HRESULT CEstadoAmostra::Chamada(std::size_t nServidor, std::size_t nOperacao) {
    const int n = ++m_chamadas[nServidor * kOperacoes.size() + nOperacao];
    if (!m_bComFalhas.load(std::memory_order_acquire))
        return S_OK;
    std::lock_guard lock(m_mutex);
    for (const Falha& f : m_falhas)
        if (f.chamada == n && f.servidor == kServidores[nServidor] &&
            f.operacao == kOperacoes[nOperacao]) {
            if (f.encerra && m_encerra)
                m_encerra();
            return f.hr;
        }
    return S_OK;
}

void CEstadoAmostra::DefineFalhas(std::vector<Falha> falhas) {
    std::lock_guard lock(m_mutex);
    m_falhas = std::move(falhas);
    for (std::atomic<int>& n : m_chamadas)
        n = 0;
    m_bComFalhas.store(!m_falhas.empty(), std::memory_order_release);
}

bool CEstadoAmostra::Hostil(const char* pszServidor, const char* pszOperacao,
                            ETipoHostil tipo) const {
    for (const Hostilidade& h : m_dados.hostilidades)
        if (h.tipo == tipo && h.servidor == pszServidor && h.operacao == pszOperacao)
            return true;
    return false;
}

int CEstadoAmostra::Chamadas(const std::string& servidor, const std::string& operacao) const {
    const std::size_t s = Indice(kServidores, servidor), o = Indice(kOperacoes, operacao);
    return s == kNenhumNome || o == kNenhumNome ? 0 : m_chamadas[s * kOperacoes.size() + o].load();
}

ULONG CEstadoAmostra::AbreConsulta(const _REG_FILTRO_APONTAMENTOS_PS& filtro) {
    const ULONG numero = m_nProximaConsulta++;
    CConsultas& gaveta = m_consultas[numero % kGavetas];
    std::lock_guard lock(gaveta.mutex);
    gaveta.abertas[numero] = filtro;
    return numero;
}

bool CEstadoAmostra::FechaConsulta(ULONG numero, _REG_FILTRO_APONTAMENTOS_PS& filtro) {
    CConsultas& gaveta = m_consultas[numero % kGavetas];
    std::lock_guard lock(gaveta.mutex);
    const auto it = gaveta.abertas.find(numero);
    if (it == gaveta.abertas.end())
        return false;
    filtro = it->second;
    gaveta.abertas.erase(it);
    return true;
}

long CEstadoAmostra::Pings() const {
    std::lock_guard lock(m_mutex);
    return m_nPings;
}

bool CEstadoAmostra::Pingado() {
    std::lock_guard lock(m_mutex);
    ++m_nPings;
    if (m_nFalsos == 0)
        return true;
    --m_nFalsos;
    return false;
}

void CEstadoAmostra::DefineFalsos(long nFalsos) {
    std::lock_guard lock(m_mutex);
    m_nFalsos = nFalsos;
}

CEstadoAmostra::CAjudante::~CAjudante() {
    {
        std::lock_guard lock(m_mutex);
        m_bParar = true;
    }
    m_cv.notify_all();
    if (m_thread.joinable())
        m_thread.join();
}

bool CEstadoAmostra::CAjudante::Comeca(std::function<void()> tarefa) {
    std::lock_guard lock(m_mutex);
    if (m_bOcupado)
        return false;
    if (!m_thread.joinable()) {
        try {
            m_thread = std::thread([this] { Roda(); });
        } catch (const std::system_error&) {
            return false;
        }
    }
    m_tarefa = std::move(tarefa);
    m_bOcupado = true;
    m_bFeito = false;
    m_cv.notify_all();
    return true;
}

void CEstadoAmostra::CAjudante::Espera() {
    std::unique_lock lock(m_mutex);
    m_cv.wait(lock, [this] { return m_bFeito; });
    m_bOcupado = false;
}

void CEstadoAmostra::CAjudante::Roda() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_cv.wait(lock, [this] { return m_tarefa || m_bParar; });
        if (!m_tarefa)
            return;
        std::function<void()> tarefa = std::move(m_tarefa);
        m_tarefa = nullptr;
        lock.unlock();
        tarefa();
        lock.lock();
        m_bFeito = true;
        m_cv.notify_all();
    }
}

bool NoFiltro(const Apontamento& a, const _REG_FILTRO_APONTAMENTOS_PS& filtro) {
    return a.pontContr == filtro.pontContr && a.ma >= filtro.maInicial && a.ma <= filtro.maFinal;
}

// ---- The server -----------------------------------------------------------------------------

CServidorAmostra::CServidorAmostra(CDadosAmostra dados)
    : m_pEstado(std::make_shared<CEstadoAmostra>(std::move(dados))) {}

CServidorAmostra::~CServidorAmostra() {
    Revoga();
}

HRESULT CServidorAmostra::Registra(DWORD dwClsContext) {
    Revoga();
    IClassFactory* fabricas[3] = {new CFabricaAmostra<CApontamentosAmostra>(m_pEstado),
                                  new CFabricaAmostra<CContratosAmostra>(m_pEstado),
                                  new CFabricaAmostra<CFaixaAmostra>(m_pEstado)};
    const CLSID* classes[3] = {&__uuidof(TQGE_Apontamentos), &__uuidof(TQGE_Contratos),
                               &__uuidof(TQGE_Faixa)};
    HRESULT hr = S_OK;
    for (int i = 0; i < 3; ++i) {
        if (SUCCEEDED(hr))
            hr = CoRegisterClassObject(*classes[i], fabricas[i], dwClsContext, REGCLS_MULTIPLEUSE,
                                       &m_cookies[i]);
        fabricas[i]->Release(); // the class table holds its own reference
    }
    if (FAILED(hr))
        Revoga();
    return hr;
}

void CServidorAmostra::Revoga() {
    for (DWORD& cookie : m_cookies)
        if (cookie)
            CoRevokeClassObject(std::exchange(cookie, 0));
}

} // namespace tq::amostra
