#include "calculos/Varredura.h"

#include "contracts/CalculoFaixaMedicao.h"
#include "followup/CalculoApontamentos.h"
#include "tools/tqcalc/Simulacao.h"

#include <TQAmostra.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>

using nlohmann::json;

namespace tq::teste {
namespace {

constexpr ULONG kContrato = 1234;
const CTQMa kMes(3, 2024);

// What one pass of a module's billing gives: each step's status and outputs.
struct CPasso {
    HRESULT hrInicializa = S_OK, hrLinhas, hrValor, hrCodigos, hrFaixas;
    json linhas, valor, codigos, itens, servicos;
    std::size_t nBandas = 0; // the band arrays the ranges calculation holds

    std::vector<HRESULT> Status() const {
        return {hrInicializa, hrLinhas, hrValor, hrCodigos, hrFaixas};
    }
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
                p.hrInicializa = static_cast<HRESULT>(hr);
            }
        }
        CCalculoApontamentos::CArrayCalculados linhas;
        p.hrLinhas = m_tempo.FazCalculoApontamentos(kContrato, kMes, linhas);
        p.linhas = json::parse(calc::LinhasApontamentos(linhas).dump());
        CCalculoApontamentos::LiberaApontamentosCalculados(linhas);
        tagCY valor, desconto;
        p.hrValor = m_tempo.GetValorApontamentos(kContrato, kMes, valor, desconto);
        p.valor = {calc::Quantia(valor), calc::Quantia(desconto)};
        CString codigos("?");
        p.hrCodigos = m_tempo.GetCodigosApontamentos(kContrato, kMes, codigos);
        p.codigos = codigos.str();
        p.hrFaixas = m_faixas.CalculaItens(kMes);
        p.itens = json::parse(calc::ItensFaixa(m_faixas.GetItens()).dump());
        CArrayItensFaixa servicos;
        m_faixas.GetServicosFaturamento(servicos);
        p.servicos = json::parse(calc::ItensFaixa(servicos).dump());
        for (const tagREG_FAIXA_PS& f : m_faixas.GetFaixas())
            p.nBandas += f.bandas != nullptr;
        return p;
    }

private:
    CCalculoApontamentos m_tempo;
    CCalculoFaixaMedicao m_faixas{"varredura", 1, 1};
};

ITQAmostra* Controle(CTQComPtr<ITQAmostra>& p) {
    if (!p) {
        EXPECT_EQ(p.CoCreateInstance(__uuidof(TQGE_Apontamentos)), S_OK);
    }
    return p.GetInterface();
}

void SemFalhas(CTQComPtr<ITQAmostra>& controle) {
    ASSERT_EQ(Controle(controle)->DefineFalha("", "", 0, S_OK, FALSE), S_OK);
}

// A clean pass on fresh objects, and the entry arrays one read of the month keeps on purpose.
CPasso Limpo(CTQComPtr<ITQAmostra>& controle, EspiaContadora& espia, std::size_t& nEntradas) {
    SemFalhas(controle);
    CPasso limpo = CFatura().Passo();
    for (HRESULT hr : limpo.Status())
        EXPECT_EQ(hr, S_OK);
    EXPECT_FALSE(limpo.linhas.empty());
    EXPECT_FALSE(limpo.itens.empty());
    nEntradas = espia.LiberaOsVivos() - limpo.nBandas;
    return limpo;
}

// Only the failing step's outputs may differ from a clean pass, and only as a failure leaves
// them: no lines, no amounts, no codes; the ranges read before the failing one keep their lines.
void ConfereAposFalha(const CPasso& p, const CPasso& limpo, std::size_t nFaixasLidas) {
    const bool bTempo = p.hrInicializa == S_OK;
    const json vazio = json::array();
    EXPECT_EQ(p.linhas, bTempo && p.hrLinhas == S_OK ? limpo.linhas : vazio);
    const json zero = {"0.0000", "0.0000"};
    EXPECT_EQ(p.valor, bTempo && p.hrValor == S_OK ? limpo.valor : zero);
    EXPECT_EQ(p.codigos, bTempo && p.hrCodigos == S_OK ? limpo.codigos : json(""));
    if (p.hrFaixas == S_OK) {
        EXPECT_EQ(p.itens, limpo.itens);
        EXPECT_EQ(p.servicos, limpo.servicos);
        return;
    }
    // Each range bills one service of its own, in the contract's order.
    json antes = json::array();
    const std::vector<ULONG> servicos = {20, 21};
    for (const json& l : limpo.itens)
        for (std::size_t i = 0; i < nFaixasLidas; ++i)
            if (l["servico"] == servicos[i])
                antes.push_back(l);
    EXPECT_EQ(p.itens, antes);
}

} // namespace

