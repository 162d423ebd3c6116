#include "calculos/Varredura.h"

#include "contracts/CalculoFaixaMedicao.h"
#include "followup/CalculoApontamentos.h"
#include "tools/tqcalc/Simulacao.h"

#include <TQAmostra.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>
#include <tuple>

using json = nlohmann::ordered_json;

namespace tq::teste {
namespace {

constexpr ULONG kContrato = 1234;
const CTQMa kMes(3, 2024);

// What one pass of a module's billing gives: each step's status (Inicializa, lines, amounts, codes,
// ranges) and every output, in tqcalc's JSON form.
struct CPasso {
    std::vector<HRESULT> status{S_OK};
    json saida;
    std::set<const void*> bandas; // the band arrays the ranges calculation holds
};

// The two calculation objects of one module, for contract 12345 and its ranges 7 and 8.
class CFatura {
public:
    CFatura() {
        CRegContratoPs contrato;
        contrato.SetCodigo("12345");
        for (ULONG codigo : {7u, 8u}) {
            CRegFaixaContratoPs faixa;
            faixa.SetCodigoFaixa(codigo);
            contrato.GetArrFaixas().Add(faixa);
        }
        m_faixas.SetContrato(contrato);
    }

    CPasso Passo() {
        CPasso p;
        if (!m_tempo.IsInicializado()) {
            try {
                m_tempo.Inicializa();
            } catch (long hr) {
                p.status[0] = static_cast<HRESULT>(hr);
            }
        }
        calc::CResultado r;
        r.valor.int64 = r.desconto.int64 = 1; // a failure must clear them
        r.codigos = "?";
        p.status.push_back(m_tempo.FazCalculoApontamentos(kContrato, kMes, r.linhas));
        p.status.push_back(m_tempo.GetValorApontamentos(kContrato, kMes, r.valor, r.desconto));
        p.status.push_back(m_tempo.GetCodigosApontamentos(kContrato, kMes, r.codigos));
        p.status.push_back(m_faixas.CalculaItens(kMes));
        r.itens.Copy(m_faixas.GetItens());
        m_faixas.GetServicosFaturamento(r.servicos);
        p.saida = calc::ParaJson(r);
        for (const tagREG_FAIXA_PS& f : m_faixas.GetFaixas())
            if (f.bandas)
                p.bandas.insert(f.bandas);
        return p;
    }

private:
    CCalculoApontamentos m_tempo;
    CCalculoFaixaMedicao m_faixas{"varredura", 1, 1};
};

// What a finished module leaves behind: the band arrays of its ranges calculation's last pass
// (the object's end does not free them), every one of them, and no other block.
void ConfereMantidos(EspiaContadora& espia, const std::set<const void*>& bandas) {
    EXPECT_EQ(espia.OsVivos(), bandas) << "only the band arrays of the last ranges calculation";
    EXPECT_EQ(espia.LiberacoesInvalidas(), 0u) << "a block freed twice, or not ours";
    espia.LiberaOsVivos();
}

// The server's script, cleared, and a clean pass on fresh objects.
struct CLimpo {
    explicit CLimpo(EspiaContadora& espia) {
        EXPECT_EQ(controle.CoCreateInstance(__uuidof(TQGE_Apontamentos)), S_OK);
        SemFalhas();
        passo = CFatura().Passo();
        EXPECT_EQ(passo.status, std::vector<HRESULT>(5, S_OK));
        EXPECT_FALSE(passo.saida["apontamentos"]["linhas"].empty());
        EXPECT_FALSE(passo.saida["faixas"]["itens"].empty());
        EXPECT_EQ(passo.bandas.size(), 2u) << "each of the two ranges came with its bands";
        ConfereMantidos(espia, passo.bandas);
    }
    void SemFalhas() { ASSERT_EQ(controle->DefineFalha("", "", 0, S_OK, FALSE), S_OK); }

