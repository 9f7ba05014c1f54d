#include "component/automation/Registration.h"

#include <string>

#include "component/automation/Bstr.h"
#include "component/automation/Module.h"

namespace mova {

namespace {

#ifdef _WIN64
constexpr SYSKIND kSystem = SYS_WIN64;
#else
constexpr SYSKIND kSystem = SYS_WIN32;
#endif
constexpr WORD kMajor = 1;
constexpr WORD kMinor = 0;
constexpr LCID kLocale = 0x409;

constexpr wchar_t kVersionedProgId[] = L"MovaCmdSvr.VeCmdManager.1";
constexpr wchar_t kProgId[] = L"MovaCmdSvr.VeCmdManager";
constexpr wchar_t kClassName[] = L"VeCmdManager Class";

std::wstring textOf(REFGUID id) {
    wchar_t text[40];
    StringFromGUID2(id, text, static_cast<int>(std::size(text)));
    return text;
}

std::wstring classKey() { return L"CLSID\\" + textOf(__uuidof(VeCmdManager)); }

HRESULT write(const std::wstring& key, const wchar_t* name, const std::wstring& value) {
    const auto bytes = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
    return HRESULT_FROM_WIN32(
        static_cast<DWORD>(RegSetKeyValueW(HKEY_CLASSES_ROOT, key.c_str(), name, REG_SZ, value.c_str(), bytes)));
}

HRESULT createEmpty(const std::wstring& key) {
    HKEY opened = nullptr;
    const LSTATUS result =
        RegCreateKeyExW(HKEY_CLASSES_ROOT, key.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &opened, nullptr);
    if (result == ERROR_SUCCESS) RegCloseKey(opened);
    return HRESULT_FROM_WIN32(static_cast<DWORD>(result));
}

// A key that is not there is removed already.
HRESULT remove(const std::wstring& key) {
    const LSTATUS result = RegDeleteTreeW(HKEY_CLASSES_ROOT, key.c_str());
    return HRESULT_FROM_WIN32(result == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : static_cast<DWORD>(result));
}

HRESULT writeEntries() {
    const std::wstring path = modulePath();
    if (path.empty()) return HRESULT_FROM_WIN32(GetLastError());
    const std::wstring classId = textOf(__uuidof(VeCmdManager));
    const std::wstring key = classKey();
    const std::wstring versioned = kVersionedProgId;
    const std::wstring general = kProgId;
    HRESULT result = remove(key);  // replaced whole: nothing of an older registration stays
    if (SUCCEEDED(result)) result = createEmpty(key + L"\\Programmable");
    const struct {
        std::wstring key;
        const wchar_t* name;
        std::wstring value;
    } entries[] = {
        {versioned, nullptr, kClassName},
        {versioned + L"\\CLSID", nullptr, classId},
        {general, nullptr, kClassName},
        {general + L"\\CLSID", nullptr, classId},
        {general + L"\\CurVer", nullptr, versioned},
        {key, nullptr, kClassName},
        {key + L"\\ProgID", nullptr, versioned},
        {key + L"\\VersionIndependentProgID", nullptr, general},
        {key + L"\\InprocServer32", nullptr, path},
        {key + L"\\InprocServer32", L"ThreadingModel", L"Apartment"},
        {key + L"\\TypeLib", nullptr, textOf(LIBID_MOVACMDSVRLib)},
    };
    for (const auto& entry : entries) {
        if (SUCCEEDED(result)) result = write(entry.key, entry.name, entry.value);
    }
    return result;
}

}  // namespace

HRESULT registerComponent() {
    HRESULT result = writeEntries();
    ComPtr<ITypeLib> library;
    if (SUCCEEDED(result)) result = loadTypeLibrary(library);
    if (SUCCEEDED(result)) result = RegisterTypeLib(library.get(), modulePath().data(), nullptr);
    return result;
}

HRESULT unregisterComponent() {
    HRESULT result = remove(classKey());
    if (SUCCEEDED(result)) result = remove(kVersionedProgId);
    if (SUCCEEDED(result)) result = remove(kProgId);
    if (FAILED(result)) return result;
    // A library that is not registered is unregistered already; the systems refuse it with different codes.
    BSTR path = nullptr;
    result = QueryPathOfRegTypeLib(LIBID_MOVACMDSVRLib, kMajor, kMinor, kLocale, &path);
    const Bstr owned(path);
    if (result == TYPE_E_LIBNOTREGISTERED) return S_OK;
    result = UnRegisterTypeLib(LIBID_MOVACMDSVRLib, kMajor, kMinor, kLocale, kSystem);
    return result == TYPE_E_REGISTRYACCESS ? S_OK : result;  // registered for another language or system only
}

}  // namespace mova
