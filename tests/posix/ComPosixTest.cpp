// The POSIX side of COM access: the class table and apartments (the COM access tests run the
// keep-alive path over its marshalling, thread queues and timers).
#include "tqlibex/com/TQComPtr.h"

#include "fakes/ComFalso.h"

#include <gtest/gtest.h>

namespace {

const GUID kClsid = {0x22222222, 0x2222, 0x3333, {0x44, 0x44, 0x55, 0x55, 0x55, 0x55, 0x55, 0x66}};

class Apartamento {
public:
    Apartamento() { EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK); }
    ~Apartamento() { CoUninitialize(); }
};

} // namespace

TEST(ComPosix, TabelaDeClasses) {
    Apartamento apartamento;
    tq::teste::CServidorFalso servidor;
    tq::teste::CFabricaFalsa fabrica(servidor);
    IID iid = __uuidof(ITQTeste);
    MULTI_QI mqi = {&iid, nullptr, S_OK};
    EXPECT_EQ(CoCreateInstanceEx(kClsid, nullptr, CLSCTX_ALL, nullptr, 1, &mqi),
              REGDB_E_CLASSNOTREG);

    DWORD dwCookie = 0;
    ASSERT_EQ(
        CoRegisterClassObject(kClsid, &fabrica, CLSCTX_LOCAL_SERVER, REGCLS_MULTIPLEUSE, &dwCookie),
        S_OK);
    EXPECT_EQ(fabrica.Referencias(), 2u) << "the table holds the factory";
    ASSERT_EQ(CoCreateInstanceEx(kClsid, nullptr, CLSCTX_ALL, nullptr, 1, &mqi), S_OK);
    EXPECT_EQ(mqi.hr, S_OK);
    EXPECT_EQ(mqi.pItf, static_cast<IUnknown*>(static_cast<ITQTeste*>(&servidor)));
    mqi.pItf->Release();

    IID iids[2] = {__uuidof(ITQTeste), __uuidof(IClassFactory)};
    MULTI_QI dois[2] = {{&iids[0], nullptr, S_OK}, {&iids[1], nullptr, S_OK}};
    EXPECT_EQ(CoCreateInstanceEx(kClsid, nullptr, CLSCTX_ALL, nullptr, 2, dois),
              CO_S_NOTALLINTERFACES);
    EXPECT_EQ(dois[1].hr, E_NOINTERFACE);
    EXPECT_EQ(dois[1].pItf, nullptr);
    dois[0].pItf->Release();

    EXPECT_EQ(CoCreateInstanceEx(kClsid, &servidor, CLSCTX_ALL, nullptr, 1, &mqi),
              CLASS_E_NOAGGREGATION);
    // Marshalling hands the pointer over (the COM access tests pass it to their threads), and
    // refuses an interface the object lacks.
    IStream* pStream = nullptr;
    EXPECT_EQ(CoMarshalInterThreadInterfaceInStream(__uuidof(IClassFactory), &servidor, &pStream),
              E_NOINTERFACE);
    EXPECT_EQ(pStream, nullptr);
    EXPECT_EQ(CoRevokeClassObject(dwCookie), S_OK);
    EXPECT_EQ(CoRevokeClassObject(dwCookie), CO_E_OBJNOTREG);
    EXPECT_EQ(fabrica.Referencias(), 1u);
    EXPECT_EQ(CoCreateInstanceEx(kClsid, nullptr, CLSCTX_ALL, nullptr, 1, &mqi),
              REGDB_E_CLASSNOTREG);
    EXPECT_EQ(servidor.Referencias(), 1u);
}

TEST(ComPosix, ApartamentosComoNoWindows) {
    IID iid = __uuidof(IUnknown);
    MULTI_QI mqi = {&iid, nullptr, S_OK};
    EXPECT_EQ(CoCreateInstanceEx(kClsid, nullptr, CLSCTX_ALL, nullptr, 1, &mqi),
              CO_E_NOTINITIALIZED);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_FALSE);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), RPC_E_CHANGED_MODE);
    CoUninitialize();
    CoUninitialize();
    EXPECT_EQ(CoCreateInstanceEx(kClsid, nullptr, CLSCTX_ALL, nullptr, 1, &mqi),
              CO_E_NOTINITIALIZED);
}

// Thread queues and timers carry the keep-alive threads of the COM access tests; what those do
// not reach: posting to a thread with no queue, killing a timer that is not there.
TEST(ComPosix, MensagensSemFila) {
    EXPECT_FALSE(PostThreadMessageA(0x7FFFFFF0, WM_USER, 0, 0));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_THREAD_ID));
    EXPECT_FALSE(KillTimer(nullptr, 12345));
}
