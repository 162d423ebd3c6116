#include "tools/tqcalc/Lote.h"

#include <tqge.h>

#include "servers/amostra/ServidorAmostra.h"
#include "tools/tqcalc/Diario.h"
#include "tools/tqcalc/EntradaLote.h"
#include "tools/tqcalc/Formato.h"
#include "tools/tqcalc/Nucleo.h"
#include "tools/tqcalc/Resumo.h"
#include "tools/tqcalc/Servidores.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <set>
#include <sstream>
#include <thread>

namespace tq::calc {

namespace fs = std::filesystem;
using json = nlohmann::ordered_json;
using Relogio = std::chrono::steady_clock;

namespace {

constexpr int kFeito = 0, kFalhou = 1, kErroNaEntrada = 2, kEstouro = 3;
// The journal reaches the disk every this many contracts, or this often, whichever comes first:
// a power cut loses at most one batch (a killed process none), which the next run bills again.
// A sync every few milliseconds, behind a small queue, kept the workers waiting for the disk.
constexpr std::size_t kLoteDeSincronia = 512;
constexpr auto kIntervaloDeSincronia = std::chrono::milliseconds(250);
// Finished contracts waiting for the writer (about a kilobyte each): room for the contracts billed
// while the journal is synced; a slower disk holds the workers back, not the memory.
constexpr std::size_t kFilaMaxima = 8192;

const char* const kArquivoLote = "lote.json";
const char* const kArquivoNotas = "notas.jsonl";
const char* const kArquivoTrava = "lote.trava";
const char* const kArquivoResumo = "resumo.csv";
const char* const kArquivoDivergencias = "divergencias.csv";

double Segundos(Relogio::duration d) {
    return std::chrono::duration<double>(d).count();
}

std::string Caminho(const std::string& pasta, const char* arquivo) {
    return (fs::path(pasta) / arquivo).string();
}

void Diz(const std::string& texto) {
    EscreveTexto(EFluxo::Erro, "tqcalc: " + texto + "\n");
}

// 1234567 as "1.234.567".
std::string Milhares(std::size_t n) {
    return Brasileiro(static_cast<LONGLONG>(n), 0);
}

std::string Decimal(double v, int nDecimais) {
    char t[64];
    std::snprintf(t, sizeof t, "%.*f", nDecimais, v);
    std::string s = t;
    std::replace(s.begin(), s.end(), '.', ',');
    return s;
}

std::string Duracao(double segundos) {
    const long long s = static_cast<long long>(segundos + 0.5);
    char t[32];
    if (s >= 3600)
        std::snprintf(t, sizeof t, "%lld:%02lld:%02lld", s / 3600, s / 60 % 60, s % 60);
    else
        std::snprintf(t, sizeof t, "%lld:%02lld", s / 60, s % 60);
    return t;
}

// ---- What the folder holds -------------------------------------------------------------------

struct CIdentidade {
    std::string mes, entrada, impressao, parte;
    std::size_t nContratos = 0, nDaParte = 0;

