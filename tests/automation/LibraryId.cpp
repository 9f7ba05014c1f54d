#include "platform/win32/WindowsApi.h"

#include <ole2.h>

#include <initguid.h>

#include "MovaCmdSvr.h"
