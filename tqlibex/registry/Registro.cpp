#include "tqlibex/registry/Registro.h"

#include <cstdlib>
#include <sstream>

namespace tq {

namespace {

// Registry names compare without case (ASCII) and without leading or trailing backslashes.
std::string Normaliza(const char* psz) {
    std::string s(psz ? psz : "");
    const auto inicio = s.find_first_not_of('\\');
    if (inicio == std::string::npos)
        return {};
    s = s.substr(inicio, s.find_last_not_of('\\') - inicio + 1);
    for (char& c : s)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return s;
}

} // namespace

IRegistro& RegistroAtual() {
    return EmUso(RegistroDaPlataforma());
}

void CDadosRegistro::CriaChave(ERaizRegistro raiz, const std::string& sChave) {
    m_chaves[{raiz, Normaliza(sChave.c_str())}];
}

void CDadosRegistro::DefineTexto(ERaizRegistro raiz, const std::string& sChave,
                                 const std::string& sValor, const std::string& sTexto) {
    m_chaves[{raiz, Normaliza(sChave.c_str())}][Normaliza(sValor.c_str())] = {true, sTexto, 0};
}

void CDadosRegistro::DefineDword(ERaizRegistro raiz, const std::string& sChave,
                                 const std::string& sValor, DWORD dw) {
    m_chaves[{raiz, Normaliza(sChave.c_str())}][Normaliza(sValor.c_str())] = {false, {}, dw};
}

void CDadosRegistro::RemoveValor(ERaizRegistro raiz, const std::string& sChave,
                                 const std::string& sValor) {
    const auto it = m_chaves.find({raiz, Normaliza(sChave.c_str())});
    if (it != m_chaves.end())
        it->second.erase(Normaliza(sValor.c_str()));
}

const CDadosRegistro::Chave* CDadosRegistro::Procura(ERaizRegistro raiz,
                                                     const char* pszChave) const {
    const std::string chave = Normaliza(pszChave);
    if (raiz == ERaizRegistro::ClassesRoot) {
        // HKCR is a merged view: the user's classes, then the machine's, then its own keys.
        const std::string classes =
            chave.empty() ? "SOFTWARE\\CLASSES" : "SOFTWARE\\CLASSES\\" + chave;
        for (ERaizRegistro r : {ERaizRegistro::CurrentUser, ERaizRegistro::LocalMachine}) {
            const auto it = m_chaves.find({r, classes});
            if (it != m_chaves.end())
                return &it->second;
        }
    }
    const auto it = m_chaves.find({raiz, chave});
    return it == m_chaves.end() ? nullptr : &it->second;
}

const CDadosRegistro::Valor* CDadosRegistro::ProcuraValor(ERaizRegistro raiz, const char* pszChave,
                                                          const char* pszValor) const {
    const Chave* chave = Procura(raiz, pszChave);
    if (!chave)
        return nullptr;
    const auto it = chave->find(Normaliza(pszValor));
    return it == chave->end() ? nullptr : &it->second;
}

bool CDadosRegistro::ExisteChave(ERaizRegistro raiz, const char* pszChave) const {
    return Procura(raiz, pszChave) != nullptr;
}

bool CDadosRegistro::LeTexto(ERaizRegistro raiz, const char* pszChave, const char* pszValor,
                             CTQString& sTexto) const {
    const Valor* v = ProcuraValor(raiz, pszChave, pszValor);
    if (!v || !v->bTexto)
        return false;
    sTexto = CTQString(v->sTexto);
    return true;
}

bool CDadosRegistro::LeDword(ERaizRegistro raiz, const char* pszChave, const char* pszValor,
                             DWORD& dw) const {
    const Valor* v = ProcuraValor(raiz, pszChave, pszValor);
    if (!v || v->bTexto)
        return false;
    dw = v->dw;
    return true;
}

void CRegistroEmMemoria::CriaChave(ERaizRegistro raiz, const std::string& sChave) {
    std::lock_guard lock(m_mutex);
    m_dados.CriaChave(raiz, sChave);
}

void CRegistroEmMemoria::DefineTexto(ERaizRegistro raiz, const std::string& sChave,
                                     const std::string& sValor, const std::string& sTexto) {
    std::lock_guard lock(m_mutex);
    m_dados.DefineTexto(raiz, sChave, sValor, sTexto);
}

void CRegistroEmMemoria::DefineDword(ERaizRegistro raiz, const std::string& sChave,
                                     const std::string& sValor, DWORD dw) {
    std::lock_guard lock(m_mutex);
    m_dados.DefineDword(raiz, sChave, sValor, dw);
}

void CRegistroEmMemoria::RemoveValor(ERaizRegistro raiz, const std::string& sChave,
                                     const std::string& sValor) {
    std::lock_guard lock(m_mutex);
    m_dados.RemoveValor(raiz, sChave, sValor);
}

bool CRegistroEmMemoria::ExisteChave(ERaizRegistro raiz, const char* pszChave, bool) {
    std::lock_guard lock(m_mutex);
    return m_dados.ExisteChave(raiz, pszChave);
}

bool CRegistroEmMemoria::LeTexto(ERaizRegistro raiz, const char* pszChave, const char* pszValor,
                                 bool, CTQString& sTexto) {
    std::lock_guard lock(m_mutex);
    return m_dados.LeTexto(raiz, pszChave, pszValor, sTexto);
}

bool CRegistroEmMemoria::LeDword(ERaizRegistro raiz, const char* pszChave, const char* pszValor,
                                 bool, DWORD& dwValor) {
    std::lock_guard lock(m_mutex);
    return m_dados.LeDword(raiz, pszChave, pszValor, dwValor);
}

// ---- regedit export files ----

namespace {

// UTF-16LE and UTF-8 text becomes 8-bit: code points up to 255 map to themselves (Latin-1, which
// Windows-1252 agrees with there), anything else to '?'.
std::string Para8Bits(const std::string& bruto) {
    std::string s;
    if (bruto.size() >= 2 && static_cast<unsigned char>(bruto[0]) == 0xFF &&
        static_cast<unsigned char>(bruto[1]) == 0xFE) {
        for (std::size_t i = 2; i + 1 < bruto.size(); i += 2) {
            const unsigned u =
                static_cast<unsigned char>(bruto[i]) |
                (static_cast<unsigned>(static_cast<unsigned char>(bruto[i + 1])) << 8);
            s += u < 256 ? static_cast<char>(u) : '?';
        }
        return s;
    }
    if (bruto.size() >= 3 && bruto.compare(0, 3, "\xEF\xBB\xBF") == 0) {
        for (std::size_t i = 3; i < bruto.size();) {
            const unsigned char c = static_cast<unsigned char>(bruto[i]);
            if (c < 0x80) {
                s += static_cast<char>(c);
                ++i;
            } else if ((c & 0xE0) == 0xC0 && i + 1 < bruto.size()) {
                const unsigned u =
                    ((c & 0x1Fu) << 6) | (static_cast<unsigned char>(bruto[i + 1]) & 0x3Fu);
                s += u < 256 ? static_cast<char>(u) : '?';
                i += 2;
            } else {
                s += '?';
                for (++i;
                     i < bruto.size() && (static_cast<unsigned char>(bruto[i]) & 0xC0) == 0x80;)
                    ++i;
            }
        }
        return s;
    }
    return bruto;
}

bool LeRaiz(const std::string& nome, ERaizRegistro& raiz) {
    const std::string n = Normaliza(nome.c_str());
    if (n == "HKEY_LOCAL_MACHINE" || n == "HKLM")
        raiz = ERaizRegistro::LocalMachine;
    else if (n == "HKEY_CURRENT_USER" || n == "HKCU")
        raiz = ERaizRegistro::CurrentUser;
    else if (n == "HKEY_CLASSES_ROOT" || n == "HKCR")
        raiz = ERaizRegistro::ClassesRoot;
    else
        return false;
    return true;
}

// A quoted string with regedit's escapes (\\ and \"), starting at pos; pos ends past the quote.
bool LeAspas(const std::string& linha, std::size_t& pos, std::string& texto) {
    if (pos >= linha.size() || linha[pos] != '"')
        return false;
    texto.clear();
    for (++pos; pos < linha.size(); ++pos) {
        char c = linha[pos];
        if (c == '"') {
            ++pos;
            return true;
        }
        if (c == '\\' && pos + 1 < linha.size())
            c = linha[++pos];
        texto += c;
    }
    return false;
}

std::string SemEspacos(const std::string& s) {
    const auto a = s.find_first_not_of(" \t");
    if (a == std::string::npos)
        return {};
    return s.substr(a, s.find_last_not_of(" \t") - a + 1);
}

} // namespace

CDadosRegistro LeArquivoReg(const std::string& sConteudo, std::vector<std::string>* pAvisos) {
    CDadosRegistro dados;
    const auto aviso = [pAvisos](int n, const std::string& linha, const char* motivo) {
        if (pAvisos)
            pAvisos->push_back("linha " + std::to_string(n) + ": " + motivo + ": " + linha);
    };

    std::istringstream in(Para8Bits(sConteudo));
    std::string linha;
    int n = 0;
    bool bCabecalho = false;
    bool bSecaoValida = false; // values below a deleted or foreign key are passed over
    ERaizRegistro raiz = ERaizRegistro::LocalMachine;
    std::string chave;
    while (std::getline(in, linha)) {
        ++n;
        if (!linha.empty() && linha.back() == '\r')
            linha.pop_back();
        // A trailing backslash continues the value on the next line (hex data).
        while (!linha.empty() && linha.back() == '\\' && linha.find('=') != std::string::npos &&
               linha.find("=\"") == std::string::npos) {
            std::string proxima;
            if (!std::getline(in, proxima))
                break;
            ++n;
            if (!proxima.empty() && proxima.back() == '\r')
                proxima.pop_back();
            linha.pop_back();
            linha += SemEspacos(proxima);
        }
        const std::string l = SemEspacos(linha);
        if (l.empty() || l[0] == ';')
            continue;
        if (!bCabecalho) {
            if (l == "Windows Registry Editor Version 5.00" || l == "REGEDIT4") {
                bCabecalho = true;
                continue;
            }
            aviso(n, l, "not a registry export (no header); file ignored");
            return CDadosRegistro();
        }
        if (l[0] == '[') {
            bSecaoValida = false;
            if (l.back() != ']') {
                aviso(n, l, "unterminated key");
                continue;
            }
            std::string caminho = l.substr(1, l.size() - 2);
            if (!caminho.empty() && caminho[0] == '-')
                continue; // a deletion: nothing to read
            const auto barra = caminho.find('\\');
            if (!LeRaiz(caminho.substr(0, barra), raiz))
                continue; // another root (HKEY_USERS...): not ours
            chave = barra == std::string::npos ? std::string() : caminho.substr(barra + 1);
            dados.CriaChave(raiz, chave);
            bSecaoValida = true;
            continue;
        }
        std::size_t pos = 0;
        std::string nome;
        if (l[0] == '@') {
            pos = 1;
        } else if (!LeAspas(l, pos, nome)) {
            aviso(n, l, "bad value name");
            continue;
        }
        while (pos < l.size() && (l[pos] == ' ' || l[pos] == '\t'))
            ++pos;
        if (pos >= l.size() || l[pos] != '=') {
            aviso(n, l, "missing '='");
            continue;
        }
        const std::string dado = SemEspacos(l.substr(pos + 1));
        if (!bSecaoValida)
            continue;
        if (dado == "-")
            continue; // a deletion
        if (!dado.empty() && dado[0] == '"') {
            std::size_t p = 0;
            std::string texto;
            if (!LeAspas(dado, p, texto) || p != dado.size()) {
                aviso(n, l, "bad string");
                continue;
            }
            dados.DefineTexto(raiz, chave, nome, texto);
        } else if (dado.compare(0, 6, "dword:") == 0) {
            const std::string hex = dado.substr(6);
            char* fim = nullptr;
            const unsigned long v = std::strtoul(hex.c_str(), &fim, 16);
            if (hex.empty() || hex.size() > 8 || *fim != '\0' ||
                hex.find_first_of("+- ") != std::string::npos) {
                aviso(n, l, "bad dword");
                continue;
            }
            dados.DefineDword(raiz, chave, nome, static_cast<DWORD>(v));
        } else if (dado.compare(0, 3, "hex") == 0) {
            continue; // binary and other typed values: not read by the library
        } else {
            aviso(n, l, "unknown value type");
        }
    }
    if (!bCabecalho && n > 0)
        aviso(n, "", "not a registry export (no header); file ignored");
    return dados;
}

} // namespace tq