    json Json() const {
        return {{"mes", mes},
                {"entrada", entrada},
                {"impressao", impressao},
                {"contratos", nContratos},
                {"parte", parte},
                {"contratosDaParte", nDaParte}};
    }
    static std::optional<CIdentidade> Le(const std::string& caminho) {
        std::ifstream in(caminho, std::ios::binary);
        if (!in)
            return std::nullopt;
        const json j = json::parse(in, nullptr, false);
        CIdentidade id;
        try {
            id.mes = j.at("mes").get<std::string>();
            id.entrada = j.at("entrada").get<std::string>();
            id.impressao = j.at("impressao").get<std::string>();
            id.nContratos = j.at("contratos").get<std::size_t>();
            id.parte = j.at("parte").get<std::string>();
            id.nDaParte = j.at("contratosDaParte").get<std::size_t>();
        } catch (const json::exception&) {
            throw CErroEntrada(caminho + ": não é o arquivo de um lote");
        }
        return id;
    }
};

// The input as a person calls it: "cenário 1f0c…", with its content's fingerprint.
std::string ParaPessoas(const CIdentidade& id) {
    const std::string tipo = id.entrada == "cenario" ? "cenário"
                             : id.entrada == "pasta" ? "pasta de cenários"
                                                     : "lista de contratos";
    return tipo + " " + id.impressao;
}

// ---- Finished contracts, from the workers to the writer ---------------------------------------

struct CFeito {
    std::string linha; // the journal's line, with its end
    CLinhaResumo resumo;
};

class CFila {
public:
    // False once the run is stopping: the contract is dropped (the next run bills it).
    bool Poe(CFeito&& f) {
        std::unique_lock lock(m_mutex);
        m_cvCabe.wait(lock, [&] { return m_itens.size() < kFilaMaxima || m_bParar; });
        if (m_bParar)
            return false;
        m_itens.push_back(std::move(f));
        // The writer wakes for a batch, not for every contract (or when its wait runs out).
        if (m_itens.size() == kLoteDeSincronia)
            m_cvTem.notify_one();
        return true;
    }
    // Whatever is there once a batch is, or once the wait runs out; true when nothing more will
    // come.
    bool Tira(std::vector<CFeito>& v, Relogio::duration espera) {
        std::unique_lock lock(m_mutex);
        m_cvTem.wait_for(lock, espera,
                         [&] { return m_itens.size() >= kLoteDeSincronia || m_bFim || m_bParar; });
        while (!m_itens.empty()) {
            v.push_back(std::move(m_itens.front()));
            m_itens.pop_front();
        }
        m_cvCabe.notify_all();
        return (m_bFim && m_itens.empty()) || m_bParar;
    }
    void Fim() {
        std::lock_guard lock(m_mutex);
        m_bFim = true;
        m_cvTem.notify_all();
    }
    void Para() {
        std::lock_guard lock(m_mutex);
        m_bParar = true;
        m_bParando = true;
        m_cvTem.notify_all();
        m_cvCabe.notify_all();
    }
    // Asked by every worker before each contract: without taking the queue's lock.
    bool Parando() const { return m_bParando.load(std::memory_order_acquire); }

private:
    std::mutex m_mutex;
    std::condition_variable m_cvTem, m_cvCabe;
    std::deque<CFeito> m_itens;
    bool m_bFim = false, m_bParar = false;
    std::atomic<bool> m_bParando{false};
};

// ---- The lines already in a journal -----------------------------------------------------------

// A journal line read back: its entry's row, or why it is none.
bool LeLinha(std::string_view linha, CLinhaResumo& l) {
    const json e = json::parse(linha.begin(), linha.end(), nullptr, false);
    std::string erro;
    return !e.is_discarded() && LinhaDoResumo(e, l, erro);
}

// The contracts of a share already in its journal, each once and each of the share.
class CJaFeitos {
public:
    explicit CJaFeitos(const std::vector<CContratoLote>& contratos)
        : m_contratos(contratos), m_bFeito(contratos.size(), false) {}

    // A whole entry: true. One a crash cut short: false. One of another input: refused.
    bool Le(std::string_view linha, std::size_t numero, const std::string& diario,
            CResumo& resumo) {
        CLinhaResumo l;
        if (!LeLinha(linha, l))
            return false;
        const auto it = std::lower_bound(
            m_contratos.begin(), m_contratos.end(), l.codigo,
            [](const CContratoLote& c, const std::string& codigo) { return c.codigo < codigo; });
        if (it == m_contratos.end() || it->codigo != l.codigo)
            throw CErroEntrada(diario + ":" + std::to_string(numero) + ": o contrato \"" +
                               l.codigo + "\" não é desta entrada nem desta parte");
        const auto i = static_cast<std::size_t>(it - m_contratos.begin());
        if (m_bFeito[i])
            throw CErroEntrada(diario + ":" + std::to_string(numero) + ": o contrato \"" +
                               l.codigo + "\" aparece duas vezes");
        m_bFeito[i] = true;
        resumo.Acrescenta(l);
        return true;
    }
    bool Feito(std::size_t i) const { return m_bFeito[i]; }

private:
    const std::vector<CContratoLote>& m_contratos;
    std::vector<bool> m_bFeito;
};

// ---- Progress and the closing words -------------------------------------------------------------

class CProgresso {
public:
    CProgresso(std::string mes, std::size_t nTotal, std::size_t nJaFeitos)
        : m_mes(std::move(mes)), m_nTotal(nTotal), m_nJaFeitos(nJaFeitos),
          m_bTerminal(EhTerminal(EFluxo::Erro)), m_inicio(Relogio::now()) {}

