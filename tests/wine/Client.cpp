#include "Client.h"

#include <tlhelp32.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace mova::test {

std::string environment(const char* name) {
    const char* const value = std::getenv(name);
    if (!value) ADD_FAILURE() << name << " is not set";
    return value ? value : "";
}

namespace {
int portNamed(const char* name) { return std::atoi(environment(name).c_str()); }
}  // namespace

int linePort() { return portNamed("MOVA_LINE_PORT"); }
int fastPort() { return portNamed("MOVA_FAST_PORT"); }
int spareFastPort() { return portNamed("MOVA_SPARE_FAST_PORT"); }

std::wstring dllPath() {
    const std::string path = environment("MOVA_DLL");
    return {path.begin(), path.end()};
}

Variant Variant::typed(VARTYPE type, long long bits) {
    Variant variant;
    V_VT(&variant.value_) = type;
    V_I8(&variant.value_) = bits;
    return variant;
}

Variant Variant::missing() {
    Variant variant;
    V_VT(&variant.value_) = VT_ERROR;
    V_ERROR(&variant.value_) = DISP_E_PARAMNOTFOUND;
    return variant;
}

Variant Variant::byteArray(const std::string& bytes, VARTYPE element) {
    const std::size_t width = element == VT_UI2 ? 2 : 1;
    SAFEARRAY* const array = SafeArrayCreateVector(element, 0, static_cast<ULONG>(bytes.size() / width));
    std::memcpy(array->pvData, bytes.data(), bytes.size());
    Variant variant;
    V_VT(&variant.value_) = VT_ARRAY | element;
    V_ARRAY(&variant.value_) = array;
    return variant;
}

Variant Variant::byteTable(const std::string& bytes, ULONG rows) {
    SAFEARRAYBOUND bounds[] = {{rows, 1}, {static_cast<ULONG>(bytes.size()) / rows, 1}};
    SAFEARRAY* const array = SafeArrayCreate(VT_UI1, 2, bounds);
    std::memcpy(array->pvData, bytes.data(), bytes.size());
    Variant variant;
    V_VT(&variant.value_) = VT_ARRAY | VT_UI1;
    V_ARRAY(&variant.value_) = array;
    return variant;
}

Variant Variant::scriptArray(const std::vector<Variant>& elements) {
    SAFEARRAY* const array = SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(elements.size()));
    for (LONG i = 0; i < static_cast<LONG>(elements.size()); ++i) {
        SafeArrayPutElement(array, &i, const_cast<VARIANT*>(&elements[static_cast<std::size_t>(i)].raw()));
    }
    Variant variant;
    V_VT(&variant.value_) = VT_ARRAY | VT_VARIANT;
    V_ARRAY(&variant.value_) = array;
    return variant;
}

std::int32_t Variant::number() const {
    EXPECT_EQ(type(), VT_I4);
    return V_I4(&value_);
}

std::wstring Variant::text() const {
    EXPECT_EQ(type(), VT_BSTR);
    if (type() != VT_BSTR) return {};
    return {V_BSTR(&value_), SysStringLen(V_BSTR(&value_))};
}

std::string Variant::bytes() const {
    if (type() == VT_BSTR) return {reinterpret_cast<const char*>(V_BSTR(&value_)), SysStringByteLen(V_BSTR(&value_))};
    const SAFEARRAY* const array = V_ARRAY(&value_);
    return {static_cast<const char*>(array->pvData), array->rgsabound[0].cElements * array->cbElements};
}

VARIANT variable(Variant& variable) { return reference(VT_VARIANT, &variable.raw()); }

VARIANT reference(VARTYPE type, void* data) {
    VARIANT variant;
    VariantInit(&variant);
    V_VT(&variant) = type | VT_BYREF;
    V_BYREF(&variant) = data;
    return variant;
}

namespace {

Outcome invoke(IDispatch* object, DISPID id, DISPPARAMS parameters, WORD flags) {
    Outcome outcome;
    EXCEPINFO exception{};
    outcome.result = object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &parameters, &outcome.value.raw(),
                                    &exception, &outcome.wrongArgument);
    outcome.raised = exception.scode;
    for (const BSTR text : {exception.bstrSource, exception.bstrDescription, exception.bstrHelpFile}) {
        SysFreeString(text);
    }
    return outcome;
}

}  // namespace

Outcome call(IDispatch* object, DISPID id, std::vector<VARIANT> arguments, WORD flags) {
    std::vector<VARIANT> lastFirst(arguments.rbegin(), arguments.rend());
    DISPID put = DISPID_PROPERTYPUT;
    DISPPARAMS parameters{lastFirst.data(), nullptr, static_cast<UINT>(lastFirst.size()), 0};
    if (flags == DISPATCH_PROPERTYPUT) {
        parameters.rgdispidNamedArgs = &put;
        parameters.cNamedArgs = 1;
    }
    return invoke(object, id, parameters, flags);
}

