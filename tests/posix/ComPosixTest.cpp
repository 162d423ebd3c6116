// The POSIX side of COM access: the class table, apartments, thread queues and timers (the COM
// access tests run the keep-alive path over them).
#include "tqlibex/TQComPtr.h"

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

TEST(ComPosix, MensagensETimersDeThread) {
    HANDLE hPronto = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    struct Estado {
        HANDLE hPronto;
        std::vector<UINT> vistas;
        int nTicks = 0;
    } estado{hPronto, {}};
    DWORD dwId = 0;
    HANDLE hThread = CreateThread(
        nullptr, 0,
        [](LPVOID p) -> DWORD {
            auto& e = *static_cast<Estado*>(p);
            MSG msg;
            PeekMessageA(&msg, nullptr, WM_USER, WM_USER, PM_NOREMOVE);
            SetEvent(e.hPronto);
            UINT_PTR idTimer = 0;
            while (GetMessageA(&msg, nullptr, 0, 0)) {
                e.vistas.push_back(msg.message);
                if (msg.message == WM_USER + 1)
                    idTimer = SetTimer(nullptr, 0, 1, nullptr);
                if (msg.message == WM_TIMER && msg.wParam == idTimer && ++e.nTicks == 3) {
                    KillTimer(nullptr, idTimer);
                    PostThreadMessageA(GetCurrentThreadId(), WM_QUIT, 0, 0);
                }
            }
            return 0;
        },
        &estado, 0, &dwId);
    ASSERT_NE(hThread, nullptr);
    EXPECT_EQ(WaitForSingleObject(hPronto, 5000), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(hThread, 0), WAIT_TIMEOUT);
    ASSERT_TRUE(PostThreadMessageA(dwId, WM_USER + 1, 0, 0));
    ASSERT_EQ(WaitForSingleObject(hThread, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(estado.vistas, std::vector<UINT>({WM_USER + 1, WM_TIMER, WM_TIMER, WM_TIMER}))
        << "a thread timer ticks until killed, and the quit ends the loop";
    EXPECT_FALSE(PostThreadMessageA(dwId, WM_USER, 0, 0)) << "an ended thread has no queue";
    EXPECT_EQ(GetLastError(), ERROR_INVALID_THREAD_ID);
    EXPECT_TRUE(CloseHandle(hThread));
    EXPECT_TRUE(CloseHandle(hPronto));
    EXPECT_FALSE(KillTimer(nullptr, 12345));
}