    // One line, rewritten in place, on a terminal only.
    void Mostra(std::size_t nFeitos, std::size_t nProblemas) {
        if (!m_bTerminal)
            return;
        const double s = Segundos(Relogio::now() - m_inicio);
        const std::size_t nDestaVez = nFeitos - m_nJaFeitos;
        const double taxa = s > 0 ? static_cast<double>(nDestaVez) / s : 0;
        std::string linha =
            m_mes + ": " + Milhares(nFeitos) + " de " + Milhares(m_nTotal) + " contratos (" +
            Decimal(m_nTotal ? 100.0 * static_cast<double>(nFeitos) / static_cast<double>(m_nTotal)
                             : 100.0,
                    1) +
            "%)";
        if (nDestaVez > 0)
            linha += ", " + Milhares(static_cast<std::size_t>(taxa)) + " por segundo, faltam " +
                     Duracao(static_cast<double>(m_nTotal - nFeitos) / taxa);
        linha += nProblemas == 1 ? ", 1 falha" : ", " + Milhares(nProblemas) + " falhas";
        Escreve(linha);
    }
    void Apaga() {
        if (m_bTerminal && m_nLargura)
            Escreve("");
    }

private:
    void Escreve(const std::string& linha) {
        std::size_t largura = 0;
        for (const char c : linha)
            largura += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
        std::string texto = "\r" + linha;
        if (largura < m_nLargura)
            texto += std::string(m_nLargura - largura, ' ') + "\r" + linha;
        m_nLargura = largura;
        EscreveTexto(EFluxo::Erro, texto + (linha.empty() ? "\r" : ""));
    }
    std::string m_mes;
    std::size_t m_nTotal, m_nJaFeitos, m_nLargura = 0;
    bool m_bTerminal;
    Relogio::time_point m_inicio;
};

// resumo.csv, divergencias.csv, the closing summary and the exit code.
int Conclui(const std::string& pasta, const std::string& titulo, CResumo& resumo,
            const std::string& conferir, const std::map<std::string, LONGLONG>& faturado,
            std::string sobre) {
    GravaArquivoInteiro(Caminho(pasta, kArquivoResumo), resumo.Csv());
    std::size_t nDivergencias = 0;
    const std::string divergencias = Caminho(pasta, kArquivoDivergencias);
    std::string csvDivergencias;
    if (!conferir.empty()) {
        csvDivergencias = resumo.Divergencias(faturado, nDivergencias);
        GravaArquivoInteiro(divergencias, csvDivergencias);
    } else {
        // A conference of an earlier run would speak for this one.
        std::error_code erro;
        fs::remove(divergencias, erro);
    }
    const std::size_t nFalhas = resumo.Falhas(), nEstouros = resumo.Estouros();
    std::string texto = titulo + sobre + "\n  faturados " +
                        Milhares(resumo.Tamanho() - nFalhas - nEstouros) + "; falharam " +
                        Milhares(nFalhas) + "; com um valor que não cabe no tipo monetário " +
                        Milhares(nEstouros) + "\n";
    if (!conferir.empty())
        texto += "  conferência com " + conferir + ": " +
                 (nDivergencias == 0 ? std::string("nenhuma divergência")
                                     : Milhares(nDivergencias) +
                                           (nDivergencias == 1 ? " divergência" : " divergências") +
                                           " em " + divergencias) +
                 "\n";
    for (const auto& [codigo, status] : resumo.Problemas())
        texto += "  contrato " + codigo + ": " + status + "\n";
    // Each divergence by its code too (the file has the amounts).
    if (nDivergencias) {
        std::istringstream csv(csvDivergencias);
        std::string linha;
        std::getline(csv, linha); // the header
        while (std::getline(csv, linha))
            texto += "  contrato " + linha.substr(0, linha.find(';')) + ": diverge do faturado (" +
                     linha.substr(linha.rfind(';') + 1) + ")\n";
    }
    EscreveTexto(EFluxo::Erro, "tqcalc: " + texto);
    return nEstouros ? kEstouro : (nFalhas || nDivergencias) ? kFalhou : kFeito;
}

#ifdef _WIN32
// A client's proxies of one server process keep their remote reference counts through one shared
// proxy (the process's IRemUnknown), which wine lets go whenever no proxy holds it and takes up
// again at the next proxy's end; a worker taking it up while another lets it go uses it after it
// was freed (one run in about a hundred crashed so with two workers, never with one). Asked for an
// interface they do not carry (the server answers, E_NOINTERFACE or not), the servers held for the
// whole run take it up and keep it until the end.
void SeguraOControleRemoto(CServidores& s) {
    for (IUnknown* p : {static_cast<IUnknown*>(s.contratos.GetInterface()),
                        static_cast<IUnknown*>(s.faixa.GetInterface()),
                        static_cast<IUnknown*>(s.apontamentos.GetInterface())}) {
        IUnknown* q = nullptr;
        if (p && SUCCEEDED(p->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&q))))
            q->Release();
    }
}
#endif

