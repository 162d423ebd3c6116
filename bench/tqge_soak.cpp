// tqge_soak: the same contract-month billed again and again, as a module that runs all day bills
// it, to show that nothing grows. Both calculations, against the sample server in this process:
//   - on one pair of calculation objects, reused for every calculation;
//   - on fresh objects for every calculation.
// After each calculation the only blocks alive must be the band arrays the ranges calculation
// keeps on purpose (until its next calculation; fresh objects free them, as a module does, before
// they go). The task allocator's live blocks and the process's private resident bytes are sampled
// along the way; the run fails (exit code 1) when any other block is left, a block is freed
// twice, or memory keeps growing after the first tenth.
//
//   tqge_soak [SCENARIO.json [CALCULATIONS]]   (default: the bundled example, 100000)
#include <tqge.h>

#include "servers/amostra/CenarioAmostra.h"
#include "servers/amostra/ServidorAmostra.h"
#include "support/EspiaContadora.h"
#include "tqlibex/system/Processo.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>

namespace {

const CTQMa kMes(3, 2024);
constexpr int kAmostras = 10;
// Allocators keep some slack; growth beyond this after the first tenth is a leak.
constexpr LONGLONG kFolgaBytes = 256 * 1024;

struct CObjetos {
    CCalculoApontamentos tempo;
    CCalculoFaixaMedicao faixas{"soak", 1, 1};
};

// One billing: the time lines, their totals and codes, then the ranges and the services.
bool Fatura(CObjetos& o, ULONG contrato, const CRegContratoPs& regContrato) {
    if (!o.tempo.IsInicializado())
        o.tempo.Inicializa();
    CCalculoApontamentos::CArrayCalculados linhas;
    HRESULT hr = o.tempo.FazCalculoApontamentos(contrato, kMes, linhas);
    CCalculoApontamentos::LiberaApontamentosCalculados(linhas);
    tagCY valor, desconto;
    if (SUCCEEDED(hr))
        hr = o.tempo.GetValorApontamentos(contrato, kMes, valor, desconto);
    CString codigos;
    if (SUCCEEDED(hr))
        hr = o.tempo.GetCodigosApontamentos(contrato, kMes, codigos);
    o.faixas.SetContrato(regContrato);
    if (SUCCEEDED(hr))
        hr = o.faixas.CalculaItens(kMes);
    CArrayItensFaixa servicos;
    o.faixas.GetServicosFaturamento(servicos);
    return SUCCEEDED(hr);
}

// The band arrays the ranges calculation holds.
std::set<const void*> Bandas(CObjetos& o) {
    std::set<const void*> bandas;
    for (const tagREG_FAIXA_PS& f : o.faixas.GetFaixas())
        if (f.bandas)
            bandas.insert(f.bandas);
    return bandas;
}

// What a module does with the band arrays before the object goes.
void LiberaBandas(CObjetos& o) {
    for (tagREG_FAIXA_PS& f : o.faixas.GetFaixas())
        tq::LiberaFaixa(f);
}

struct CCurva {
    const char* nome;
    std::size_t vivosInicio = 0, vivosFim = 0, mantidosPorCalculo = 0;
    LONGLONG bytesInicio = 0, bytesFim = 0, bytesMaximo = 0;
    bool bFalhou = false;
};

CCurva Corre(const char* nome, bool bObjetosNovos, int nCalculos, ULONG contrato,
             const CRegContratoPs& regContrato, tq::teste::EspiaContadora& espia) {
    CCurva c{nome};
    std::unique_ptr<CObjetos> pObjetos = std::make_unique<CObjetos>();
    std::size_t nMantidos = 0;
    std::printf("%-13s %12s %12s %14s %16s\n", nome, "calculations", "live blocks", "band arrays",
                "private bytes");
    for (int i = 1; i <= nCalculos; ++i) {
        if (bObjetosNovos)
            pObjetos = std::make_unique<CObjetos>();
        c.bFalhou |= !Fatura(*pObjetos, contrato, regContrato);
        const std::set<const void*> bandas = Bandas(*pObjetos);
        c.bFalhou |= espia.OsVivos() != bandas;
        nMantidos = bandas.size();
        if (bObjetosNovos) {
            LiberaBandas(*pObjetos);
            pObjetos.reset();
        }
        if (i == 1)
            c.mantidosPorCalculo = nMantidos;
        c.bFalhou |= nMantidos != c.mantidosPorCalculo;
        if (i % (nCalculos / kAmostras) == 0 || i == 1) {
            const std::size_t nVivos = espia.Vivos();
            const LONGLONG bytes = tq::detail::BytesPrivados();
            std::printf("%-13s %12d %12zu %14zu %16lld\n", "", i, nVivos, nMantidos, bytes);
            if (i == nCalculos / kAmostras) {
                c.vivosInicio = nVivos;
                c.bytesInicio = bytes;
            }
            c.vivosFim = nVivos;
            c.bytesFim = bytes;
            c.bytesMaximo = std::max(c.bytesMaximo, bytes);
        }
    }
    if (pObjetos) {
        LiberaBandas(*pObjetos);
        pObjetos.reset();
    }
    c.bFalhou |= espia.Vivos() != 0 || espia.LiberacoesInvalidas() != 0;
    c.bFalhou |= c.vivosFim != c.vivosInicio || c.bytesFim - c.bytesInicio > kFolgaBytes;
    return c;
}

} // namespace

