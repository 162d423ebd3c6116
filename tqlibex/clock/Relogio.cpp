#include "tqlibex/clock/Relogio.h"

#include "tqlibex/diagnostics/TraceHResult.h"
#include "tqlibex/registry/Registro.h"

#include <cstdio>

namespace tq {

namespace {

constexpr const char* kChaveAmbiente =
    "SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
constexpr const char* kValorRelogio = "TQ_DATETIME";
constexpr const char* kTextoPadrao = "0;00/00/0000;00:00:00:0000;00/00/0000;00:00:00:0000";
constexpr const char* kChaveTeste = "SOFTWARE\\PTA\\";
constexpr const char* kValorTeste = "Env_PTA";

// The process-wide cache of the setting. bReler starts true and, at the first reading, becomes
// whether the machine is test-marked: only a marked machine reads the setting again.
std::mutex g_mutexConfiguracao;
CTQString g_sConfiguracao;
bool g_bReler = true;
CTQString g_sUltimaRecusada; // the last bad setting written to the trace

// A setting naming a day or time that does not exist is not an error: the real clock is used, and
// the setting goes to the trace once, so that a tester sees why the clock is not shifted.
void ReportaConfiguracaoRecusada(const CTQString& texto) {
    {
        std::lock_guard lock(g_mutexConfiguracao);
        if (texto == g_sUltimaRecusada)
            return;
        g_sUltimaRecusada = texto;
    }
    GravaTrace(nullptr, "GetCurrentTime_LocalFileTime", "Relogio", __LINE__,
               "TQ_DATETIME \"%s\" ignorado: data ou hora inexistente; vale o rel\xF3gio real",
               texto.GetString());
}

// The moment of seven parts of the setting (day, month, year, hour, minute, second, ms). A part
// too wide for its 16-bit field names no moment: cut to 16 bits it would name another one.
bool MomentoDaConfiguracao(const long long* n, FILETIME& ft) {
    for (int i = 0; i < 7; ++i)
        if (n[i] < 0 || n[i] > 0xFFFF)
            return false;
    const SYSTEMTIME st = Momento(static_cast<unsigned>(n[0]), static_cast<unsigned>(n[1]),
                                  static_cast<unsigned>(n[2]), static_cast<unsigned>(n[3]),
                                  static_cast<unsigned>(n[4]), static_cast<unsigned>(n[5]),
                                  static_cast<unsigned>(n[6]));
    return SystemTimeToFileTime(&st, &ft) != 0;
}

bool MaquinaDeTeste(IRegistro& registro) {
    for (ERaizRegistro raiz : {ERaizRegistro::LocalMachine, ERaizRegistro::CurrentUser}) {
        DWORD marca = 0;
        if (registro.LeDword(raiz, kChaveTeste, kValorTeste, true, marca) && marca == 1)
            return true;
    }
    return false;
}

CTQString CarregaConfiguracao() {
    std::lock_guard lock(g_mutexConfiguracao);
    if (!g_bReler)
        return g_sConfiguracao;
    IRegistro& registro = RegistroAtual();
    if (g_sConfiguracao.IsEmpty())
        g_bReler = MaquinaDeTeste(registro);
    if (!registro.LeTexto(ERaizRegistro::LocalMachine, kChaveAmbiente, kValorRelogio, false,
                          g_sConfiguracao))
        g_sConfiguracao = kTextoPadrao;
    return g_sConfiguracao;
}

} // namespace

SYSTEMTIME Momento(unsigned dia, unsigned mes, unsigned ano, unsigned hora, unsigned minuto,
                   unsigned segundo, unsigned ms) {
    SYSTEMTIME st{};
    st.wYear = static_cast<WORD>(ano);
    st.wMonth = static_cast<WORD>(mes);
    st.wDay = static_cast<WORD>(dia);
    st.wHour = static_cast<WORD>(hora);
    st.wMinute = static_cast<WORD>(minuto);
    st.wSecond = static_cast<WORD>(segundo);
    st.wMilliseconds = static_cast<WORD>(ms);
    return st;
}

IRelogioReal& RelogioAtual() {
    return EmUso(RelogioDaPlataforma());
}

CRelogioAjustavel::CRelogioAjustavel(const SYSTEMTIME& local, LONG nBiasMinutos) {
    Define(local, nBiasMinutos);
}

void CRelogioAjustavel::Define(const SYSTEMTIME& local, LONG nBiasMinutos) {
    const ULONGLONG ticks = Ticks(Helper_SystemTimeToFileTime(local));
    std::lock_guard lock(m_mutex);
    m_local = ticks;
    m_bias = static_cast<LONGLONG>(nBiasMinutos) * 60 * static_cast<LONGLONG>(kTicksPorSegundo);
}

void CRelogioAjustavel::Avanca(ULONGLONG ticks) {
    std::lock_guard lock(m_mutex);
    m_local += ticks;
}

FILETIME CRelogioAjustavel::AgoraLocal() {
    std::lock_guard lock(m_mutex);
    return FileTimeDeTicks(m_local);
}

FILETIME CRelogioAjustavel::AgoraUtc() {
    std::lock_guard lock(m_mutex);
    return FileTimeDeTicks(m_local + static_cast<ULONGLONG>(m_bias));
}

bool CRelogioAjustavel::LocalParaUtc(const FILETIME& local, FILETIME& utc) {
    std::lock_guard lock(m_mutex);
    utc = FileTimeDeTicks(Ticks(local) + static_cast<ULONGLONG>(m_bias));
    return true;
}

namespace detail {

CTQString ConfiguracaoDoRelogio() {
    return CarregaConfiguracao();
}

void EsqueceConfiguracaoDoRelogio() {
    std::lock_guard lock(g_mutexConfiguracao);
    g_sConfiguracao.Empty();
    g_sUltimaRecusada.Empty();
    g_bReler = true;
}

} // namespace detail

} // namespace tq