    CTQComPtr<ITQAmostra> controle;
    CPasso passo;
};

// Only the failing step's outputs may differ from a clean pass, and only as a failure leaves
// them: no lines, no amounts, no codes; the ranges read before the failing one keep their lines.
void ConfereAposFalha(const CPasso& p, const CPasso& limpo, std::size_t nFaixasLidas) {
    json esperado = limpo.saida;
    json& tempo = esperado["apontamentos"];
    const auto falhou = [&](int passo) { return p.status[0] != S_OK || p.status[passo] != S_OK; };
    if (falhou(1))
        tempo["linhas"] = json::array();
    if (falhou(2))
        tempo["valor"] = tempo["desconto"] = "0.0000";
    if (falhou(3))
        tempo["codigos"] = "";
    if (p.status[4] != S_OK) {
        // Each range bills one service of its own (20, 21), in the contract's order.
        json& faixas = esperado["faixas"];
        json antes = json::array();
        for (const json& l : faixas["itens"])
            if (l["servico"].get<std::size_t>() < 20 + nFaixasLidas)
                antes.push_back(l);
        faixas["itens"] = antes;
        faixas["servicos"] = p.saida["faixas"]["servicos"]; // not looked at after a failure
    }
    EXPECT_EQ(p.saida, esperado);
}

} // namespace

void VarreFalhas(EspiaContadora& espia, const std::vector<HRESULT>& falhas) {
    CLimpo limpo(espia);
    // Every call the clean pass made is a position.
    std::vector<std::tuple<const char*, const char*, LONG>> posicoes;
    for (const char* servidor : {"ITQGE_Apontamentos", "ITQGE_Contratos", "ITQGE_Faixa"})
        for (const char* operacao :
             {"Inicializa", "AbreConsulta", "Busca", "LePosicoes", "LeApontamentos", "LeItens",
              "LeContrato", "LeCodigos", "LeFaixas", "LeFaixa"}) {
            LONG n = 0;
            ASSERT_EQ(limpo.controle->GetChamadas(servidor, operacao, &n), S_OK);
            for (LONG i = 1; i <= n; ++i)
                posicoes.emplace_back(servidor, operacao, i);
        }
    EXPECT_GE(posicoes.size(), 15u) << "the clean pass calls every server";

    for (const auto& [servidor, operacao, chamada] : posicoes)
        for (const HRESULT hr : falhas) {
            SCOPED_TRACE(std::string(servidor) + "." + operacao + " call " +
                         std::to_string(chamada) + ": " + calc::Status(hr));
            ASSERT_EQ(limpo.controle->DefineFalha(servidor, operacao, chamada, hr, FALSE), S_OK);
            std::set<const void*> bandas;
            {
                CFatura fatura;
                const CPasso p = fatura.Passo();
                EXPECT_EQ(std::count(p.status.begin(), p.status.end(), hr), 1);
                EXPECT_EQ(std::count(p.status.begin(), p.status.end(), S_OK), 4);
                const bool bLeFaixa = std::string(operacao) == "LeFaixa";
                ConfereAposFalha(p, limpo.passo, bLeFaixa ? chamada - 1 : 0);

                limpo.SemFalhas();
                const CPasso depois = fatura.Passo();
                EXPECT_EQ(depois.status, limpo.passo.status) << "the same objects succeed next";
                EXPECT_EQ(depois.saida, limpo.passo.saida);
                bandas = depois.bandas;
            }
            ConfereMantidos(espia, bandas);
        }
}

long FaturasEmParalelo(EspiaContadora& espia, int nThreads, int nPassos) {
    const CLimpo limpo(espia);
    std::vector<std::set<const void*>> bandas(static_cast<std::size_t>(nThreads));
    std::vector<std::thread> threads;
    for (std::set<const void*>& bandasDaThread : bandas)
        threads.emplace_back([&] {
            CoInitializeEx(nullptr, COINIT_MULTITHREADED);
            {
                CFatura fatura;
                for (int i = 0; i < nPassos; ++i) {
                    const CPasso p = fatura.Passo();
                    EXPECT_EQ(p.status, limpo.passo.status);
                    EXPECT_EQ(p.saida, limpo.passo.saida);
                    bandasDaThread = p.bandas;
                }
            }
            CoUninitialize();
        });
    for (std::thread& t : threads)
        t.join();
    std::set<const void*> todas;
    for (const std::set<const void*>& b : bandas)
        todas.insert(b.begin(), b.end());
    ConfereMantidos(espia, todas);
    LONG nPings = 0;
    EXPECT_EQ(limpo.controle->GetPings(&nPings), S_OK);
    return nPings;
}

HRESULT ServidorEncerradoNoMeio(EspiaContadora& espia) {
    {
        CTQComPtr<ITQAmostra> controle;
        EXPECT_EQ(controle.CoCreateInstance(__uuidof(TQGE_Apontamentos)), S_OK);
        EXPECT_EQ(controle->DefineFalha("ITQGE_Apontamentos", "LeApontamentos", 1, S_OK, TRUE),
                  S_OK);
    }
    HRESULT hrNoMeio;
    {
        CFatura fatura;
        const CPasso p = fatura.Passo();
        hrNoMeio = p.status[1];
        EXPECT_TRUE(FAILED(hrNoMeio));
        EXPECT_TRUE(p.saida["apontamentos"]["linhas"].empty());
        const CPasso depois = fatura.Passo();
        for (std::size_t i = 1; i < depois.status.size(); ++i)
            EXPECT_TRUE(FAILED(depois.status[i]))
                << "the server is gone: " << calc::Status(depois.status[i]);
        EXPECT_TRUE(depois.saida["apontamentos"]["linhas"].empty() &&
                    depois.saida["faixas"]["itens"].empty());
    }
    EXPECT_EQ(espia.Vivos(), 0u);
    EXPECT_EQ(espia.LiberacoesInvalidas(), 0u);
    return hrNoMeio;
}

} // namespace tq::teste
