// A first station in C++ without any header of the component: by name, as scripts do it.
//
//   late_bound.exe [port number]
#include <ole2.h>
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <iterator>
#include <vector>

namespace {

int failures = 0;

VARIANT number(LONG value) {
    VARIANT variant;
    VariantInit(&variant);
    V_VT(&variant) = VT_I4;
    V_I4(&variant) = value;
    return variant;
}

VARIANT reference(VARIANT& value) {
    VARIANT variant;
    VariantInit(&variant);
    V_VT(&variant) = VT_VARIANT | VT_BYREF;
    V_VARIANTREF(&variant) = &value;
    return variant;
}

// Arguments in natural order; the result's number, or the call's error.
LONG call(IDispatch* object, const wchar_t* name, std::initializer_list<VARIANT> arguments,
          WORD kind = DISPATCH_METHOD) {
    DISPID id = 0;
    LPOLESTR names = const_cast<LPOLESTR>(name);
    HRESULT outcome = object->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(outcome)) return outcome;
    std::vector<VARIANT> lastFirst(std::rbegin(arguments), std::rend(arguments));
    DISPID put = DISPID_PROPERTYPUT;
    DISPPARAMS parameters{lastFirst.data(), nullptr, static_cast<UINT>(lastFirst.size()), 0};
    if (kind == DISPATCH_PROPERTYPUT) {
        parameters.rgdispidNamedArgs = &put;
        parameters.cNamedArgs = 1;
    }
    VARIANT result;
    VariantInit(&result);
    outcome = object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, kind, &parameters, &result, nullptr, nullptr);
    return FAILED(outcome) ? outcome : V_VT(&result) == VT_I4 ? V_I4(&result) : 0;
}

void step(const char* what, LONG got, LONG expected, const wchar_t* detail = L"") {
    std::printf("  %s  %s: 0x%lX %ls\n", got == expected ? "pass" : "FAIL", what, static_cast<unsigned long>(got),
                detail);
    failures += got != expected;
}

void drive(IDispatch* handset, LONG port) {
    VARIANT code;
    VARIANT length;
    VARIANT error;
    VARIANT remained;
    VARIANT text;
    for (VARIANT* variable : {&code, &length, &error, &remained, &text}) VariantInit(variable);

    call(handset, L"CommPortId", {number(port)}, DISPATCH_PROPERTYPUT);
    call(handset, L"InitCmdManager", {number(0), reference(code)});
    step("open the port", V_I4(&code), 0);
    VARIANT command;
    V_VT(&command) = VT_BSTR;
    V_BSTR(&command) = SysAllocString(L"AT+CGMI");
    step("an AT command is sent", call(handset, L"SendNormalAtCmd", {number(0), command}), 0);
    VariantClear(&command);
    Sleep(300);
    const LONG collected = call(handset, L"GetNormalAtResult", {number(2), reference(length), reference(text)});
    step("its answer", collected, 0, V_BSTR(&text));

    call(handset, L"SwitchOperateMode", {number(3), number(0), reference(code)});
    call(handset, L"RfGeneralTestReq", {number(5), number(0x0102), reference(code)});
    step("RF test", V_I4(&code), 0);
    call(handset, L"FetchQueuedCnfTextItem",
         {reference(remained), reference(length), reference(error), reference(text)});
    step("its confirmation", V_I4(&length), 8, V_BSTR(&text));
    step("no such object", call(handset, L"ReadE2PObject", {number(0x7777), number(1), reference(text)}), 0x8202);
    step("a missing argument", call(handset, L"SendNormalAtCmd", {}), DISP_E_PARAMNOTOPTIONAL);
    step("close the port", call(handset, L"ProprietaryCloseComPort", {number(0)}), 0);
    VariantClear(&text);
}

}  // namespace

int main(int argc, char** argv) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    CLSID id;
    IDispatch* handset = nullptr;
    HRESULT created = CLSIDFromProgID(L"MovaCmdSvr.VeCmdManager", &id);
    if (SUCCEEDED(created)) {
        created =
            CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, reinterpret_cast<void**>(&handset));
    }
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
