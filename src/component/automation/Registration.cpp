#include "component/automation/Registration.h"

#include <algorithm>
#include <string>
#include <vector>

#include "component/automation/Bstr.h"
#include "component/automation/Module.h"

// The system has had them since Windows Vista; MinGW's headers lack them.
WINOLEAUTAPI RegisterTypeLibForUser(ITypeLib* library, OLECHAR* path, OLECHAR* help);
WINOLEAUTAPI UnRegisterTypeLibForUser(REFGUID id, WORD major, WORD minor, LCID locale, SYSKIND system);

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

// Where the classes stand. The user's are named from the hive on: only so do 32-bit programs have their own view of them.
struct ClassesRoot {
    HKEY hive;
    std::wstring path;

    std::wstring pathOf(const std::wstring& key) const { return path + key; }
};

ClassesRoot classesOf(RegisteredFor whom) {
    if (whom == RegisteredFor::User) return {HKEY_CURRENT_USER, L"Software\\Classes\\"};
    return {HKEY_CLASSES_ROOT, L""};
}

HRESULT write(const ClassesRoot& classes, const std::wstring& key, const wchar_t* name, const std::wstring& value) {
    const auto bytes = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
    return HRESULT_FROM_WIN32(static_cast<DWORD>(
        RegSetKeyValueW(classes.hive, classes.pathOf(key).c_str(), name, REG_SZ, value.c_str(), bytes)));
}

HRESULT createEmpty(const ClassesRoot& classes, const std::wstring& key) {
    HKEY opened = nullptr;
    const LSTATUS result =
        RegCreateKeyExW(classes.hive, classes.pathOf(key).c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &opened, nullptr);
    if (result == ERROR_SUCCESS) RegCloseKey(opened);
    return HRESULT_FROM_WIN32(static_cast<DWORD>(result));
}

// A key that is not there is removed already.
HRESULT remove(const ClassesRoot& classes, const std::wstring& key) {
    const LSTATUS result = RegDeleteTreeW(classes.hive, classes.pathOf(key).c_str());
    return HRESULT_FROM_WIN32(result == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : static_cast<DWORD>(result));
}

using Names = std::vector<std::wstring>;

bool isAmong(const std::wstring& name, const Names& names) {
    return std::any_of(names.begin(), names.end(),
                       [&](const std::wstring& known) { return lstrcmpiW(known.c_str(), name.c_str()) == 0; });
}