void VarreFalhas(EspiaContadora& espia, const std::vector<HRESULT>& falhas) {
    CTQComPtr<ITQAmostra> controle;
    std::size_t nEntradas = 0;
    const CPasso limpo = Limpo(controle, espia, nEntradas);

    // Every call the clean pass made is a position.
    struct Posicao {
        const char* servidor;
        const char* operacao;
        LONG chamada;
    };
    std::vector<Posicao> posicoes;
    for (const char* servidor : {"ITQGE_Apontamentos", "ITQGE_Contratos", "ITQGE_Faixa"})
        for (const char* operacao :
             {"Inicializa", "AbreConsulta", "Busca", "LePosicoes", "LeApontamentos", "LeItens",
              "LeContrato", "LeCodigos", "LeFaixas", "LeFaixa"}) {
            LONG n = 0;
            ASSERT_EQ(Controle(controle)->GetChamadas(servidor, operacao, &n), S_OK);
            for (LONG i = 1; i <= n; ++i)
                posicoes.push_back({servidor, operacao, i});
        }
    EXPECT_GE(posicoes.size(), 15u) << "the clean pass calls every server";

    for (const Posicao& pos : posicoes) {
        for (const HRESULT hr : falhas) {
            SCOPED_TRACE(std::string(pos.servidor) + "." + pos.operacao + " call " +
                         std::to_string(pos.chamada) + ": " + calc::Status(hr));
            ASSERT_EQ(
                Controle(controle)->DefineFalha(pos.servidor, pos.operacao, pos.chamada, hr, FALSE),
                S_OK);
            std::size_t nMantidos = 0;
            {
                CFatura fatura;
                const CPasso p = fatura.Passo();
                const auto status = p.Status();
                EXPECT_EQ(std::count(status.begin(), status.end(), hr), 1);
                EXPECT_EQ(std::count(status.begin(), status.end(), S_OK), 4);
                const bool bLeFaixa = std::string(pos.operacao) == "LeFaixa";
                ConfereAposFalha(p, limpo, bLeFaixa ? pos.chamada - 1 : 0);
                if (p.hrFaixas == S_OK || bLeFaixa)
                    nMantidos += nEntradas;

                SemFalhas(controle);
                const CPasso depois = fatura.Passo();
                EXPECT_EQ(depois.Status(), limpo.Status()) << "the same objects succeed next";
                EXPECT_EQ(depois.linhas, limpo.linhas);
                EXPECT_EQ(depois.valor, limpo.valor);
                EXPECT_EQ(depois.codigos, limpo.codigos);
                EXPECT_EQ(depois.itens, limpo.itens);
                EXPECT_EQ(depois.servicos, limpo.servicos);
                nMantidos += nEntradas + depois.nBandas;
            }
            EXPECT_EQ(espia.LiberaOsVivos(), nMantidos)
                << "the blocks kept on purpose (entry arrays, the last bands), and no other";
            EXPECT_EQ(espia.LiberacoesInvalidas(), 0u);
        }
    }
}

long FaturasEmParalelo(EspiaContadora& espia, int nThreads, int nPassos) {
    CTQComPtr<ITQAmostra> controle;
    std::size_t nEntradas = 0;
    const CPasso limpo = Limpo(controle, espia, nEntradas);
    std::vector<std::thread> threads;
    for (int t = 0; t < nThreads; ++t)
        threads.emplace_back([&] {
            CoInitializeEx(nullptr, COINIT_MULTITHREADED);
            {
                CFatura fatura;
                for (int i = 0; i < nPassos; ++i) {
                    const CPasso p = fatura.Passo();
                    EXPECT_EQ(p.Status(), limpo.Status());
                    EXPECT_EQ(p.linhas, limpo.linhas);
                    EXPECT_EQ(p.itens, limpo.itens);
                }
            }
            CoUninitialize();
        });
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(espia.LiberaOsVivos(),
              static_cast<std::size_t>(nThreads) * (nPassos * nEntradas + limpo.nBandas));
    LONG nPings = 0;
    EXPECT_EQ(Controle(controle)->GetPings(&nPings), S_OK);
    return nPings;
}

HRESULT ServidorEncerradoNoMeio(EspiaContadora& espia) {
    CTQComPtr<ITQAmostra> controle;
    EXPECT_EQ(
        Controle(controle)->DefineFalha("ITQGE_Apontamentos", "LeApontamentos", 1, S_OK, TRUE),
        S_OK);
    controle.Release();
    HRESULT hrNoMeio;
    {
        CFatura fatura;
        const CPasso p = fatura.Passo();
        hrNoMeio = p.hrLinhas;
        EXPECT_TRUE(FAILED(hrNoMeio));
        EXPECT_TRUE(p.linhas.empty());
        const CPasso depois = fatura.Passo();
        for (HRESULT hr : {depois.hrLinhas, depois.hrValor, depois.hrCodigos, depois.hrFaixas})
            EXPECT_TRUE(FAILED(hr)) << "the server is gone: " << calc::Status(hr);
        EXPECT_TRUE(depois.linhas.empty() && depois.itens.empty());
    }
    EXPECT_EQ(espia.Vivos(), 0u);
    EXPECT_EQ(espia.LiberacoesInvalidas(), 0u);
    return hrNoMeio;
}

} // namespace tq::teste
