// Proleptic Gregorian calendar arithmetic on day counts (day 0 = 1970-01-01), for the date types
// and the POSIX time conversions.
#pragma once

namespace tq::detail {

constexpr bool EhBissexto(long long ano) {
    return (ano % 4 == 0 && ano % 100 != 0) || ano % 400 == 0;
}

constexpr int DiasNoMes(int mes, long long ano) {
    constexpr int dias[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return mes == 2 && EhBissexto(ano) ? 29 : dias[mes - 1];
}

// Days from 1970-01-01 to the date. Years are counted from March, so that the leap day falls at
// the end of the counting year; 400 years make 146,097 days.
constexpr long long DiasDaData(long long ano, int mes, int dia) {
    ano -= mes <= 2 ? 1 : 0;
    const long long era = (ano >= 0 ? ano : ano - 399) / 400;
    const long long anoDaEra = ano - era * 400;                                         // 0..399
    const long long diaDoAno = (153 * (mes > 2 ? mes - 3 : mes + 9) + 2) / 5 + dia - 1; // 0..365
    const long long diaDaEra = anoDaEra * 365 + anoDaEra / 4 - anoDaEra / 100 + diaDoAno;
    return era * 146097 + diaDaEra - 719468; // 719,468 days from 0000-03-01 to 1970-01-01
}

constexpr void DataDosDias(long long dias, long long& ano, int& mes, int& dia) {
    dias += 719468;
    const long long era = (dias >= 0 ? dias : dias - 146096) / 146097;
    const long long diaDaEra = dias - era * 146097; // 0..146096
    const long long anoDaEra =
        (diaDaEra - diaDaEra / 1460 + diaDaEra / 36524 - diaDaEra / 146096) / 365;
    const long long diaDoAno = diaDaEra - (365 * anoDaEra + anoDaEra / 4 - anoDaEra / 100);
    const long long mp = (5 * diaDoAno + 2) / 153; // month from March, 0..11
    dia = static_cast<int>(diaDoAno - (153 * mp + 2) / 5 + 1);
    mes = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    ano = anoDaEra + era * 400 + (mes <= 2 ? 1 : 0);
}

// 0 = Sunday, as SYSTEMTIME counts (1970-01-01 was a Thursday).
constexpr int DiaDaSemana(long long dias) {
    const long long r = (dias + 4) % 7;
    return static_cast<int>(r < 0 ? r + 7 : r);
}

} // namespace tq::detail