// next: RegEnumKeyExW or RegEnumValueW. What is not among the known ones.
template <class Next>
Names others(HKEY key, const Names& known, Next next) {
    constexpr DWORD kLongestName = 16384;
    Names found;
    std::wstring name(kLongestName, L'\0');
    for (DWORD index = 0;; ++index) {
        DWORD length = kLongestName;
        if (next(key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) return found;
        const std::wstring seen = name.substr(0, length);
        if (!isAmong(seen, known)) found.push_back(seen);
    }
}

// Of an older registration nothing stays.
HRESULT removeOthers(const ClassesRoot& classes, const std::wstring& part, const Names& subkeys, const Names& values) {
    HKEY key = nullptr;
    LSTATUS result = RegOpenKeyExW(classes.hive, classes.pathOf(part).c_str(), 0, KEY_READ | KEY_WRITE | DELETE, &key);
    if (result != ERROR_SUCCESS) return HRESULT_FROM_WIN32(static_cast<DWORD>(result));
    const auto remove = [&](const Names& names, auto call) {
        for (const std::wstring& name : names) {
            if (result == ERROR_SUCCESS) result = call(key, name.c_str());
            if (result == ERROR_FILE_NOT_FOUND) result = ERROR_SUCCESS;  // another process was quicker
        }
    };
    remove(others(key, subkeys, RegEnumKeyExW), RegDeleteTreeW);
    remove(others(key, values, RegEnumValueW), RegDeleteValueW);
    RegCloseKey(key);
    return HRESULT_FROM_WIN32(static_cast<DWORD>(result));
}

// The class's key is replaced whole, but never missing: another process may register the same or look for the class.
// So the entries are written over what is there, and what is not theirs is removed last.
HRESULT writeEntries(const ClassesRoot& classes) {
    const std::wstring path = modulePath();
    if (path.empty()) return HRESULT_FROM_WIN32(GetLastError());
    const std::wstring classId = textOf(__uuidof(VeCmdManager));
    const std::wstring key = classKey();
    const std::wstring versioned = kVersionedProgId;
    const std::wstring general = kProgId;
    const struct {
        std::wstring key;
        const wchar_t* name;
        std::wstring value;
    } entries[] = {
        {key + L"\\InprocServer32", nullptr, path},
        {key + L"\\InprocServer32", L"ThreadingModel", L"Apartment"},
        {key, nullptr, kClassName},
        {key + L"\\ProgID", nullptr, versioned},
        {key + L"\\VersionIndependentProgID", nullptr, general},
        {key + L"\\TypeLib", nullptr, textOf(LIBID_MOVACMDSVRLib)},
        {versioned, nullptr, kClassName},
        {versioned + L"\\CLSID", nullptr, classId},
        {general, nullptr, kClassName},
        {general + L"\\CLSID", nullptr, classId},
        {general + L"\\CurVer", nullptr, versioned},
    };
    HRESULT result = createEmpty(classes, key + L"\\Programmable");
    for (const auto& entry : entries) {
        if (SUCCEEDED(result)) result = write(classes, entry.key, entry.name, entry.value);
    }
    const struct {
        std::wstring key;
        Names subkeys;
        Names values;
    } whole[] = {
        {key, {L"InprocServer32", L"ProgID", L"VersionIndependentProgID", L"Programmable", L"TypeLib"}, {L""}},
        {key + L"\\InprocServer32", {}, {L"", L"ThreadingModel"}},
        {key + L"\\ProgID", {}, {L""}},
        {key + L"\\VersionIndependentProgID", {}, {L""}},
        {key + L"\\Programmable", {}, {}},
        {key + L"\\TypeLib", {}, {L""}},
    };
    for (const auto& part : whole) {
        if (SUCCEEDED(result)) result = removeOthers(classes, part.key, part.subkeys, part.values);
    }
    return result;
}

}  // namespace

HRESULT registerComponent(RegisteredFor whom) {
    HRESULT result = writeEntries(classesOf(whom));
    ComPtr<ITypeLib> library;
    if (SUCCEEDED(result)) result = loadTypeLibrary(library);
    if (FAILED(result)) return result;
    const auto enter = whom == RegisteredFor::User ? RegisterTypeLibForUser : RegisterTypeLib;
    return enter(library.get(), modulePath().data(), nullptr);
}

HRESULT unregisterComponent(RegisteredFor whom) {
    const ClassesRoot classes = classesOf(whom);
    HRESULT result = remove(classes, classKey());
    if (SUCCEEDED(result)) result = remove(classes, kVersionedProgId);
    if (SUCCEEDED(result)) result = remove(classes, kProgId);
    if (FAILED(result)) return result;
    const auto takeOut = whom == RegisteredFor::User ? UnRegisterTypeLibForUser : UnRegisterTypeLib;
    result = takeOut(LIBID_MOVACMDSVRLib, kMajor, kMinor, kLocale, kSystem);
    if (SUCCEEDED(result)) return result;
    if (result == TYPE_E_REGISTRYACCESS) return S_OK;  // registered for another language, system or user only
    // A library that is not registered is unregistered already; the systems refuse it with different codes.
    BSTR path = nullptr;
    const HRESULT found = QueryPathOfRegTypeLib(LIBID_MOVACMDSVRLib, kMajor, kMinor, kLocale, &path);
    const Bstr owned(path);
    return found == TYPE_E_LIBNOTREGISTERED ? S_OK : result;
}

}  // namespace mova
