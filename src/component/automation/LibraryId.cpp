// Defines the library's id, which the interface header only declares.
// clang-format off
#include "platform/win32/WindowsApi.h"

#include <ole2.h>

// After the headers that only declare ids.
#include <initguid.h>

#include "MovaCmdSvr.h"
// clang-format on
