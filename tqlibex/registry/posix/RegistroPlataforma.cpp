// POSIX: the registry is a regedit export file named by TQ_REGISTRY_FILE. The file is read again
// whenever it changes (a test-marked machine reads the clock setting on every call, and a tester
// edits the file while the program runs). Lines it cannot read go to the trace log, once.
#include "tqlibex/registry/Registro.h"

#include "tqlibex/diagnostics/TraceHResult.h"

#include <sys/stat.h>

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <mutex>
#include <shared_mutex>
#include <sstream>
#include <string>
#include <vector>

namespace tq {

namespace {

class CRegistroArquivo : public IRegistro {
public:
    bool ExisteChave(ERaizRegistro raiz, const char* pszChave, bool) override {
        return Le([&](const CDadosRegistro& d) { return d.ExisteChave(raiz, pszChave); });
    }
    bool LeTexto(ERaizRegistro raiz, const char* pszChave, const char* pszValor, bool,
                 CTQString& sTexto) override {
        return Le(
            [&](const CDadosRegistro& d) { return d.LeTexto(raiz, pszChave, pszValor, sTexto); });
    }
    bool LeDword(ERaizRegistro raiz, const char* pszChave, const char* pszValor, bool,
                 DWORD& dwValor) override {
        return Le(
            [&](const CDadosRegistro& d) { return d.LeDword(raiz, pszChave, pszValor, dwValor); });
    }

private:
    // What identifies one version of the file.
    struct Versao {
        std::string sCaminho;
        dev_t dev = 0;
        ino_t ino = 0;
        off_t tamanho = 0;
        long long mtimeNs = 0;
        bool operator==(const Versao&) const = default;
    };

    static Versao VersaoAtual() {
        const char* caminho = std::getenv("TQ_REGISTRY_FILE");
        Versao v;
        struct stat st {};
        if (caminho && *caminho && ::stat(caminho, &st) == 0) {
            v = {caminho, st.st_dev, st.st_ino, st.st_size,
                 static_cast<long long>(st.st_mtim.tv_sec) * 1000000000LL + st.st_mtim.tv_nsec};
        }
        return v;
    }

    // Timestamps are coarse: a file written again within the same tick as our last reading looks
    // unchanged, so a recently written file is read again until it has settled.
    bool EmDia(const Versao& v) const {
        return v == m_versao && v.mtimeNs + kAssentaNs <= m_lidoEmNs;
    }

    // Threads read the same version of the file side by side (every object a server creates
    // reads it); one that finds the file changed reads it again alone.
    template <class Leitura>
    bool Le(const Leitura& leitura) {
        const Versao v = VersaoAtual();
        {
            std::shared_lock lock(m_mutex);
            if (EmDia(v))
                return leitura(m_dados);
        }
        std::unique_lock lock(m_mutex);
        if (!EmDia(v)) {
            m_versao = v;
            m_lidoEmNs = AgoraNs();
            m_dados = CDadosRegistro();
            if (!v.sCaminho.empty()) {
                std::ifstream in(v.sCaminho, std::ios::binary);
                std::ostringstream conteudo;
                conteudo << in.rdbuf();
                std::vector<std::string> avisos;
                m_dados = LeArquivoReg(conteudo.str(), &avisos);
                Reporta(v.sCaminho, avisos);
            }
        }
        return leitura(m_dados);
    }

    // A malformed line is reported once, not at every reading of an unchanged file.
    void Reporta(const std::string& caminho, const std::vector<std::string>& avisos) {
        if (caminho == m_sCaminhoReportado && avisos == m_avisosReportados)
            return;
        m_sCaminhoReportado = caminho;
        m_avisosReportados = avisos;
        for (const std::string& aviso : avisos)
            GravaTrace(nullptr, "tq::RegistroDaPlataforma", "Registro", 0,
                       "TQ_REGISTRY_FILE %s: %s", caminho.c_str(), aviso.c_str());
    }

    static constexpr long long kAssentaNs = 2000000000LL; // 2 s

    static long long AgoraNs() {
        std::timespec ts{};
        clock_gettime(CLOCK_REALTIME, &ts);
        return static_cast<long long>(ts.tv_sec) * 1000000000LL + ts.tv_nsec;
    }

    std::shared_mutex m_mutex;
    long long m_lidoEmNs = 0;
    Versao m_versao;
    CDadosRegistro m_dados;
    std::string m_sCaminhoReportado;
    std::vector<std::string> m_avisosReportados;
};

} // namespace

IRegistro& RegistroDaPlataforma() {
    static CRegistroArquivo registro;
    return registro;
}

} // namespace tq
