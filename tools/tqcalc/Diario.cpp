#include "tools/tqcalc/Diario.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include <fcntl.h>
#ifdef _WIN32
#include <WinApi.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#else
#include <sys/file.h>
#include <unistd.h>
#endif

namespace tq::calc {

namespace fs = std::filesystem;

namespace {

#ifdef _WIN32
int AbreParaEscrita(const std::string& caminho, bool bAcrescenta) {
    return _open(caminho.c_str(),
                 _O_WRONLY | _O_CREAT | _O_BINARY | (bAcrescenta ? _O_APPEND : _O_TRUNC),
                 _S_IREAD | _S_IWRITE);
}
int Escreve(int fd, const char* p, std::size_t n) {
    return _write(fd, p, static_cast<unsigned>(n));
}
int ParaODisco(int fd) {
    return _commit(fd);
}
int FechaArquivo(int fd) {
    return _close(fd);
}
// NTFS keeps a rename in its own journal; there is no directory to sync.
void SincronizaDiretorio(const std::string&) {}
bool Renomeia(const std::string& de, const std::string& para) {
    return MoveFileExA(de.c_str(), para.c_str(),
                       MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
}
#else
int AbreParaEscrita(const std::string& caminho, bool bAcrescenta) {
    return ::open(caminho.c_str(),
                  O_WRONLY | O_CREAT | O_CLOEXEC | (bAcrescenta ? O_APPEND : O_TRUNC), 0644);
}
int Escreve(int fd, const char* p, std::size_t n) {
    return static_cast<int>(::write(fd, p, n));
}
int ParaODisco(int fd) {
    return ::fdatasync(fd);
}
int FechaArquivo(int fd) {
    return ::close(fd);
}
// A file created or renamed is only durable once its directory's entry is.
void SincronizaDiretorio(const std::string& arquivo) {
    fs::path dir = fs::path(arquivo).parent_path();
    if (dir.empty())
        dir = ".";
    const int fd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}
bool Renomeia(const std::string& de, const std::string& para) {
    return std::rename(de.c_str(), para.c_str()) == 0;
}
#endif

[[noreturn]] void Falha(const std::string& caminho, const char* pszOQue, int erro) {
    throw CErroDeDisco(caminho + ": " + pszOQue + ": " + Motivo(erro));
}

void EscreveTudo(int fd, const std::string& caminho, std::string_view texto) {
    while (!texto.empty()) {
        // In pieces a 32-bit count holds; a short write (a disk filling up) goes on from there.
        const std::size_t n = std::min<std::size_t>(texto.size(), 1u << 30);
        const int escrito = Escreve(fd, texto.data(), n);
        if (escrito < 0) {
            if (errno == EINTR)
                continue;
            Falha(caminho, "não foi possível gravar", errno);
        }
        if (escrito == 0)
            Falha(caminho, "não foi possível gravar", ENOSPC);
        texto.remove_prefix(static_cast<std::size_t>(escrito));
    }
}

} // namespace

// The usual reasons in Portuguese; any other by the system's own words.
std::string Motivo(int erro) {
    switch (erro) {
        case ENOSPC:
            return "o disco está cheio";
        case EFBIG:
            return "o arquivo passou do tamanho que o sistema permite";
        case EACCES:
        case EPERM:
            return "sem permissão";
        case EROFS:
            return "o disco só permite leitura";
        case ENOENT:
        case ENOTDIR:
            return "a pasta não existe";
        case EIO:
            return "erro de leitura ou gravação no disco";
        default:
            return "erro " + std::to_string(erro) + " (" + std::strerror(erro) + ")";
    }
}

CDiario::~CDiario() {
    if (m_fd >= 0)
        FechaArquivo(m_fd);
}

CDiario::CRecuperacao CDiario::Abre(const std::string& caminho,
                                    const std::function<bool(std::string_view, std::size_t)>& le) {
    m_caminho = caminho;
    CRecuperacao r;
    std::error_code erro;
    const bool bExistia = fs::exists(caminho, erro);
    if (bExistia) {
        std::ifstream in(caminho, std::ios::binary);
        if (!in)
            throw CErroDeDisco(caminho + ": não foi possível ler o diário");
        std::uint64_t fimDasBoas = 0, posicao = 0;
        std::string linha;
        bool bCortar = false;
        while (std::getline(in, linha)) {
            // Without its line end the last line was being written when the run stopped.
            const bool bInteira = !in.eof();
            if (!bCortar && bInteira && le(linha, r.nLinhas + 1)) {
                ++r.nLinhas;
                posicao += linha.size() + 1;
                fimDasBoas = posicao;
                continue;
            }
            bCortar = true;
            ++r.nDescartadas;
            posicao += linha.size() + (bInteira ? 1 : 0);
        }
        if (in.bad())
            throw CErroDeDisco(caminho + ": não foi possível ler o diário");
        in.close();
        r.nBytesDescartados = posicao - fimDasBoas;
        if (r.nBytesDescartados) {
            fs::resize_file(caminho, fimDasBoas, erro);
            if (erro)
                throw CErroDeDisco(
                    caminho + ": não foi possível cortar a linha incompleta: " + erro.message());
        }
    }
    m_fd = AbreParaEscrita(caminho, true);
    if (m_fd < 0)
        Falha(caminho, "não foi possível abrir o diário", errno);
    if (r.nBytesDescartados && ParaODisco(m_fd) != 0)
        Falha(caminho, "não foi possível gravar", errno);
    if (!bExistia)
        SincronizaDiretorio(caminho);
    return r;
}

void CDiario::Acrescenta(std::string_view texto) {
    EscreveTudo(m_fd, m_caminho, texto);
}

void CDiario::Sincroniza() {
    if (ParaODisco(m_fd) != 0)
        Falha(m_caminho, "não foi possível gravar no disco", errno);
}

void CDiario::Fecha() {
    if (m_fd < 0)
        return;
    const int fd = m_fd;
    m_fd = -1;
    if (FechaArquivo(fd) != 0)
        Falha(m_caminho, "não foi possível fechar o diário", errno);
}

void GravaArquivoInteiro(const std::string& caminho, std::string_view texto) {
    const std::string temporario = caminho + ".tmp";
    const int fd = AbreParaEscrita(temporario, false);
    if (fd < 0)
        Falha(temporario, "não foi possível criar", errno);
    // Whatever stops it, no piece is left behind to be taken for the file.
    try {
        try {
            EscreveTudo(fd, temporario, texto);
            if (ParaODisco(fd) != 0)
                Falha(temporario, "não foi possível gravar no disco", errno);
        } catch (...) {
            FechaArquivo(fd);
            throw;
        }
        if (FechaArquivo(fd) != 0)
            Falha(temporario, "não foi possível fechar", errno);
        Substitui(temporario, caminho);
    } catch (...) {
        std::error_code ec;
        fs::remove(temporario, ec);
        throw;
    }
}

CTrava::~CTrava() {
    if (m_fd >= 0)
        FechaArquivo(m_fd);
}

bool CTrava::Tranca(const std::string& caminho) {
#ifdef _WIN32
    // Opened denying every other opening: a second run's open fails while this one lives.
    if (_sopen_s(&m_fd, caminho.c_str(), _O_RDWR | _O_CREAT | _O_BINARY, _SH_DENYRW,
                 _S_IREAD | _S_IWRITE) != 0) {
        m_fd = -1;
        if (errno == EACCES)
            return false;
        Falha(caminho, "não foi possível criar", errno);
    }
    return true;
#else
    m_fd = ::open(caminho.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (m_fd < 0)
        Falha(caminho, "não foi possível criar", errno);
    if (::flock(m_fd, LOCK_EX | LOCK_NB) != 0) {
        const int erro = errno;
        ::close(m_fd);
        m_fd = -1;
        if (erro == EWOULDBLOCK)
            return false;
        Falha(caminho, "não foi possível travar", erro);
    }
    return true;
#endif
}

std::string CaminhoDoExtratoRuim(const std::string& caminho, const std::string& cenario) {
    if (caminho.empty())
        return "dê o caminho do arquivo HTML";
    std::error_code ec;
    if (fs::is_directory(caminho, ec))
        return caminho + " é uma pasta";
    if (!cenario.empty() && fs::equivalent(caminho, cenario, ec))
        return caminho + " é o próprio cenário";
    // Created and removed at once: the folder exists and takes files, and the old statement, if
    // any, stays as it is until the new one is whole.
    const std::string temporario = caminho + ".tmp";
    const int fd = AbreParaEscrita(temporario, false);
    if (fd < 0) {
        const int erro = errno;
        return "não foi possível criar " + caminho + ": " + Motivo(erro);
    }
    FechaArquivo(fd);
    fs::remove(temporario, ec);
    return std::string();
}

void Substitui(const std::string& temporario, const std::string& caminho) {
    if (!Renomeia(temporario, caminho))
        throw CErroDeDisco(caminho + ": não foi possível substituir o arquivo");
    SincronizaDiretorio(caminho);
}

} // namespace tq::calc
