// tqcalc, the billing simulator: both calculations of one contract and one month, every line
// shown and explained, and the invoice. See --help, and the README for the scenario format.
#include <tqge.h>

#include "servers/amostra/CenarioAmostra.h"
#include "servers/amostra/ServidorAmostra.h"
#include "tools/tqcalc/Diario.h"
#include "tools/tqcalc/LinhaDeComando.h"
#include "tools/tqcalc/Simulacao.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdlib>
#include <fstream>

namespace {

constexpr int kErroNaEntrada = 2;

const char* const kDescricao =
    R"(tqcalc: o faturamento de um contrato num mês, linha por linha.

Roda os dois cálculos que um módulo roda para uma nota: o cálculo por tempo (os apontamentos do
mês cobrados pelos itens do contrato: franquia, "Excedente") e o cálculo por faixas de medição (as
quantidades medidas no mês distribuídas pelas bandas do contrato); mostra cada linha com o motivo
de estar ali e o total da nota.

  tqcalc cenário.json --mes 03/2024          contra o servidor de amostra, carregado do arquivo
  tqcalc --contrato 12345 --mes 03/2024      contra os servidores de negócio desta máquina
  tqcalc --gravar CASO.json --contrato 12345 --mes 03/2024
                                             grava o que os servidores têm do contrato no mês
                                             como um cenário, para reproduzir em qualquer lugar
  tqcalc MES.json --contrato 12345 --mes 03/2024
                                             um contrato de um cenário com vários
  tqcalc lote ... / tqcalc junta ...         o mês inteiro (tqcalc lote --help)
  tqcalc CENARIO.json --mes 03/2024 --extrato EXTRATO.html
                                             também escreve o extrato do cliente: uma página
                                             HTML para mandar por e-mail ou imprimir

Códigos de saída: 0 feito; 1 um cálculo falhou (o status aparece com o seu nome) ou os servidores
não abriram; 2 um erro na linha de comando ou no cenário (a mensagem diz onde; nada é calculado);
3 um valor não cabe no tipo monetário (as linhas saem como calculadas, com um aviso que diz o
cálculo, o serviço e a conta).
)";

[[noreturn]] void Sai(int codigo, const std::string& texto) {
    tq::EscreveTexto(tq::EFluxo::Erro, "tqcalc: " + texto + "\n");
    std::exit(codigo);
}

