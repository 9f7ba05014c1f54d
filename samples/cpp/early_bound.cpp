// A first station in C++ through the interface itself: open, an AT command, a request, a confirmation, an error, close.
// MovaCmdSvr.h comes from the type library (the build writes it; `#import "MovaCmdSvr.dll"` serves as well).
//
//   early_bound.exe [port number]
#include <ole2.h>
#include <windows.h>

#include <cstdio>
#include <cstdlib>

#include "MovaCmdSvr.h"

namespace {

int failures = 0;

void step(const char* what, bool good, unsigned long code, const wchar_t* detail = L"") {
    std::printf("  %s  %s: 0x%lX %ls\n", good ? "pass" : "FAIL", what, code, detail);
    failures += !good;
}

void drive(IVeCmdManager* handset, long port) {
    handset->put_CommPortId(port);
    handset->put_BaudRate(115200);
    ULONG code = 1;
    handset->InitCmdManager(0, &code);
    step("open the port", code == movaCodeSuccess, code);
    if (code != movaCodeSuccess) return;

    LONG result = 1;
    BSTR command = SysAllocString(L"AT+CGMI");
    handset->SendNormalAtCmd(0, command, &result);
    SysFreeString(command);
    Sleep(300);
    LONG length = 0;
    BSTR answer = nullptr;  // GetNormalAtResult frees what is there
    handset->GetNormalAtResult(movaCollectWholeRecord, &length, &answer, &result);
    step("an AT command is answered", result == movaCodeSuccess && length > 0, static_cast<unsigned long>(result),
         answer);
    SysFreeString(answer);

    handset->SwitchOperateMode(movaModeSynchronousOk, 0, &code);  // requests wait for the handset's OK
    handset->RfGeneralTestReq(5, 0x0102, &code);
    step("RF test", code == movaCodeSuccess, code);
    LONG remained = 0;
    LONG error = 0;
    BSTR confirmation = nullptr;
    handset->FetchQueuedCnfTextItem(&remained, &length, &error, &confirmation);
    step("its confirmation", length == 8, 0, confirmation);
    SysFreeString(confirmation);

    BSTR object = nullptr;  // is left alone when the request fails
    const HRESULT read = handset->ReadE2PObject(0x7777, 1, &object, &result);
    step("no such object", read == S_FALSE && result == movaCodeE2pStatus3, static_cast<unsigned long>(result));

    handset->ResetCmdManager(0, &code);
    step("close the port", code == movaCodeSuccess, code);
}

}  // namespace

int main(int argc, char** argv) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    IVeCmdManager* handset = nullptr;
    const HRESULT created = CoCreateInstance(__uuidof(VeCmdManager), nullptr, CLSCTX_INPROC_SERVER,
                                             __uuidof(IVeCmdManager), reinterpret_cast<void**>(&handset));
    if (FAILED(created)) {
        std::printf("the component cannot be created: 0x%lX\n", static_cast<unsigned long>(created));
        return 2;
    }
    drive(handset, argc > 1 ? std::atol(argv[1]) : 1);
    handset->Release();
    CoUninitialize();
    std::printf("VERDICT: %s\n", failures == 0 ? "PASS" : "FAIL");
    return failures == 0 ? 0 : 1;
}
