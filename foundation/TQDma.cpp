#include "foundation/TQDma.h"

#include "tqlibex/clock/Calendario.h"

#include <cstdio>
#include <cstring>

namespace {

// Exactly "NN/NNNN" or "NN/NN/NNNN": the fixed text forms, no more and no less.
bool Digitos(const char* p, int n, int& valor) {
    valor = 0;
    for (int i = 0; i < n; ++i) {
        if (p[i] < '0' || p[i] > '9')
            return false;
        valor = valor * 10 + (p[i] - '0');
    }
    return true;
}

} // namespace

// A part that does not fit its packed field makes the empty (invalid) value: masking it would
// give another, valid-looking date.
CTQMa::CTQMa(int nMes, int nAno)
    : m_wMa(nMes >= 0 && nMes <= 0x0F && nAno >= 0 && nAno <= 0xFFF
                ? static_cast<WORD>((nAno << 4) | nMes)
                : 0) {}

int CTQMa::UltimoDiaDoMes() const {
    return IsValido() ? tq::detail::DiasNoMes(GetMes(), GetAno()) : 0;
}

CTQMa& CTQMa::SomaMeses(int nMeses) {
    if (!IsValido())
        return *this;
    const long long total = static_cast<long long>(GetAno()) * 12 + (GetMes() - 1) + nMeses;
    const long long ano = total >= 0 ? total / 12 : (total - 11) / 12;
    if (ano >= 1 && ano <= 0xFFF) // outside the packed range the value stays where it was
        *this = CTQMa(static_cast<int>(total - ano * 12) + 1, static_cast<int>(ano));
    return *this;
}

CTQString CTQMa::Formata() const {
    CTQString s;
    s.Format("%02d/%04d", GetMes(), GetAno());
    return s;
}

bool CTQMa::Le(const char* psz, CTQMa& ma) {
    int mes = 0, ano = 0;
    if (!psz || std::strlen(psz) != 7 || psz[2] != '/' || !Digitos(psz, 2, mes) ||
        !Digitos(psz + 3, 4, ano))
        return false;
    const CTQMa lido(mes, ano);
    if (!lido.IsValido())
        return false;
    ma = lido;
    return true;
}

CTQDma::CTQDma(int nDia, int nMes, int nAno)
    : m_dwData(nDia >= 0 && nDia <= 0xFF && nMes >= 0 && nMes <= 0xFF && nAno >= 0 && nAno <= 0xFFFF
                   ? (static_cast<DWORD>(nAno) << 16) | (static_cast<DWORD>(nMes) << 8) |
                         static_cast<DWORD>(nDia)
                   : 0) {}

bool CTQDma::EhBissexto(int nAno) {
    return tq::detail::EhBissexto(nAno);
}

int CTQDma::UltimoDiaDoMes(int nMes, int nAno) {
    return nMes >= 1 && nMes <= 12 ? tq::detail::DiasNoMes(nMes, nAno) : 0;
}

bool CTQDma::IsValida() const {
    return GetAno() >= 1 && GetMes() >= 1 && GetMes() <= 12 && GetDia() >= 1 &&
           GetDia() <= UltimoDiaDoMes();
}

long long CTQDma::Dias() const {
    return tq::detail::DiasDaData(GetAno(), GetMes(), GetDia());
}

void CTQDma::DefineDias(long long dias) {
    long long ano = 0;
    int mes = 0, dia = 0;
    tq::detail::DataDosDias(dias, ano, mes, dia);
    if (ano >= 1 && ano <= 0xFFFF) // outside the packed range the date stays where it was
        *this = CTQDma(dia, mes, static_cast<int>(ano));
}

int CTQDma::DiaDaSemana() const {
    return IsValida() ? tq::detail::DiaDaSemana(Dias()) : -1;
}

CTQDma& CTQDma::SomaDias(long nDias) {
    if (IsValida())
        DefineDias(Dias() + nDias);
    return *this;
}

CTQDma& CTQDma::SomaMeses(int nMeses) {
    if (!IsValida())
        return *this;
    const long long total = static_cast<long long>(GetAno()) * 12 + (GetMes() - 1) + nMeses;
    const long long ano = total >= 0 ? total / 12 : (total - 11) / 12;
    const int mes = static_cast<int>(total - ano * 12) + 1;
    if (ano < 1 || ano > 0xFFFF)
        return *this;
    const int ultimo = tq::detail::DiasNoMes(mes, ano);
    *this = CTQDma(GetDia() < ultimo ? GetDia() : ultimo, mes, static_cast<int>(ano));
    return *this;
}

long CTQDma::DiasDesde(const CTQDma& outra) const {
    return static_cast<long>(Dias() - outra.Dias());
}

CTQString CTQDma::Formata() const {
    CTQString s;
    s.Format("%02d/%02d/%04d", GetDia(), GetMes(), GetAno());
    return s;
}

bool CTQDma::Le(const char* psz, CTQDma& d) {
    int dia = 0, mes = 0, ano = 0;
    if (!psz || std::strlen(psz) != 10 || psz[2] != '/' || psz[5] != '/' || !Digitos(psz, 2, dia) ||
        !Digitos(psz + 3, 2, mes) || !Digitos(psz + 6, 4, ano))
        return false;
    const CTQDma lida(dia, mes, ano);
    if (!lida.IsValida())
        return false;
    d = lida;
    return true;
}
