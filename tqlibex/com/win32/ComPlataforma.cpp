#include "tqlibex/com/AlocadorTarefas.h"
#include "tqlibex/com/PrimitivaCom.h"

#include <WinApi.h>

#include <cstdint>
#include <cstring>
#include <mutex>

namespace {

tq::IEspiaAlocador* EspiaInstalada() {
    return tq::detail::Instalado<tq::IEspiaAlocador>().load(std::memory_order_acquire);
}

// ole32's task allocator tells this spy about every block; it passes them on to the spy a scope
// installed, if any. Sizes travel from the Pre to the Post call of the same thread.
class CEspiaOle final : public IMallocSpy {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
        if (!ppv)
            return E_POINTER;
        if (riid == __uuidof(IUnknown) || riid == __uuidof(IMallocSpy)) {
            *ppv = static_cast<IMallocSpy*>(this);
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    // Registered once for the life of the process.
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    SIZE_T STDMETHODCALLTYPE PreAlloc(SIZE_T cbRequest) override {
        t_cb = cbRequest;
        return cbRequest;
    }
    void* STDMETHODCALLTYPE PostAlloc(void* pActual) override {
        if (pActual)
            if (tq::IEspiaAlocador* espia = EspiaInstalada())
                espia->Alocou(pActual, t_cb);
        return pActual;
    }
    void* STDMETHODCALLTYPE PreFree(void* pRequest, BOOL) override {
        if (pRequest)
            if (tq::IEspiaAlocador* espia = EspiaInstalada())
                espia->Liberou(pRequest);
        return pRequest;
    }
    void STDMETHODCALLTYPE PostFree(BOOL) override {}
    SIZE_T STDMETHODCALLTYPE PreRealloc(void* pRequest, SIZE_T cbRequest, void** ppNewRequest,
                                        BOOL) override {
        *ppNewRequest = pRequest;
        t_pAntigo = pRequest;
        t_cb = cbRequest;
        return cbRequest;
    }
    void* STDMETHODCALLTYPE PostRealloc(void* pActual, BOOL) override {
        tq::IEspiaAlocador* espia = EspiaInstalada();
        // A size of 0 frees the old block; a failure (null for a size) leaves it in place.
        if (espia && t_pAntigo && (pActual || t_cb == 0))
            espia->Liberou(t_pAntigo);
        if (espia && pActual)
            espia->Alocou(pActual, t_cb);
        return pActual;
    }
    void* STDMETHODCALLTYPE PreGetSize(void* pRequest, BOOL) override { return pRequest; }
    SIZE_T STDMETHODCALLTYPE PostGetSize(SIZE_T cbActual, BOOL) override { return cbActual; }
    void* STDMETHODCALLTYPE PreDidAlloc(void* pRequest, BOOL) override { return pRequest; }
    int STDMETHODCALLTYPE PostDidAlloc(void*, BOOL, int fActual) override { return fActual; }
    void STDMETHODCALLTYPE PreHeapMinimize() override {}
    void STDMETHODCALLTYPE PostHeapMinimize() override {}

private:
    static thread_local SIZE_T t_cb;
    static thread_local void* t_pAntigo;
};
thread_local SIZE_T CEspiaOle::t_cb = 0;
thread_local void* CEspiaOle::t_pAntigo = nullptr;

} // namespace

namespace tq {

// ole32's allocator is the one every receiver frees with, in this process or another: each block
// is an allocation of its own, behind the heap's own header, so its bytes are copied plainly.
CBlocosEmSerie::~CBlocosEmSerie() = default;

void* CBlocosEmSerie::Aloca(std::size_t cb) {
    return CoTaskMemAlloc(cb);
}

void* CBlocosEmSerie::Copia(const void* pOrigem, std::size_t cb) {
    void* p = CoTaskMemAlloc(cb);
    if (p && cb)
        std::memcpy(p, pOrigem, cb);
    return p;
}

} // namespace tq

namespace tq::detail {

void PreparaEspiaDaPlataforma() {
    static std::once_flag registrada;
    std::call_once(registrada, [] {
        static CEspiaOle espia;
        CoRegisterMallocSpy(&espia);
    });
}

std::size_t TamanhoDoBlocoDeTarefa(const void* pBloco) {
    if (!pBloco)
        return 0;
    IMalloc* pMalloc = nullptr;
    if (FAILED(CoGetMalloc(1, &pMalloc)) || !pMalloc)
        return SIZE_MAX;
    const SIZE_T cb = pMalloc->GetSize(const_cast<void*>(pBloco));
    pMalloc->Release();
    // GetSize answers -1 for what is not one of its blocks.
    return cb == static_cast<SIZE_T>(-1) ? 0 : static_cast<std::size_t>(cb);
}

bool IsWow64(BOOL* pbWow64) {
    *pbWow64 = FALSE;
    using IsWow64ProcessFn = BOOL(WINAPI*)(HANDLE, PBOOL);
    const HMODULE kernel32 = GetModuleHandleA("kernel32");
    const auto pfn = kernel32 ? reinterpret_cast<IsWow64ProcessFn>(reinterpret_cast<void*>(
                                    GetProcAddress(kernel32, "IsWow64Process")))
                              : nullptr;
    // Systems without the function have no WOW64 either.
    return !pfn || pfn(GetCurrentProcess(), pbWow64);
}

std::basic_string<WCHAR> TextoLargo(const char* psz) {
    if (!psz || !*psz)
        return {};
    const int n = MultiByteToWideChar(CP_ACP, 0, psz, -1, nullptr, 0);
    if (n <= 0)
        return {};
    std::basic_string<WCHAR> texto(static_cast<size_t>(n), L'\0');
    MultiByteToWideChar(CP_ACP, 0, psz, -1, texto.data(), n);
    texto.resize(static_cast<size_t>(n - 1));
    return texto;
}

const char* FormatoDoPing() {
    return "ping %s 2>&1";
}

} // namespace tq::detail
