// The sample business server: ITQGE_Apontamentos, ITQGE_Contratos and ITQGE_Faixa over a data set
// (DadosAmostra.h), as a real server answers them: filtered by contract and period, every array
// and text handed back task-allocated for the receiver to free, faults and hostile answers as
// scripted. Tests, benchmarks, examples and tqcalc run the calculations against it.
//
//     tq::amostra::CServidorAmostra servidor(dados);
//     servidor.Registra();              // the three classes, in this process's class table
//     ... CCalculoApontamentos finds them through CoCreateInstanceEx ...
//
// Objects keep what they need of the server alive, so they may outlive the CServidorAmostra
// that made them; once it is gone (or revoked), no new object is created.
#pragma once

#include "servers/RegistrosGE.h"
#include "servers/amostra/DadosAmostra.h"
#include <TQAmostra.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

namespace tq::amostra {

// What the objects of one server share: the data set, the calls counted per operation, the open
// queries and the pings answered.
class CEstadoAmostra {
public:
    explicit CEstadoAmostra(CDadosAmostra dados);

    const CDadosAmostra& Dados() const { return m_dados; }
    // The time record at a position (month, number), or null.
    const Apontamento* NaPosicao(WORD ma, ULONG ponteiro) const;

    // The data set's time records as they go out, built once: each record's image (all but its
    // item array; qtdItens its true count) and its items, every record's back to back in the
    // data set's order, so that a month goes out as copies of consecutive memory.
    const _REG_APONTAMENTO_PS& Imagem(std::size_t i) const { return m_imagens[i]; }
    const ItemApontamento* Itens(std::size_t i) const { return m_itens.data() + m_inicioItens[i]; }
    std::size_t QtdItens(std::size_t i) const { return m_inicioItens[i + 1] - m_inicioItens[i]; }
    // What filters and positions look at, kept apart so that a search reads only this.
    struct Chave {
        ULONG pontContr;
        ULONG ponteiro;
        WORD ma;
    };
    const Chave& ChaveDe(std::size_t i) const { return m_chaves[i]; }
    // The indices of the records the filter matches (NoFiltro), in the data set's order.
    std::vector<std::size_t> Filtra(const _REG_FILTRO_APONTAMENTOS_PS& filtro) const;
    // The index of the record NaPosicao gives, or kNenhum. The record at index nProximo is tried
    // first, and nProximo moves past the one found: positions asked for in the data set's order
    // (as LePosicoes gives them) are found without a look-up each.
    static constexpr std::size_t kNenhum = static_cast<std::size_t>(-1);
    std::size_t IndiceNaPosicao(WORD ma, ULONG ponteiro, std::size_t& nProximo) const;
    // The contract with an internal number, and the range definition of a code (the first one
    // the data set holds), or null.
    const Contrato* ProcuraContrato(ULONG ponteiro) const;
    const Faixa* ProcuraFaixa(ULONG codigo) const;
    // The servers and operations calls are counted and scripted by. A call names them by their
    // index here: the server's found once per object, the operation's while compiling
    // (IndiceDaOperacao("LeItens")).
    static constexpr std::array<std::string_view, 3> kServidores{"ITQGE_Apontamentos",
                                                                 "ITQGE_Contratos", "ITQGE_Faixa"};
    static constexpr std::array<std::string_view, 11> kOperacoes{
        "KeepAlive", "Inicializa", "AbreConsulta", "Busca",    "LePosicoes", "LeApontamentos",
        "LeItens",   "LeContrato", "LeCodigos",    "LeFaixas", "LeFaixa"};
    static constexpr std::size_t kNenhumNome = static_cast<std::size_t>(-1);
    template <std::size_t N>
    static constexpr std::size_t Indice(const std::array<std::string_view, N>& nomes,
                                        std::string_view nome) {
        for (std::size_t i = 0; i < N; ++i)
            if (nomes[i] == nome)
                return i;
        return kNenhumNome;
    }
    // Counts the call and answers the scripted fault's HRESULT for it, or S_OK. Many threads may
    // call at once: they meet only on the operation's counter, and on a lock only while faults
    // are scripted.
    HRESULT Chamada(std::size_t nServidor, std::size_t nOperacao);
    // Replaces the scripted faults and starts the counts again (between calls, as a test does).
    void DefineFalhas(std::vector<Falha> falhas);
    // What a fault with `encerra` does (a LocalServer32 ends its process); without it, such a
    // fault answers its HRESULT.
    void AoEncerrar(std::function<void()> encerra) { m_encerra = std::move(encerra); }
    bool Hostil(const char* pszServidor, const char* pszOperacao, ETipoHostil tipo) const;
    int Chamadas(const std::string& servidor, const std::string& operacao) const;