// ---- The run ------------------------------------------------------------------------------------

class CLote {
public:
    CLote(const COpcoesLote& o, CMedidasLote& m) : m_o(o), m_m(m) {}

    int Executa() {
        const auto inicio = Relogio::now();
        CTQMa ma;
        if (m_o.mes.empty())
            return Erro("falta --mes MM/AAAA, o mês a faturar");
        if (!CTQMa::Le(m_o.mes.c_str(), ma))
            return Erro("--mes: \"" + m_o.mes + "\" não é um mês MM/AAAA");
        CParte parte;
        if (!LeParte(m_o.parte, parte))
            return Erro("--parte: \"" + m_o.parte + "\" não é uma parte I/N (1 ≤ I ≤ N)");
        if (m_o.entrada.empty() == m_o.lista.empty())
            return Erro(
                "dê um cenário (ou uma pasta de cenários) ou --contratos LISTA, um dos dois");
        if (m_o.saida.empty())
            return Erro("falta --saida PASTA, onde o lote grava as notas e o resumo");
        const unsigned nThreads =
            m_o.nThreads ? m_o.nThreads : std::max(1u, std::thread::hardware_concurrency());

        CEntradaLote entrada;
        std::map<std::string, LONGLONG> faturado;
        // A month's scenario takes a while to read: whoever watches is told what is going on.
        const bool bTerminal = EhTerminal(EFluxo::Erro);
        const std::string lendo =
            m_o.mes + ": lendo " + (m_o.lista.empty() ? m_o.entrada : m_o.lista) + "...";
        if (bTerminal)
            EscreveTexto(EFluxo::Erro, lendo);
        try {
            entrada =
                m_o.lista.empty() ? LeEntradaDeCenarios(m_o.entrada) : LeEntradaDeLista(m_o.lista);
            if (!m_o.conferir.empty())
                faturado = LeFaturado(m_o.conferir);
        } catch (const CErroEntrada& e) {
            if (bTerminal)
                EscreveTexto(EFluxo::Erro, "\n");
            return Erro(e.what());
        }
        if (bTerminal)
            EscreveTexto(EFluxo::Erro, "\r" + std::string(lendo.size(), ' ') + "\r");
        m_contratos = ContratosDaParte(entrada.contratos, parte);
        if (parte.n > 1 && !faturado.empty()) {
            // A share confers its own contracts; one invoiced that the month does not have at all
            // is said by the first share only.
            std::set<std::string> daParte, doMes;
            for (const CContratoLote& c : m_contratos)
                daParte.insert(c.codigo);
            for (const CContratoLote& c : entrada.contratos)
                doMes.insert(c.codigo);
            std::erase_if(faturado, [&](const auto& f) {
                return !daParte.count(f.first) && (doMes.count(f.first) || parte.i != 1);
            });
        }
        CIdentidade id{m_o.mes,       NomeDoTipo(entrada.tipo), entrada.impressao,
                       parte.Texto(), entrada.contratos.size(), m_contratos.size()};

        // The folder: this run's, or a run of this very input to go on with.
        CJaFeitos jaFeitos(m_contratos);
        CDiario diario;
        CDiario::CRecuperacao recuperacao;
        try {
            std::error_code erro;
            // The run's own files in the folder it reads scenarios from would be read as
            // scenarios the next time.
            if (entrada.tipo == CEntradaLote::Pasta) {
                const fs::path de = fs::weakly_canonical(m_o.entrada, erro),
                               para = fs::weakly_canonical(m_o.saida, erro);
                if (!erro &&
                    std::mismatch(de.begin(), de.end(), para.begin(), para.end()).first == de.end())
                    return Erro("--saida: " + m_o.saida +
                                " fica dentro da pasta de cenários; use outra pasta");
            }
            fs::create_directories(m_o.saida, erro);
            if (!fs::is_directory(m_o.saida))
                return Erro(
                    m_o.saida + ": não foi possível criar a pasta" +
                    (erro ? ": " + Motivo(erro.default_error_condition().value()) : std::string()));
            if (!m_trava.Tranca(Caminho(m_o.saida, kArquivoTrava)))
                return Erro(m_o.saida + ": outro lote está usando esta pasta agora; espere que "
                                        "ele termine ou use outra pasta");
            const std::string arquivoLote = Caminho(m_o.saida, kArquivoLote),
                              notas = Caminho(m_o.saida, kArquivoNotas);
            if (const std::optional<CIdentidade> anterior = CIdentidade::Le(arquivoLote)) {
                if (anterior->Json() != id.Json())
                    return Erro(m_o.saida + ": a pasta tem outro lote (" + Descreve(*anterior) +
                                "; este: " + Descreve(id) + "); não se misturam: use outra pasta");
            } else if (fs::exists(notas)) {
                return Erro(notas + ": a pasta tem notas sem " + kArquivoLote +
                            ": não são de um lote que se possa continuar; use outra pasta");
            } else {
                GravaArquivoInteiro(arquivoLote, id.Json().dump(2) + "\n");
            }
            recuperacao = diario.Abre(notas, [&](std::string_view linha, std::size_t numero) {
                return jaFeitos.Le(linha, numero, notas, m_resumo);
            });
        } catch (const CErroEntrada& e) {
            return Erro(e.what());
        } catch (const CErroDeDisco& e) {
            Diz(e.what());
            return kFalhou;
        }
        for (std::size_t i = 0; i < m_contratos.size(); ++i)
            if (!jaFeitos.Feito(i))
                m_pendentes.push_back(i);
        m_m.nThreads = nThreads;
        m_m.nDaParte = m_contratos.size();
        m_m.nJaFeitos = recuperacao.nLinhas;
        m_m.segundosEntrada = Segundos(Relogio::now() - inicio);

        std::string sobre;
        if (recuperacao.nLinhas)
            sobre += "\n  " + Milhares(recuperacao.nLinhas) +
                     " já estavam em notas.jsonl, de uma execução anterior";
        if (recuperacao.nDescartadas)
            sobre += "\n  " +
                     (recuperacao.nDescartadas == 1 ? std::string("1 linha incompleta descartada")
                                                    : Milhares(recuperacao.nDescartadas) +
                                                          " linhas incompletas descartadas") +
                     " do fim de notas.jsonl";

        int codigo = Fatura(entrada, ma, nThreads, diario);
        if (codigo != kFeito)
            return codigo;
        const auto fim = Relogio::now();
        const double segundos = Segundos(fim - inicio);
        const std::size_t nCalculados = m_m.nCalculados;
        // The rate of the billing itself; reading a month's scenario is said apart.
        const double faturando = segundos - m_m.segundosEntrada;
        std::string titulo = "lote " + m_o.mes + ": " + Milhares(m_contratos.size()) +
                             (m_contratos.size() == 1 ? " contrato" : " contratos");
        if (parte.n > 1)
            titulo +=
                " (parte " + parte.Texto() + " de " + Milhares(entrada.contratos.size()) + ")";
        titulo += ", " + Milhares(nCalculados) +
                  (nCalculados == 1 ? " calculado em " : " calculados em ") +
                  Decimal(faturando, 1) + " s";
        if (nCalculados && faturando > 0)
            titulo +=
                " (" +
                Milhares(static_cast<std::size_t>(static_cast<double>(nCalculados) / faturando)) +
                " por segundo, " + std::to_string(nThreads) +
                (nThreads == 1 ? " thread)" : " threads)");
        titulo += "; a entrada lida em " + Decimal(m_m.segundosEntrada, 1) + " s";
        try {
            codigo = Conclui(m_o.saida, titulo, m_resumo, m_o.conferir, faturado, sobre);
        } catch (const CErroDeDisco& e) {
            Diz(e.what());
            return kFalhou;
        }
        m_m.segundosFim = Segundos(Relogio::now() - fim);
        m_m.segundosTotal = Segundos(Relogio::now() - inicio);
        return codigo;
    }

private:
    static std::string Descreve(const CIdentidade& id) {
        return "mês " + id.mes + ", " + ParaPessoas(id) + ", parte " + id.parte;
    }
    int Erro(const std::string& texto) {
        Diz(texto);
        return kErroNaEntrada;
    }