Outcome call(IDispatch* object, const wchar_t* name, std::vector<VARIANT> arguments, WORD flags) {
    return call(object, idOf(object, name), std::move(arguments), flags);
}

Outcome callNamed(IDispatch* object, DISPID id, std::vector<std::pair<DISPID, VARIANT>> arguments) {
    std::vector<VARIANT> values;
    std::vector<DISPID> ids;
    for (auto& [index, value] : arguments) {
        ids.push_back(index);
        values.push_back(value);
    }
    return invoke(object, id,
                  {values.data(), ids.data(), static_cast<UINT>(values.size()), static_cast<UINT>(ids.size())},
                  DISPATCH_METHOD);
}

DISPID idOf(IDispatch* object, const wchar_t* name) {
    DISPID id = DISPID_UNKNOWN;
    LPOLESTR names = const_cast<LPOLESTR>(name);
    object->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id);
    return id;
}

ComPtr<IVeCmdManager> makeManager() {
    CLSID id;
    EXPECT_EQ(CLSIDFromProgID(L"MovaCmdSvr.VeCmdManager", &id), S_OK);
    ComPtr<IVeCmdManager> manager;
    EXPECT_EQ(CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IVeCmdManager),
                               reinterpret_cast<void**>(manager.receive())),
              S_OK);
    return manager;
}

ComPtr<IVeCmdManager> openManager(int port) {
    ComPtr<IVeCmdManager> manager = makeManager();
    EXPECT_EQ(manager->put_CommPortId(port), S_OK);
    ULONG code = 1;
    EXPECT_EQ(manager->InitCmdManager(0, &code), S_OK);
    EXPECT_EQ(code, 0u) << "COM" << port;
    return manager;
}

std::wstring exchange(IVeCmdManager* manager, const wchar_t* command) {
    const Text text(command);
    LONG code = -1;
    EXPECT_EQ(manager->SendNormalAtCmd(0, text.get(), &code), S_OK);
    EXPECT_EQ(code, 0);
    std::wstring answer;
    eventually([&] {
        LONG length = 0;
        Text part;
        EXPECT_EQ(manager->GetNormalAtResult(2, &length, part.receive(), &code), S_OK);
        EXPECT_EQ(static_cast<std::size_t>(length), part.wide().size());
        answer += part.wide();
        return answer.find(L"OK") != answer.npos || answer.find(L"ERROR") != answer.npos;
    });
    return answer;
}

std::size_t heapBytes() {
    HANDLE heaps[64];  // the runtime has one of its own
    const DWORD count = GetProcessHeaps(static_cast<DWORD>(std::size(heaps)), heaps);
    EXPECT_LE(count, std::size(heaps));
    std::size_t bytes = 0;
    for (DWORD i = 0; i < count; ++i) {
        PROCESS_HEAP_ENTRY entry{};
        HeapLock(heaps[i]);
        while (HeapWalk(heaps[i], &entry)) {
            if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) bytes += entry.cbData;
        }
        HeapUnlock(heaps[i]);
    }
    return bytes;
}

std::size_t threads() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    std::size_t count = 0;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        count += entry.th32OwnerProcessID == GetCurrentProcessId();
    }
    CloseHandle(snapshot);
    return count;
}

// From the system's list of all.
std::size_t handles() {
    struct Handle {
        ULONG process;
        BYTE type;
        BYTE flags;
        USHORT value;
        void* object;
        ULONG access;
    };
    struct List {
        ULONG count;
        Handle handles[1];
    };
    constexpr ULONG kSystemHandleInformation = 16;
    constexpr LONG kTooSmall = static_cast<LONG>(0xC0000004);
    using Query = LONG(WINAPI*)(ULONG, void*, ULONG, ULONG*);
    const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
    std::vector<std::uint64_t> storage(8192);
    ULONG needed = 0;
    while (query(kSystemHandleInformation, storage.data(), static_cast<ULONG>(storage.size() * 8), &needed) ==
           kTooSmall) {
        storage.resize(storage.size() * 2);
    }
    const List* const list = reinterpret_cast<const List*>(storage.data());
    return static_cast<std::size_t>(std::count_if(list->handles, list->handles + list->count, [](const Handle& handle) {
        return handle.process == GetCurrentProcessId();
    }));
}

bool eventually(const std::function<bool()>& condition, unsigned milliseconds) {
    const ULONGLONG start = GetTickCount64();
    for (;;) {
        if (condition()) return true;
        if (GetTickCount64() - start > milliseconds) return false;
        Sleep(5);
    }
}

}  // namespace mova::test