    ULONG AbreConsulta(const _REG_FILTRO_APONTAMENTOS_PS& filtro);
    // The query's filter, taken once; false for an unknown query.
    bool FechaConsulta(ULONG numero, _REG_FILTRO_APONTAMENTOS_PS& filtro);

    long Pings() const;
    // Counts a ping; false when a FALSE answer was asked for it.
    bool Pingado();
    void DefineFalsos(long nFalsos);

    // A second thread for half of a large answer, one answer at a time: Comeca hands it the job
    // and is false when it is busy with another caller's (or no thread can be had), and the
    // caller then does the job itself; Espera waits for the job it handed over.
    class CAjudante {
    public:
        CAjudante() = default;
        CAjudante(const CAjudante&) = delete;
        CAjudante& operator=(const CAjudante&) = delete;
        ~CAjudante();
        bool Comeca(std::function<void()> tarefa);
        void Espera();

    private:
        void Roda();
        std::mutex m_mutex;
        std::condition_variable m_cv;
        std::function<void()> m_tarefa;
        bool m_bOcupado = false, m_bFeito = false, m_bParar = false;
        std::thread m_thread; // from the first job on
    };
    CAjudante& Ajudante() { return m_ajudante; }

private:
    const CDadosAmostra m_dados;
    // Indexes built once and only read afterwards, so that any number of threads may look up at
    // once and a month of many contracts costs each call its own contract's records only.
    std::unordered_map<unsigned long long, const Apontamento*> m_porPosicao;
    std::vector<bool> m_bPrimeiroNaPosicao; // per record: the one its position names
    std::vector<_REG_APONTAMENTO_PS> m_imagens;
    std::vector<Chave> m_chaves;
    std::vector<ItemApontamento> m_itens;
    std::vector<std::size_t> m_inicioItens; // per record, and one past the last
    std::unordered_map<ULONG, std::vector<std::size_t>> m_porContrato; // record indices
    std::unordered_map<ULONG, const Contrato*> m_contratos;
    std::unordered_map<ULONG, const Faixa*> m_faixas;

    mutable std::mutex m_mutex;
    std::array<std::atomic<int>, kServidores.size() * kOperacoes.size()> m_chamadas{};
    std::atomic<bool> m_bComFalhas{false};
    std::vector<Falha> m_falhas;
    std::function<void()> m_encerra;
    // Open queries, spread over a few locks by number so that threads seldom wait for each other.
    struct CConsultas {
        std::mutex mutex;
        std::map<ULONG, _REG_FILTRO_APONTAMENTOS_PS> abertas;
    };
    static constexpr std::size_t kGavetas = 16;
    std::array<CConsultas, kGavetas> m_consultas;
    std::atomic<ULONG> m_nProximaConsulta{1};
    long m_nPings = 0;
    long m_nFalsos = 0;
    CAjudante m_ajudante; // last: it stops before anything its jobs read goes
};

class CServidorAmostra {
public:
    explicit CServidorAmostra(CDadosAmostra dados);
    ~CServidorAmostra();
    CServidorAmostra(const CServidorAmostra&) = delete;
    CServidorAmostra& operator=(const CServidorAmostra&) = delete;

    // Registers the three classes' factories with CoRegisterClassObject: in this process
    // (CLSCTX_INPROC_SERVER), or for other processes (CLSCTX_LOCAL_SERVER, from a LocalServer32).
    HRESULT Registra(DWORD dwClsContext = CLSCTX_INPROC_SERVER);
    void Revoga();

    CEstadoAmostra& Estado() { return *m_pEstado; }
    // Objects of this server still alive (a LocalServer32 ends when none has lived a while).
    long ObjetosVivos() const { return m_pEstado.use_count() - 1; }

private:
    std::shared_ptr<CEstadoAmostra> m_pEstado;
    DWORD m_cookies[3] = {};
};

// The time records the filter matches (its contract, its period), in the data set's order.
bool NoFiltro(const Apontamento& a, const _REG_FILTRO_APONTAMENTOS_PS& filtro);

} // namespace tq::amostra
