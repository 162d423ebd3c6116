// ITQUnknown as POSIX builds declare it; Windows builds generate the same declaration from
// servers/TQUnknown.idl. Every business-server interface derives from it.
#pragma once

#include <ComApi.h>

struct ITQUnknown : public IUnknown {
    // Answers whether the server is alive and well; the keep-alive threads ask it every two
    // minutes, which also keeps the server's idle timeout from ending it.
    virtual HRESULT STDMETHODCALLTYPE KeepAlive(BOOL* pbOK) = 0;

protected:
    ~ITQUnknown() = default;
};
__CRT_UUID_DECL(ITQUnknown, 0x6A3C1F20, 0x8E4B, 0x4C7D, 0x9B, 0x21, 0x5F, 0x0E, 0x7A, 0x9C, 0x4D,
                0x11)
