#include "tqlibex/diagnostics/GeLog.h"

#include "tqlibex/base/GuidTexto.h"
#include "tqlibex/system/Processo.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

std::string SemEspacos(const std::string& s) {
    const auto a = s.find_first_not_of(" \t\r");
    if (a == std::string::npos)
        return {};
    return s.substr(a, s.find_last_not_of(" \t\r") - a + 1);
}

bool MesmoNome(const std::string& a, const char* b) {
    CTQString x(a);
    return x.CompareNoCase(b) == 0;
}

} // namespace

CGeLog::CGeLog(const char* pszArquivo)
    : m_sArquivo(pszArquivo), m_bAtivo(pszArquivo && *pszArquivo) {}

CGeLog& CGeLog::DoProcesso() {
    static CGeLog* log = [] {
        auto* l = new CGeLog(); // lives for the whole process: threads may log during exit
        const char* ini = std::getenv("TQ_LOG_INI");
        if (ini && *ini) {
            l->ConfiguraPorIni(ini);
        } else {
            CTQString caminho = tq::detail::CaminhoDoPrograma();
            const int barra = std::max(caminho.ReverseFind('\\'), caminho.ReverseFind('/'));
            l->ConfiguraPorIni(caminho.Left(barra + 1) + "log.ini");
        }
        return l;
    }();
    return *log;
}

bool CGeLog::ConfiguraPorIni(const char* pszIni) {
    std::ifstream in(pszIni ? pszIni : "");
    if (!in)
        return false;
    std::string linha, secao, arquivo;
    bool bAtivo = true;
    while (std::getline(in, linha)) {
        linha = SemEspacos(linha);
        if (linha.empty() || linha[0] == ';' || linha[0] == '#')
            continue;
        if (linha[0] == '[') {
            secao = SemEspacos(linha.substr(1, linha.find(']') - 1));
            continue;
        }
        const auto igual = linha.find('=');
        if (!MesmoNome(secao, "Log") || igual == std::string::npos)
            continue;
        const std::string chave = SemEspacos(linha.substr(0, igual));
        const std::string valor = SemEspacos(linha.substr(igual + 1));
        if (MesmoNome(chave, "Arquivo"))
            arquivo = valor;
        else if (MesmoNome(chave, "Ativo"))
            bAtivo = valor != "0";
    }
    std::lock_guard lock(m_mutex);
    m_sArquivo = arquivo;
    m_bAtivo = bAtivo && !arquivo.empty();
    return true;
}

void CGeLog::ConfiguraPorArquivo(const char* pszArquivo) {
    std::lock_guard lock(m_mutex);
    m_sArquivo = pszArquivo ? pszArquivo : "";
    m_bAtivo = !m_sArquivo.IsEmpty();
}

bool CGeLog::EstaAtivo() const {
    std::lock_guard lock(m_mutex);
    return m_bAtivo;
}

void CGeLog::Grava(const CRegistroTrace& r) {
    CTQString linha = tq::GuidParaTexto(r.guid);
    linha += '\t';
    linha += r.sProcesso;
    linha += '\t';
    linha += r.sUsuario;
    linha += '\t';
    linha += r.pContexto ? r.pContexto->GetNome().GetString() : "";
    linha += '\t';
    linha += r.sFuncao;
    linha += '\t';
    linha += r.sTexto;
    Escreve(std::move(linha));
}

void CGeLog::Grava(const char* pszFormato, ...) {
    CTQString linha;
    va_list args;
    va_start(args, pszFormato);
    linha.FormatV(pszFormato, args);
    va_end(args);
    Escreve(std::move(linha));
}

void CGeLog::Escreve(CTQString linha) {
    linha.Remove('\r');
    linha.Remove('\n');
    std::lock_guard lock(m_mutex);
    if (!m_bAtivo)
        return;
    if (std::FILE* f = std::fopen(m_sArquivo, "ab")) {
        std::fprintf(f, "%s\n", linha.GetString());
        std::fclose(f);
    }
}

CTQString CGeLog::GetNomeDoArquivo(const char* pszCaminho) {
    const CTQString caminho(pszCaminho);
    const int barra = std::max(caminho.ReverseFind('\\'), caminho.ReverseFind('/'));
    return caminho.Mid(barra + 1);
}

namespace tq {

namespace {

class CSaidaLogDoProcesso : public ISaidaTrace {
public:
    void Grava(const CRegistroTrace& registro) override { CGeLog::DoProcesso().Grava(registro); }
    bool Ativa() const override { return CGeLog::DoProcesso().EstaAtivo(); }
};

} // namespace

ISaidaTrace& SaidaTraceAtual() {
    static CSaidaLogDoProcesso padrao;
    return EmUso<ISaidaTrace>(padrao);
}

} // namespace tq
