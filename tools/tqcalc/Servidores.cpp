#include "tools/tqcalc/Servidores.h"

#include "tools/tqcalc/Conversa.h"

namespace tq::calc {

using namespace tq::amostra;

HRESULT CServidores::Abre(std::string& relatorio) {
    const _REG_CONEXAO_PS conexao = RegistroDeConexao("tqcalc", 0, 0);
    const auto relata = [&relatorio](const char* nome, const CTQComPtrBase& p, REFCLSID clsid) {
        const CTQString servidor = NomeDoServidorRemoto(clsid);
        relatorio += std::string(nome) + ": " +
                     (servidor.IsEmpty() ? std::string("servidor local")
                                         : "servidor remoto " + ParaUtf8(servidor.str())) +
                     (p.TemKeepAlive() ? ", keep-alive ativo" : "") + "\n";
    };
    HRESULT hr = contratos.CoCreateInstance(__uuidof(TQGE_Contratos));
    if (SUCCEEDED(hr)) {
        relata("ITQGE_Contratos", contratos, __uuidof(TQGE_Contratos));
        hr = faixa.CoCreateInstance(__uuidof(TQGE_Faixa));
    }
    if (SUCCEEDED(hr)) {
        relata("ITQGE_Faixa", faixa, __uuidof(TQGE_Faixa));
        hr = apontamentos.CoCreateInstance(__uuidof(TQGE_Apontamentos));
    }
    if (SUCCEEDED(hr)) {
        relata("ITQGE_Apontamentos", apontamentos, __uuidof(TQGE_Apontamentos));
        hr = contratos->Inicializa(conexao);
    }
    if (SUCCEEDED(hr))
        hr = faixa->Inicializa(conexao);
    if (SUCCEEDED(hr))
        hr = apontamentos->Inicializa(conexao);
    return hr;
}

HRESULT LeEntradas(CServidores& servidores, ULONG pontContr, CTQMa mes, CDadosAmostra& dados) {
    ITQGE_Contratos* pContratos = servidores.contratos.GetInterface();
    ITQGE_Faixa* pFaixa = servidores.faixa.GetInterface();
    ITQGE_Apontamentos* pApontamentos = servidores.apontamentos.GetInterface();
    if (!pContratos || !pFaixa || !pApontamentos)
        return E_POINTER;

    // The contract and its ranges.
    _REG_CONTRATO_PS contrato{};
    HRESULT hr = pContratos->LeContrato(pontContr, &contrato);
    if (FAILED(hr))
        return hr;
    if (!ContratoChegou(contrato)) {
        LiberaContrato(contrato);
        return kDadosRuins;
    }
    Contrato c = ContratoDoRegistro(contrato);
    LiberaContrato(contrato);

    // Its items.
    ULONG n = 0;
    _REG_ITEM_CONTRATO_PS* pItens = nullptr;
    hr = pContratos->LeItens(pontContr, &n, &pItens);
    if (FAILED(hr))
        return hr;
    if (!ItensContratoChegaram(pItens, n)) {
        LiberaItensContrato(pItens, n);
        return kDadosRuins;
    }
    for (ULONG i = 0; pItens && i < n; ++i)
        c.itens.push_back(ItemDoRegistro(pItens[i]));
    LiberaItensContrato(pItens, n);

    // Its range definitions.
    for (const FaixaContrato& fc : c.faixas) {
        REG_FAIXA_PS reg{};
        hr = pFaixa->LeFaixa(fc.codigo, &reg);
        if (FAILED(hr))
            return hr;
        const bool bChegou = ArrayChegou(reg.bandas, reg.qtdBandas);
        if (bChegou)
            dados.faixas.push_back(FaixaDoRegistro(reg));
        LiberaFaixa(reg);
        if (!bChegou)
            return kDadosRuins;
    }
    dados.contratos.push_back(std::move(c));

    // The month's records.
    _REG_FILTRO_APONTAMENTOS_PS filtro{};
    filtro.pontContr = pontContr;
    filtro.maInicial = filtro.maFinal = mes.GetCompactado();
    ULONG nPosicoes = 0, nRegistros = 0;
    _REG_PONTEIRO_APONTAMENTO_PS* pPosicoes = nullptr;
    _REG_APONTAMENTO_PS* pRegistros = nullptr;
    hr = pApontamentos->LePosicoes(filtro, &nPosicoes, &pPosicoes);
    if (SUCCEEDED(hr) && !ArrayChegou(pPosicoes, nPosicoes))
        hr = kDadosRuins;
    if (SUCCEEDED(hr))
        hr = pApontamentos->LeApontamentos(nPosicoes, pPosicoes, &nRegistros, &pRegistros);
    CoTaskMemFree(pPosicoes);
    if (FAILED(hr))
        return hr;
    if (!ApontamentosChegaram(pRegistros, nRegistros)) {
        LiberaApontamentos(pRegistros, nRegistros);
        return kDadosRuins;
    }
    for (ULONG i = 0; pRegistros && i < nRegistros; ++i)
        dados.apontamentos.push_back(ApontamentoDoRegistro(pRegistros[i]));
    LiberaApontamentos(pRegistros, nRegistros);
    return S_OK;
}

} // namespace tq::calc