    // The workers and the writer, over the contracts still to bill; kFeito or why not.
    int Fatura(const CEntradaLote& entrada, CTQMa ma, unsigned nThreads, CDiario& diario) {
        const CEscopoEscuta escuta;
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        TQCoInitializeSecurity();
        int codigo = kFeito;
        {
            amostra::CServidorAmostra amostra{amostra::CDadosAmostra(entrada.dados)};
            CServidores servidores;
            if (entrada.tipo != CEntradaLote::Lista) {
                const HRESULT hr = amostra.Registra();
                if (FAILED(hr)) {
                    Diz("o servidor de amostra não se registrou: " + NomeDoStatus(hr));
                    codigo = kFalhou;
                }
            } else {
                // Held open for the whole run: a server in its own process stays up between
                // contracts.
                std::string relatorio;
                const HRESULT hr = servidores.Abre(relatorio);
                EscreveTexto(EFluxo::Erro, relatorio);
                if (FAILED(hr)) {
                    Diz("os servidores de negócio não abriram: " + NomeDoStatus(hr));
                    codigo = kFalhou;
                }
#ifdef _WIN32
                if (SUCCEEDED(hr))
                    SeguraOControleRemoto(servidores);
#endif
            }
            if (codigo == kFeito)
                codigo = Roda(ma, nThreads, diario);
        }
        CoUninitialize();
        return codigo;
    }

