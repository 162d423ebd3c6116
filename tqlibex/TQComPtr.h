// COM access: the one place where the library creates business-server objects. (Work in progress:
// the switches, the creation flags and the remote server lookup are here; activation with retry,
// the proxy blanket and the keep-alive threads follow.)
#pragma once

#include "tqlibex/TQString.h"
#include "tqlibex/WinTypes.h"

// When true, COM calls are made without authentication; otherwise with Windows authentication.
extern bool g_bSemAutenticacao;
// When true, no keep-alive thread is ever started.
extern bool g_bSemKeepAlive;

// Flags of a creation. The connection classes always pass both.
enum ETQComPtrFlags : unsigned {
    eTQCCI_LOG_FAILURE = 1, // report failures to the event log
    eTQCCI_RETRY = 2,       // retry while the server machine answers RPC server unavailable
};

constexpr ETQComPtrFlags operator|(ETQComPtrFlags a, ETQComPtrFlags b) {
    return static_cast<ETQComPtrFlags>(static_cast<unsigned>(a) | static_cast<unsigned>(b));
}

namespace tq {

// The machine a class's server runs on: HKCR "CLSID\{...}" value "AppID", then HKCR
// "AppID\{...}" value "RemoteServerName". Empty for a local server (or any missing step).
CTQString NomeDoServidorRemoto(REFCLSID clsid);

} // namespace tq