int main(int argc, char** argv) {
    const std::string cenario = argc > 1 ? argv[1] : TQGE_EXEMPLO;
    const int nCalculos = argc > 2 ? std::atoi(argv[2]) : 100000;
    if (nCalculos < kAmostras) {
        std::fprintf(stderr, "tqge_soak: at least %d calculations\n", kAmostras);
        return 2;
    }
    tq::amostra::CDadosAmostra dados;
    try {
        dados = tq::amostra::LeArquivoCenario(cenario);
    } catch (const tq::amostra::CErroCenario& e) {
        std::fprintf(stderr, "tqge_soak: %s: %s\n", cenario.c_str(), e.what());
        return 2;
    }
    CRegContratoPs regContrato;
    regContrato.SetCodigo(dados.contratos.at(0).codigo.c_str());
    for (const tq::amostra::FaixaContrato& f : dados.contratos[0].faixas) {
        CRegFaixaContratoPs faixa;
        faixa.SetCodigoFaixa(f.codigo);
        regContrato.GetArrFaixas().Add(faixa);
    }
    const ULONG contrato = dados.contratos[0].ponteiro;

    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    bool bFalhou = false;
    {
        tq::CRegistroEmMemoria registro; // no remote server: the run measures the calculations
        tq::CEscopoRegistro escopo(registro);
        tq::teste::EspiaContadora espia;
        tq::amostra::CServidorAmostra servidor(std::move(dados));
        if (FAILED(servidor.Registra()))
            return 1;
        std::printf("tqge_soak: %d billings of %s, 03/2024\n\n", nCalculos, cenario.c_str());
        for (const CCurva& c :
             {Corre("one object", false, nCalculos, contrato, regContrato, espia),
              Corre("fresh objects", true, nCalculos, contrato, regContrato, espia)}) {
            std::printf("%s: live blocks %zu -> %zu; private bytes %lld -> %lld (peak %lld); "
                        "band arrays kept per billing: %zu; %s\n\n",
                        c.nome, c.vivosInicio, c.vivosFim, c.bytesInicio, c.bytesFim, c.bytesMaximo,
                        c.mantidosPorCalculo, c.bFalhou ? "GROWS" : "flat");
            bFalhou |= c.bFalhou;
        }
        bFalhou |= espia.LiberacoesInvalidas() != 0;
    }
    CoUninitialize();
    return bFalhou ? 1 : 0;
}