// A scripted fault or hostile answer whose call never came: the replay would look clean.
std::string FalhaQueNaoDisparou(const tq::amostra::CDadosAmostra& dados,
                                const tq::amostra::CEstadoAmostra& estado) {
    for (std::size_t i = 0; i < dados.falhas.size(); ++i) {
        const tq::amostra::Falha& f = dados.falhas[i];
        const int n = estado.Chamadas(f.servidor, f.operacao);
        if (n < f.chamada)
            return "falhas[" + std::to_string(i) + "]: a chamada " + std::to_string(f.chamada) +
                   " de " + f.servidor + "::" + f.operacao + " não aconteceu (a operação foi " +
                   "chamada " + std::to_string(n) + (n == 1 ? " vez" : " vezes") +
                   "): a falha não disparou";
    }
    for (std::size_t i = 0; i < dados.hostilidades.size(); ++i) {
        const tq::amostra::Hostilidade& h = dados.hostilidades[i];
        if (estado.Chamadas(h.servidor, h.operacao) == 0)
            return "hostis[" + std::to_string(i) + "]: " + h.servidor + "::" + h.operacao +
                   " não foi chamada: a resposta hostil não aconteceu";
    }
    return {};
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app(kDescricao, "tqcalc");
    tq::calc::EmPortugues(app);
    std::string cenario, mes, so, contrato, gravar, extrato;
    bool bJson = false;
    app.add_option("cenário", cenario, "o cenário (JSON) que o servidor de amostra serve")
        ->type_name("");
    app.add_option("--mes", mes, "o mês a faturar (obrigatório)")->type_name("MM/AAAA");
    app.add_flag("--json", bJson, "os resultados em JSON, valores como texto decimal");
    app.add_option("--so", so, "só um dos cálculos")->type_name("apontamentos|faixas");
    app.add_option("--contrato", contrato,
                   "o código do contrato, calculado nos servidores de negócio desta máquina")
        ->type_name("CÓDIGO");
    app.add_option("--gravar", gravar,
                   "grava como cenário o mês do contrato lido dos servidores desta máquina")
        ->type_name("CASO.json");
    app.add_option("--extrato", extrato,
                   "escreve também o extrato do cliente, uma página HTML (o texto ou o JSON "
                   "continuam na saída)")
        ->type_name("ARQUIVO.html");
    tq::calc::CComandosLote lote;
    tq::calc::AcrescentaComandosLote(app, lote);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        tq::EscreveTexto(tq::EFluxo::Saida, app.help());
        return 0;
    } catch (const CLI::ParseError& e) {
        Sai(kErroNaEntrada,
            tq::calc::MensagemDaLinhaDeComando(e) + " (tqcalc --help mostra as opções)");
    }
    if (*lote.lote) {
        if (!lote.threads.empty() && !tq::calc::LeThreads(lote.threads, lote.opcoes.nThreads))
            Sai(kErroNaEntrada, "--threads: \"" + lote.threads + "\" não é um número de 1 a 1024");
        return tq::calc::ExecutaLote(lote.opcoes);
    }
    if (*lote.junta)
        return tq::calc::Junta(lote.pastas, lote.saidaJunta, lote.conferirJunta);
    if (const std::string engolida = tq::calc::OpcaoQueEngoliuOutra(app); !engolida.empty())
        Sai(kErroNaEntrada, engolida);
    if (mes.empty())
        Sai(kErroNaEntrada, "falta --mes MM/AAAA, o mês a faturar");
    CTQMa ma;
    if (!CTQMa::Le(mes.c_str(), ma))
        Sai(kErroNaEntrada, "--mes: \"" + mes + "\" não é um mês MM/AAAA");
    if (!so.empty() && so != "apontamentos" && so != "faixas")
        Sai(kErroNaEntrada, "--so: \"" + so + "\" não é apontamentos nem faixas");
    if (cenario.empty() && contrato.empty())
        Sai(kErroNaEntrada, "dê um arquivo de cenário ou --contrato");
    if (!gravar.empty() && (contrato.empty() || !cenario.empty()))
        Sai(kErroNaEntrada,
            "--gravar grava dos servidores desta máquina: dê --contrato, sem cenário");
    if (!extrato.empty() && !gravar.empty())
        Sai(kErroNaEntrada, "--extrato mostra um mês calculado; --gravar não calcula");
    if (!extrato.empty() && !so.empty())
        Sai(kErroNaEntrada, "--extrato mostra a nota inteira: não se combina com --so");

    tq::amostra::CDadosAmostra dados;
    if (!cenario.empty()) {
        try {
            dados = tq::amostra::LeArquivoCenario(cenario);
        } catch (const tq::amostra::CErroCenario& e) {
            Sai(kErroNaEntrada, e.what());
        }
        if (dados.contratos.empty())
            Sai(kErroNaEntrada, cenario + ": contrato: o cenário não tem contrato");
    }
    // With a scenario, --contrato chooses one of its contracts (the only one, if it has one).
    std::size_t escolhido = 0;
    if (!cenario.empty() && !contrato.empty()) {
        while (escolhido < dados.contratos.size() &&
               tq::ParaUtf8(dados.contratos[escolhido].codigo) != contrato)
            ++escolhido;
        if (escolhido == dados.contratos.size())
            Sai(kErroNaEntrada, cenario + ": o cenário não tem o contrato \"" + contrato + "\"");
    } else if (!cenario.empty() && dados.contratos.size() > 1) {
        Sai(kErroNaEntrada, cenario + ": o cenário tem " + std::to_string(dados.contratos.size()) +
                                " contratos: escolha um com --contrato CÓDIGO, ou fature todos com "
                                "tqcalc lote");
    }
    const ULONG pontContr = cenario.empty() ? tq::amostra::PonteiroDoCodigo(contrato)
                                            : dados.contratos[escolhido].ponteiro;
    const std::string codigo =
        cenario.empty() ? contrato : tq::ParaUtf8(dados.contratos[escolhido].codigo);
    // Tried before anything is computed: a path that cannot be written is a mistake in the
    // command line. The statement itself takes its name only once written whole, at the end.
    if (app.count("--extrato"))
        if (const std::string erro = tq::calc::CaminhoDoExtratoRuim(extrato, cenario);
            !erro.empty())
            Sai(kErroNaEntrada, "--extrato: " + erro);

    tq::SaidaPadraoBinaria();
    const tq::calc::CEscopoEscuta escuta;
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    TQCoInitializeSecurity();
    int codigoDeSaida = 0;
    {
        tq::amostra::CServidorAmostra amostra{tq::amostra::CDadosAmostra(dados)};
        tq::calc::CServidores servidores;
        if (!cenario.empty()) {
            const HRESULT hr = amostra.Registra();
            if (FAILED(hr))
                Sai(1, "o servidor de amostra não se registrou: " + tq::calc::NomeDoStatus(hr));
        } else {
            std::string relatorio;
            const HRESULT hr = servidores.Abre(relatorio);
            tq::EscreveTexto(tq::EFluxo::Erro, relatorio);
            if (FAILED(hr))
                Sai(1, "os servidores de negócio não abriram: " + tq::calc::NomeDoStatus(hr));
        }
        if (!gravar.empty()) {
            tq::amostra::CDadosAmostra lidos;
            const HRESULT hr = tq::calc::LeEntradas(servidores, pontContr, ma, lidos);
            if (FAILED(hr))
                Sai(1, "a leitura do mês do contrato falhou: " + tq::calc::NomeDoStatus(hr));
            // A server's text a scenario cannot hold (a control character, say) would make a
            // file nobody can replay: better said now.
            const std::string texto = tq::amostra::EscreveCenario(lidos);
            try {
                tq::amostra::LeCenario(texto);
            } catch (const tq::amostra::CErroCenario& e) {
                Sai(1, "o mês lido não cabe num cenário que se possa reproduzir: " +
                           std::string(e.what()));
            }
            std::ofstream arquivo(gravar, std::ios::binary);
            arquivo << texto;
            if (!arquivo.flush())
                Sai(1, gravar + ": não foi possível gravar o cenário");
        } else {
            tq::calc::CResultado r;
            r.bApontamentos = so != "faixas";
            r.bFaixas = so != "apontamentos";
            if (!cenario.empty())
                r.cliente = {tq::ParaUtf8(dados.contratos[escolhido].clienteNome),
                             tq::ParaUtf8(dados.contratos[escolhido].clienteDocumento)};
            tq::calc::Calcula(codigo, pontContr, ma, r);
            if (!cenario.empty())
                if (const std::string falha = FalhaQueNaoDisparou(dados, amostra.Estado());
                    !falha.empty())
                    Sai(kErroNaEntrada, cenario + ": " + falha);
            if (!tq::EscreveTexto(tq::EFluxo::Saida, bJson ? tq::calc::ParaJson(r).dump(2) + "\n"
                                                           : tq::calc::ParaTexto(r)))
                Sai(1, "o resultado não pôde ser escrito por inteiro na saída");
            // Whoever reads only the screen, or only the JSON, is told too.
            if (bJson)
                for (const tq::calc::CAviso& a : r.avisos)
                    tq::EscreveTexto(tq::EFluxo::Erro,
                                     "tqcalc: aviso: " + tq::calc::TextoDoAviso(a) + "\n");
            else if (!r.avisos.empty())
                tq::EscreveTexto(tq::EFluxo::Erro,
                                 "tqcalc: atenção: um valor não cabe no tipo monetário; veja "
                                 "os avisos no fim da saída\n");
            codigoDeSaida = tq::calc::CodigoDeSaida(r);
            if (!extrato.empty()) {
                try {
                    tq::calc::GravaArquivoInteiro(extrato, tq::calc::ParaExtrato(r));
                } catch (const tq::calc::CErroDeDisco& e) {
                    tq::EscreveTexto(tq::EFluxo::Erro, "tqcalc: extrato não gravado: " +
                                                           std::string(e.what()) + "\n");
                    codigoDeSaida = std::max(codigoDeSaida, 1);
                }
            }
        }
    }
    CoUninitialize();
    return codigoDeSaida;
}