    int Roda(CTQMa ma, unsigned nThreads, CDiario& diario) {
        CFila fila;
        std::atomic<std::size_t> proximo{0}, nGravados{m_contratos.size() - m_pendentes.size()},
            nProblemas{m_resumo.Falhas() + m_resumo.Estouros()};
        std::atomic<long long> nanosCalculos{0}, nanosFaces{0};
        std::mutex mutexErro;
        std::string erro;
        const auto falha = [&](const std::string& texto) {
            std::lock_guard lock(mutexErro);
            if (erro.empty())
                erro = texto;
            fila.Para();
        };

        std::vector<std::thread> trabalhadores;
        std::atomic<unsigned> nAtivos{nThreads};
        std::mutex mutexFim;
        std::condition_variable cvFim;
        for (unsigned t = 0; t < nThreads; ++t)
            trabalhadores.emplace_back([&] {
                CoInitializeEx(nullptr, COINIT_MULTITHREADED);
                try {
                    for (std::size_t k; (k = proximo++) < m_pendentes.size() && !fila.Parando();) {
                        const CContratoLote& c = m_contratos[m_pendentes[k]];
                        const auto t0 = Relogio::now();
                        CFeito feito;
                        {
                            CResultado r;
                            Calcula(c.codigo, c.ponteiro, ma, r);
                            const auto t1 = Relogio::now();
                            feito.linha = LinhaDoDiario(c.codigo, r);
                            feito.resumo = LinhaDoResumo(c.codigo, r);
                            const auto t2 = Relogio::now();
                            nanosCalculos += std::chrono::nanoseconds(t1 - t0).count();
                            nanosFaces += std::chrono::nanoseconds(t2 - t1).count();
                        }
                        if (!fila.Poe(std::move(feito)))
                            break;
                    }
                } catch (const std::exception& e) {
                    falha(std::string("um trabalhador parou: ") + e.what());
                }
                CoUninitialize();
                if (--nAtivos == 0) {
                    fila.Fim();
                    std::lock_guard lock(mutexFim);
                    cvFim.notify_all();
                }
            });

        std::thread escritor([&] {
            try {
                auto ultima = Relogio::now();
                std::size_t nSemSincronia = 0;
                std::vector<CFeito> lote;
                std::string texto;
                for (bool bFim = false; !bFim;) {
                    lote.clear();
                    bFim = fila.Tira(lote, kIntervaloDeSincronia);
                    if (fila.Parando())
                        break;
                    texto.clear();
                    for (const CFeito& f : lote)
                        texto += f.linha;
                    if (!texto.empty())
                        diario.Acrescenta(texto);
                    for (const CFeito& f : lote) {
                        m_resumo.Acrescenta(f.resumo);
                        nProblemas += f.resumo.situacao != CLinhaResumo::Faturado;
                    }
                    nSemSincronia += lote.size();
                    nGravados += lote.size();
                    if (nSemSincronia && (bFim || nSemSincronia >= kLoteDeSincronia ||
                                          Relogio::now() - ultima >= kIntervaloDeSincronia)) {
                        diario.Sincroniza();
                        nSemSincronia = 0;
                        ultima = Relogio::now();
                        if (m_o.aoGravar)
                            m_o.aoGravar(nGravados, m_contratos.size());
                    }
                }
                if (!fila.Parando())
                    diario.Fecha();
            } catch (const CErroDeDisco& e) {
                falha(e.what());
            }
        });

        CProgresso progresso(m_o.mes, m_contratos.size(), m_contratos.size() - m_pendentes.size());
        for (std::unique_lock lock(mutexFim); nAtivos > 0;) {
            lock.unlock();
            progresso.Mostra(nGravados, nProblemas);
            lock.lock();
            cvFim.wait_for(lock, std::chrono::milliseconds(100), [&] { return nAtivos == 0; });
        }
        for (std::thread& t : trabalhadores)
            t.join();
        escritor.join();
        progresso.Mostra(nGravados, nProblemas);
        progresso.Apaga();
        m_m.nCalculados = nGravados - (m_contratos.size() - m_pendentes.size());
        m_m.segundosCalculos = static_cast<double>(nanosCalculos) / 1e9;
        m_m.segundosFaces = static_cast<double>(nanosFaces) / 1e9;
        if (!erro.empty()) {
            Diz(erro);
            Diz("o lote parou; rode de novo com os mesmos argumentos para continuar de onde "
                "parou");
            return kFalhou;
        }
        return kFeito;
    }

