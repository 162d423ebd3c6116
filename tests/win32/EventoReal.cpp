// Reports through the real Windows event log. Wine's event log stores nothing, but with
// WINEDEBUG=err+eventlog it prints error-type events on stderr, which the test reads back.
#include <tqge.h>

int main() {
    const GUID clsid = {
        0x11111111, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55}};
    ReportaEventoCom(clsid, static_cast<HRESULT>(0x800706BA), EVENTLOG_ERROR_TYPE,
                     "\n\nErro instanciando servidor");
    return 0;
}
