// POSIX: process facts from /proc/self, uname and the password database.
#include "tqlibex/system/Processo.h"

#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>

namespace tq::detail {

// The private pages of the process, clean and dirty: what Windows counts as private bytes.
LONGLONG BytesPrivados() {
    std::ifstream in("/proc/self/smaps_rollup");
    std::string chave;
    LONGLONG total = 0;
    bool bAchou = false;
    while (in >> chave) {
        LONGLONG kb = 0;
        if ((chave == "Private_Clean:" || chave == "Private_Dirty:") && in >> kb) {
            total += kb * 1024;
            bAchou = true;
        }
        in.ignore(256, '\n');
    }
    return bAchou ? total : 0;
}

// ELF programs carry no version resource.
bool VersaoDoPrograma(DWORD& dwMS, DWORD& dwLS) {
    dwMS = dwLS = 0;
    return false;
}

DWORD VersaoDoSistema() {
    utsname u{};
    unsigned maior = 0, menor = 0, build = 0;
    if (uname(&u) != 0 || std::sscanf(u.release, "%u.%u.%u", &maior, &menor, &build) < 2)
        return 0;
    return (maior & 0xFF) | ((menor & 0xFF) << 8) | ((build & 0x7FFF) << 16);
}

CTQString CaminhoDoPrograma() {
    char caminho[261] = {};
    const ssize_t n = readlink("/proc/self/exe", caminho, sizeof caminho - 1);
    return n > 0 ? CTQString(caminho, static_cast<int>(n)) : CTQString();
}

CTQString NomeDoProcesso() {
    CTQString caminho = CaminhoDoPrograma();
    return caminho.Mid(caminho.ReverseFind('/') + 1).MakeLower();
}

CTQString NomeDoUsuario() {
    passwd pw{};
    passwd* resultado = nullptr;
    char buffer[1024];
    if (getpwuid_r(geteuid(), &pw, buffer, sizeof buffer, &resultado) == 0 && resultado)
        return CTQString(resultado->pw_name);
    const char* usuario = std::getenv("USER");
    return CTQString(usuario ? usuario : "");
}

// A random (version 4) GUID.
GUID NovoGuid() {
    static thread_local std::mt19937_64 gerador{std::random_device{}()};
    const std::uint64_t a = gerador(), b = gerador();
    GUID g;
    g.Data1 = static_cast<DWORD>(a >> 32);
    g.Data2 = static_cast<WORD>(a >> 16);
    g.Data3 = static_cast<WORD>((a & 0x0FFF) | 0x4000);
    for (int i = 0; i < 8; ++i)
        g.Data4[i] = static_cast<BYTE>(b >> (8 * i));
    g.Data4[0] = static_cast<BYTE>((g.Data4[0] & 0x3F) | 0x80);
    return g;
}

DWORD IdDoProcesso() {
    return static_cast<DWORD>(::getpid());
}

} // namespace tq::detail