    const COpcoesLote& m_o;
    CMedidasLote& m_m;
    CTrava m_trava;                         // held for the whole run
    std::vector<CContratoLote> m_contratos; // of the share, sorted by code
    std::vector<std::size_t> m_pendentes;   // indices into m_contratos, still to bill
    CResumo m_resumo;                       // every contract of the share done (the writer's)
};

// ---- Joining shares -----------------------------------------------------------------------------

int JuntaPartes(const std::vector<std::string>& pastas, const std::string& saida,
                const std::string& conferir) {
    const auto erro = [](const std::string& texto) {
        Diz(texto);
        return kErroNaEntrada;
    };
    if (pastas.empty())
        return erro("dê as pastas das partes: tqcalc junta PASTA1 PASTA2 ... --saida PASTA");
    if (saida.empty())
        return erro("falta --saida PASTA, onde as partes se juntam");
    std::map<std::string, LONGLONG> faturado;
    std::vector<std::pair<CParte, std::string>> partes;
    std::optional<CIdentidade> primeira;
    try {
        if (!conferir.empty())
            faturado = LeFaturado(conferir);
        for (const std::string& pasta : pastas) {
            const std::optional<CIdentidade> id = CIdentidade::Le(Caminho(pasta, kArquivoLote));
            if (!id)
                return erro(pasta + ": não é a pasta de um lote (não tem " + kArquivoLote + ")");
            CParte parte;
            if (!LeParte(id->parte, parte))
                return erro(Caminho(pasta, kArquivoLote) + ": parte ilegível");
            if (!primeira) {
                primeira = id;
            } else if (id->mes != primeira->mes || id->entrada != primeira->entrada ||
                       id->impressao != primeira->impressao ||
                       id->nContratos != primeira->nContratos) {
                return erro(pasta + ": é o lote de outro mês ou de outra entrada que " +
                            pastas.front() + " (" + id->mes + ", " + ParaPessoas(*id) + "; " +
                            primeira->mes + ", " + ParaPessoas(*primeira) + ")");
            }
            for (const auto& [outra, onde] : partes)
                if (outra.n != parte.n)
                    return erro(pasta + ": é a parte " + parte.Texto() + ", e " + onde +
                                " a parte " + outra.Texto() +
                                ": as partes de uma junção dividem o mês do mesmo modo");
                else if (outra.i == parte.i)
                    return erro(pasta + " e " + onde + " são ambas a parte " + parte.Texto());
            partes.emplace_back(parte, pasta);
        }
    } catch (const CErroEntrada& e) {
        return erro(e.what());
    }
    const unsigned n = partes.front().first.n;
    std::sort(partes.begin(), partes.end(),
              [](const auto& a, const auto& b) { return a.first.i < b.first.i; });
    for (unsigned i = 1; i <= n; ++i)
        if (i > partes.size() || partes[i - 1].first.i != i)
            return erro("falta a parte " + std::to_string(i) + "/" + std::to_string(n));
    if (fs::exists(Caminho(saida, kArquivoLote)))
        return erro(saida + ": a pasta já tem um lote; junte numa pasta nova");

    CResumo resumo;
    try {
        std::error_code e;
        fs::create_directories(saida, e);
        if (!fs::is_directory(saida))
            return erro(saida + ": não foi possível criar a pasta");
        // The journals one after another, each share's lines whole and of its own contracts.
        const std::string notas = Caminho(saida, kArquivoNotas), temporario = notas + ".tmp";
        std::error_code ignorado;
        fs::remove(temporario, ignorado);
        // A join refused halfway leaves no piece of a journal behind.
        struct CLimpa {
            const std::string& caminho;
            bool bFeito = false;
            ~CLimpa() {
                std::error_code e;
                if (!bFeito)
                    fs::remove(caminho, e);
            }
        } limpa{temporario};
        {
            CDiario junto;
            junto.Abre(temporario, [](std::string_view, std::size_t) { return true; });
            for (const auto& [parte, pasta] : partes) {
                const std::string diario = Caminho(pasta, kArquivoNotas);
                std::ifstream in(diario, std::ios::binary);
                if (!in)
                    return erro(diario + ": não foi possível ler");
                const std::size_t esperados = TamanhoDaParte(primeira->nContratos, parte);
                std::size_t nLinhas = 0;
                std::string linha, texto;
                while (std::getline(in, linha)) {
                    CLinhaResumo l;
                    if (in.eof() || !LeLinha(linha, l))
                        return erro(diario + ":" + std::to_string(nLinhas + 1) +
                                    ": uma linha incompleta: a parte " + parte.Texto() +
                                    " não terminou; rode-a de novo com os mesmos argumentos");
                    ++nLinhas;
                    resumo.Acrescenta(l);
                    texto += linha;
                    texto += '\n';
                    if (texto.size() > (1u << 20)) {
                        junto.Acrescenta(texto);
                        texto.clear();
                    }
                }
                junto.Acrescenta(texto);
                if (nLinhas != esperados)
                    return erro(pasta + ": a parte " + parte.Texto() + " tem " + Milhares(nLinhas) +
                                " de " + Milhares(esperados) +
                                " contratos: não terminou; rode-a de novo com os mesmos "
                                "argumentos");
            }
            junto.Sincroniza();
            junto.Fecha();
        }
        if (const std::string repetido = resumo.PrimeiroRepetido(); !repetido.empty())
            return erro("o contrato \"" + repetido + "\" está em mais de uma parte");
        Substitui(temporario, notas);
        limpa.bFeito = true;
    } catch (const CErroDeDisco& e) {
        Diz(e.what());
        return kFalhou;
    }

    CIdentidade id = *primeira;
    id.parte = "1/1";
    id.nDaParte = id.nContratos;
    try {
        const int codigo =
            Conclui(saida,
                    "junta " + id.mes + ": " + Milhares(resumo.Tamanho()) + " contratos de " +
                        std::to_string(n) + (n == 1 ? " parte" : " partes"),
                    resumo, conferir, faturado, "");
        // Last: the folder is a whole run of the month only once everything else is there.
        GravaArquivoInteiro(Caminho(saida, kArquivoLote), id.Json().dump(2) + "\n");
        return codigo;
    } catch (const CErroDeDisco& e) {
        Diz(e.what());
        return kFalhou;
    }
}

} // namespace

int ExecutaLote(const COpcoesLote& opcoes, CMedidasLote* pMedidas) {
    CMedidasLote medidas;
    CLote lote(opcoes, pMedidas ? *pMedidas : medidas);
    return lote.Executa();
}

int Junta(const std::vector<std::string>& pastas, const std::string& saida,
          const std::string& conferir) {
    return JuntaPartes(pastas, saida, conferir);
}

} // namespace tq::calc
