#include "tqlibex/diagnostics/NomesHResult.h"

#include "tqlibex/diagnostics/NomesHResultTabelas.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstring>

namespace tq::detail {
namespace {

// The house texts, in Windows-1252 (the 8-bit strings of the suite).
const NomeNumero kFacilidadesDaCasa[] = {
    {236, "TQ_FACILITY_NF_RVI"},           {237, "TQ_FACILITY_GC_CUSTOS"},
    {238, "TQ_FACILITY_GD_GED"},           {239, "TQ_FACILITY_PP_PRODUCAO"},
    {240, "TQ_FACILITY_EX_EXECUTIVO"},     {241, "TQ_FACILITY_CP_PATRIMONIAL"},
    {242, "TQ_FACILITY_EF_FISCAL"},        {243, "TQ_FACILITY_CX_CAIXA"},
    {244, "TQ_FACILITY_EC_ECF"},           {245, "TQ_FACILITY_CL_CONCILIACAO"},
    {246, "TQ_FACILITY_ES_ESTOQUE"},       {247, "TQ_FACILITY_CM_COMPRAS"},
    {248, "TQ_FACILITY_AC_ACESSO"},        {249, "TQ_FACILITY_GE_GERENCIADOR"},
    {250, "TQ_FACILITY_OR_ORCAMENTO"},     {251, "TQ_FACILITY_PN_PONTO"},
    {252, "TQ_FACILITY_CN_CONTABILIDADE"}, {253, "TQ_FACILITY_FN_FINANCEIRO"},
    {254, "TQ_FACILITY_FT_COMERCIAL"},     {255, "TQ_FACILITY_DF_EMPRESARIAL"},
    {262, "TQ_FACILITY_RW_LUMENWEB"},      {263, "TQ_FACILITY_IR_IRPJLALUR"},
    {264, "TQ_FACILITY_CR_CORE"},          {265, "TQ_FACILITY_MM_MANUTENCAO"},
    {266, "TQ_FACILITY_CQ_QUALIDADE"},
};

// Descriptions of facility 4 (FACILITY_ITF) codes: 1 to 13 from the report-model server,
// the rest from the product register server. 508 is missing on purpose.
const NomeNumero kDescricoesItf[] = {
    {1, "DFSREL: Modelo de relat\xF3rio deve ser definido para realizar a exporta\xE7\xE3o"},
    {2, "DFSREL: N\xE3o foi poss\xEDvel ler o modelo de relat\xF3rio"},
    {3, "DFSREL: N\xE3o buscou quantidade"},
    {4, "DFSREL: Modelo de relat\xF3rio j\xE1 existe"},
    {5, "DFSREL: Ocorreu um erro ao gravar o modelo do relat\xF3rio. Por favor verifique se o "
        "arquivo n\xE3o est\xE1 sendo usado por outro processo ou est\xE1 com o atributo de "
        "'somente leitura'"},
    {6, "DFSREL: Ocorreu um erro ao criar o modelo do relat\xF3rio"},
    {7, "DFSREL: Servidor n\xE3o foi inicializado"},
    {8, "DFSREL: Modelo de relat\xF3rio n\xE3o foi encontrado"},
    {9, "DFSREL: Ocorreu um erro ao acessar o registry"},
    {10, "DFSREL: N\xE3o foi poss\xEDvel reconhecer o m\xF3"
         "dulo informado"},
    {11, "DFSREL: Arquivo j\xE1 foi alterado"},
    {12, "DFSREL: Esse nome de modelo de relat\xF3rio \xE9 reservado para o Sistema"},
    {13, "DFSREL: Rela\xE7\xE3o relat\xF3rio n\xE3o encontrado"},
    {501, "DFSPRO: Falta informar classifica\xE7\xE3o"},
    {502, "DFSPRO: Tipo local inv\xE1lido"},
    {503, "DFSPRO: Falta informar c\xF3"
          "digo"},
    {504, "DFSPRO: Falta local t\xEDtulo"},
    {505, "DFSPRO: Registro exclu\xED"
          "do"},
    {506, "DFSPRO: Subordinada sem t\xEDtulo"},
    {507, "DFSPRO: T\xEDtulo sem subordinada"},
    {509, "DFSPRO: Classifica\xE7\xE3o n\xE3o cadastrada"},
    {510, "DFSPRO: Classifica\xE7\xE3o inexistente"},
    {511, "DFSPRO: Encontrado mas tipo diferente"},
    {512, "DFSPRO: N\xE3o abriu arquivo de impress\xE3o de produto"},
    {1522, "DFSPRO: J\xE1 existe conta"},
    {1523, "DFSPRO: N\xE3o pode alterar n\xEDvel"},
    {1524, "DFSPRO: Erro de convers\xE3o"},
    {1525, "DFSPRO: Atingiu quantidade m\xE1xima de produtos"},
    {1733, "DFSPRO: Par\xE2metro inv\xE1lido"},
    {1739, "DFSPRO: N\xE3o inicializado"},
    {1750, "DFSPRO: Produto usando a grade, n\xE3o pode excluir"},
    {1828, "DFSPRO: ECLUTIL.DLL n\xE3o carregada"},
    {1873, "DFSPRO: Fornecedor j\xE1 \xE9 associado"},
    {1874, "DFSPRO: Conta n\xE3o \xE9 de fornecedor"},
    {1875, "DFSPRO: Unidade de medida n\xE3o cadastrada"},
    {1876, "DFSPRO: Tempo para reposi\xE7\xE3o inv\xE1lido"},
    {1908, "DFSPRO: Refer\xEAncia fornecedor j\xE1 cadastrado"},
    {1978, "DFSPRO: Fornecimento n\xE3o identificado"},
    {1979, "DFSPRO: Grava\xE7\xE3o vig\xEAncia sobreescrita"},
    {2339, "DFSPRO: C\xF3"
           "digo de produto com h\xED"
           "fen"},
};

const Tabela kTabelaFacilidadesDaCasa = {kFacilidadesDaCasa, std::size(kFacilidadesDaCasa)};
const Tabela kTabelaDescricoesItf = {kDescricoesItf, std::size(kDescricoesItf)};

const char* Procura(const Tabela& t, std::uint32_t numero) {
    const NomeNumero* fim = t.itens + t.n;
    const NomeNumero* it = std::lower_bound(
        t.itens, fim, numero, [](const NomeNumero& a, std::uint32_t n) { return a.numero < n; });
    return it != fim && it->numero == numero ? it->nome : nullptr;
}

// Names travel through a zeroed 400-byte buffer, as they always did: at most 399 characters.
CTQString DoBuffer(const char* pszNome) {
    char buffer[400] = {};
    if (pszNome)
        std::strncpy(buffer, pszNome, sizeof buffer - 1);
    return CTQString(buffer);
}

int Severidade(HRESULT hr) {
    return (hr >> 31) & 1;
}
int Facilidade(HRESULT hr) {
    return (hr >> 16) & 0x1FFF;
}
int Codigo(HRESULT hr) {
    return hr & 0xFFFF;
}

std::atomic<const char*> g_pszBiblioteca{nullptr};

} // namespace

bool HResultNaLista(HRESULT hr, std::initializer_list<HRESULT> lista) {
    if (hr == -1)
        return true; // the terminator itself is compared before it ends the list
    return std::find(lista.begin(), lista.end(), hr) != lista.end();
}

const char* NomeBibliotecaMensagens() {
    const char* p = g_pszBiblioteca.load(std::memory_order_acquire);
    return p ? p : kBibliotecaMensagensPadrao;
}

CEscopoBibliotecaMensagens::CEscopoBibliotecaMensagens(const char* pszNome)
    : m_pszAnterior(g_pszBiblioteca.exchange(pszNome, std::memory_order_acq_rel)) {}

CEscopoBibliotecaMensagens::~CEscopoBibliotecaMensagens() {
    g_pszBiblioteca.store(m_pszAnterior, std::memory_order_release);
}

} // namespace tq::detail

