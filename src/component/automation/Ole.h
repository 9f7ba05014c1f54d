// The system's automation headers and the interfaces of this component, as the IDL compiler wrote them.
#pragma once
// The order matters.
// clang-format off
#include "platform/win32/WindowsApi.h"

#include <ole2.h>
#include <oleauto.h>
#include <olectl.h>

#include "MovaCmdSvr.h"
// clang-format on
