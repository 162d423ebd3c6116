// COM and the Win32 thread and message API come from the SDK as MinGW-w64 ships it.
#pragma once

#include <WinApi.h>