using namespace tq::detail;

CTQString GetNomeSeverity(HRESULT hr) {
    switch (Severidade(hr)) {
        case 0:
            return DoBuffer("SEVERITY_SUCCESS");
        case 1:
            return DoBuffer("SEVERITY_ERROR");
        default:
            return DoBuffer("Desconhecido ou novo c\xF3"
                            "digo de SEVERITY");
    }
}

CTQString GetNomeFacility(HRESULT hr) {
    const auto f = static_cast<std::uint32_t>(Facilidade(hr));
    const char* nome = Procura(kTabelaFacilidades, f);
    if (!nome)
        nome = Procura(kTabelaFacilidadesDaCasa, f);
    return DoBuffer(nome ? nome
                         : "Desconhecido ou novo c\xF3"
                           "digo de FACILITY");
}

CTQString GetNomeCodigoWin32(HRESULT hr) {
    if (Facilidade(hr) == 4)
        return DoBuffer(nullptr);
    return DoBuffer(Procura(kTabelaCodigosWin32, static_cast<std::uint32_t>(Codigo(hr))));
}

CTQString GetNomeHResult(HRESULT hr) {
    return DoBuffer(Procura(kTabelaHResults, static_cast<std::uint32_t>(hr)));
}

CTQString GetDescricaoHResult(HRESULT hr) {
    if (Facilidade(hr) == 4) {
        const CTQString texto =
            DoBuffer(Procura(kTabelaDescricoesItf, static_cast<std::uint32_t>(Codigo(hr))));
        if (!texto.IsEmpty())
            return texto;
    }
    return DescricaoDaBibliotecaDeMensagens(NomeBibliotecaMensagens(), hr);
}

bool HResultNaLista(HRESULT hr, ...) {
    va_list args;
    va_start(args, hr);
    bool bAchou = false;
    for (;;) {
        const HRESULT valor = va_arg(args, HRESULT);
        if (valor == hr) {
            bAchou = true;
            break;
        }
        if (valor == -1)
            break;
    }
    va_end(args);
    return bAchou;
}