FILETIME Helper_SystemTimeToFileTime(const SYSTEMTIME& st) {
    FILETIME ft;
    if (!SystemTimeToFileTime(&st, &ft))
        throw new CTQException(GetLastError(), "Helper_SystemTimeToFileTime: SystemTimeToFileTime");
    return ft;
}

FILETIME GetCurrentTime_LocalFileTime() {
    const FILETIME real = tq::RelogioAtual().AgoraLocal();
    const CTQString texto = tq::CarregaConfiguracao();
    // Read wide and signed, so that no part wraps into a valid-looking one.
    long long n[15] = {};
    const int lidos = std::sscanf(texto,
                                  "%lld;%lld/%lld/%lld;%lld:%lld:%lld:%lld;%lld/%lld/%lld;%lld:"
                                  "%lld:%lld:%lld",
                                  &n[0], &n[1], &n[2], &n[3], &n[4], &n[5], &n[6], &n[7], &n[8],
                                  &n[9], &n[10], &n[11], &n[12], &n[13], &n[14]);
    if (lidos != 15 || n[0] == 0)
        return real;
    FILETIME referencia, simulado;
    if (!tq::MomentoDaConfiguracao(n + 8, referencia) ||
        !tq::MomentoDaConfiguracao(n + 1, simulado)) {
        tq::ReportaConfiguracaoRecusada(texto);
        return real;
    }
    // Unsigned arithmetic: a reference in the future makes the difference wrap and come back.
    return tq::FileTimeDeTicks(tq::Ticks(simulado) + (tq::Ticks(real) - tq::Ticks(referencia)));
}

SYSTEMTIME GetCurrentTime_LocalTime() {
    const FILETIME ft = GetCurrentTime_LocalFileTime();
    SYSTEMTIME st;
    if (!FileTimeToSystemTime(&ft, &st))
        throw new CTQException(GetLastError(), "GetCurrentTime_LocalTime: FileTimeToSystemTime");
    return st;
}

FILETIME GetCurrentTime_SystemTimeAsFileTime() {
    const FILETIME local = GetCurrentTime_LocalFileTime();
    FILETIME utc;
    if (!tq::RelogioAtual().LocalParaUtc(local, utc))
        throw new CTQException(GetLastError(),
                               "GetCurrentTime_SystemTimeAsFileTime: LocalFileTimeToFileTime");
    return utc;
}

SYSTEMTIME GetCurrentTime_SystemTime() {
    const FILETIME ft = GetCurrentTime_SystemTimeAsFileTime();
    SYSTEMTIME st;
    if (!FileTimeToSystemTime(&ft, &st))
        throw new CTQException(GetLastError(), "GetCurrentTime_SystemTime: FileTimeToSystemTime");
    return st;
}
