// POSIX: the registry is a regedit export file named by TQ_REGISTRY_FILE. The file is read again
// whenever it changes (a test-marked machine reads the clock setting on every call, and a tester
// edits the file while the program runs).
#include "tqlibex/Registro.h"

#include <sys/stat.h>

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>

namespace tq {

namespace {

class CRegistroArquivo : public IRegistro {
public:
    bool ExisteChave(ERaizRegistro raiz, const char* pszChave, bool) override {
        std::lock_guard lock(m_mutex);
        return Atualizado().ExisteChave(raiz, pszChave);
    }
    bool LeTexto(ERaizRegistro raiz, const char* pszChave, const char* pszValor, bool,
                 CTQString& sTexto) override {
        std::lock_guard lock(m_mutex);
        return Atualizado().LeTexto(raiz, pszChave, pszValor, sTexto);
    }
    bool LeDword(ERaizRegistro raiz, const char* pszChave, const char* pszValor, bool,
                 DWORD& dwValor) override {
        std::lock_guard lock(m_mutex);
        return Atualizado().LeDword(raiz, pszChave, pszValor, dwValor);
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

    const CDadosRegistro& Atualizado() {
        const char* caminho = std::getenv("TQ_REGISTRY_FILE");
        Versao v;
        struct stat st {};
        if (caminho && *caminho && ::stat(caminho, &st) == 0) {
            v = {caminho, st.st_dev, st.st_ino, st.st_size,
                 static_cast<long long>(st.st_mtim.tv_sec) * 1000000000LL + st.st_mtim.tv_nsec};
        }
        // Timestamps are coarse: a file written again within the same tick as our last reading
        // looks unchanged, so a recently written file is read again until it has settled.
        const long long agora = AgoraNs();
        const bool bRecente = v.mtimeNs + kAssentaNs > m_lidoEmNs;
        if (!(v == m_versao) || bRecente) {
            m_versao = v;
            m_lidoEmNs = agora;
            m_dados = CDadosRegistro();
            if (!v.sCaminho.empty()) {
                std::ifstream in(v.sCaminho, std::ios::binary);
                std::ostringstream conteudo;
                conteudo << in.rdbuf();
                // Malformed lines are skipped; they have nowhere to be reported yet.
                m_dados = LeArquivoReg(conteudo.str(), nullptr);
            }
        }
        return m_dados;
    }

    static constexpr long long kAssentaNs = 2000000000LL; // 2 s

    static long long AgoraNs() {
        std::timespec ts{};
        clock_gettime(CLOCK_REALTIME, &ts);
        return static_cast<long long>(ts.tv_sec) * 1000000000LL + ts.tv_nsec;
    }

    std::mutex m_mutex;
    long long m_lidoEmNs = 0;
    Versao m_versao;
    CDadosRegistro m_dados;
};

} // namespace

IRegistro& RegistroDaPlataforma() {
    static CRegistroArquivo registro;
    return registro;
}

} // namespace tq
