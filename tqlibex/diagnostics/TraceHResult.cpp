#include "tqlibex/diagnostics/TraceHResult.h"

#include "tqlibex/diagnostics/NomesHResult.h"
#include "tqlibex/system/Processo.h"

#include <cstdarg>

namespace tq::detail {

CTQString LinhaDeTrace(HRESULT hr, const char* pszExpressao, const char* pszVariavel) {
    CTQString linha;
    linha.Format(
        "%s\t%s = %#X %s\tSEVERITY = %d %s\tFACILITY = %d %s\tCODE = %d %s\tDescri\xE7\xE3o = %s",
        pszExpressao, pszVariavel, static_cast<unsigned>(hr), GetDescricaoHResult(hr).GetString(),
        static_cast<int>((hr >> 31) & 1), GetNomeSeverity(hr).GetString(),
        static_cast<int>((hr >> 16) & 0x1FFF), GetNomeFacility(hr).GetString(),
        static_cast<int>(hr & 0xFFFF), GetNomeCodigoWin32(hr).GetString(),
        GetNomeHResult(hr).GetString());
    return linha;
}

CTQString TextoDoRegistroTrace(LONGLONG nBytesPrivados, DWORD dwVersaoMS, DWORD dwVersaoLS,
                               DWORD dwVersaoSistema, const char* pszArquivo, int nLinha,
                               const char* pszMensagem) {
    const int nBuild =
        (dwVersaoSistema & 0x80000000u) ? 0 : static_cast<int>(dwVersaoSistema >> 16);
    CTQString texto;
    texto.Format("%lld\t%d.%d.%d\t%d.%d.%d\t%s\t%d\t%s\t", nBytesPrivados,
                 static_cast<int>(dwVersaoMS >> 16), static_cast<int>(dwVersaoMS & 0xFFFF),
                 static_cast<int>(dwVersaoLS), static_cast<int>(dwVersaoSistema & 0xFF),
                 static_cast<int>((dwVersaoSistema >> 8) & 0xFF), nBuild,
                 pszArquivo ? pszArquivo : "", nLinha, pszMensagem ? pszMensagem : "");
    return texto;
}

void TracaHResult(HRESULT hr, const char* pszExpressao, const char* pszVariavel,
                  const char* pszFuncao, const char* pszArquivo, int nLinha,
                  std::initializer_list<HRESULT> tolerados) {
    if (hr == 0 || HResultNaLista(hr, tolerados))
        return;
    GravaTrace(nullptr, pszFuncao, pszArquivo, nLinha, "%s",
               LinhaDeTrace(hr, pszExpressao, pszVariavel).GetString());
}

} // namespace tq::detail

void GravaTrace(const CTQContextoTrace* pContexto, const char* pszFuncao, const char* pszArquivo,
                int nLinha, const char* pszFormato, ...) {
    tq::ISaidaTrace& saida = tq::SaidaTraceAtual();
    if (!saida.Ativa())
        return;
    CTQString mensagem;
    va_list args;
    va_start(args, pszFormato);
    mensagem.FormatV(pszFormato, args);
    va_end(args);

    DWORD dwMS = 0, dwLS = 0;
    if (!tq::detail::VersaoDoPrograma(dwMS, dwLS))
        dwMS = dwLS = 0;
    CRegistroTrace registro;
    registro.pContexto = pContexto;
    registro.sFuncao = pszFuncao ? pszFuncao : "";
    registro.guid = tq::detail::NovoGuid();
    registro.sProcesso = tq::detail::NomeDoProcesso();
    registro.sUsuario = tq::detail::NomeDoUsuario();
    registro.sTexto = tq::detail::TextoDoRegistroTrace(tq::detail::BytesPrivados(), dwMS, dwLS,
                                                       tq::detail::VersaoDoSistema(), pszArquivo,
                                                       nLinha, mensagem);
    saida.Grava(registro);
}
