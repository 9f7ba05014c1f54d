// What DllInstall writes and removes: the user's own classes.
#include "Client.h"
#include "OtherProcess.h"
#include "Registry.h"

namespace mova::test {
namespace {

template <class Function>
Function exported(const char* name) {
    static const HMODULE module = LoadLibraryW(dllPath().c_str());
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

HRESULT dllInstall(BOOL install, const wchar_t* commandLine) {
    return exported<HRESULT(STDAPICALLTYPE*)(BOOL, LPCWSTR)>("DllInstall")(install, commandLine);
}
HRESULT install(const wchar_t* commandLine) { return dllInstall(TRUE, commandLine); }
HRESULT uninstall(const wchar_t* commandLine) { return dllInstall(FALSE, commandLine); }
HRESULT callPlain(const char* name) { return exported<HRESULT(STDAPICALLTYPE*)()>(name)(); }

const std::wstring kClasses = L"Software\\Classes\\";
const std::wstring kClassId = L"{FE640147-2F81-4A07-AF44-F1B818ED5CEE}";
const std::wstring kClassKey = L"CLSID\\" + kClassId;
const std::wstring kProgId = L"MovaCmdSvr.VeCmdManager";
const std::wstring kVersioned = L"MovaCmdSvr.VeCmdManager.1";

std::wstring ofUser(const std::wstring& key, const wchar_t* name = nullptr) {
    return registeredIn(HKEY_CURRENT_USER, kClasses + key, name);
}
std::wstring ofMachine(const std::wstring& key, const wchar_t* name = nullptr) {
    return registeredIn(HKEY_LOCAL_MACHINE, kClasses + key, name);
}
bool userHas(const std::wstring& key) { return existsIn(HKEY_CURRENT_USER, kClasses + key); }
bool machineHas(const std::wstring& key) { return existsIn(HKEY_LOCAL_MACHINE, kClasses + key); }

void putForUser(const std::wstring& key, const wchar_t* name) {
    EXPECT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, (kClasses + key).c_str(), name, REG_SZ, L"x", 4), ERROR_SUCCESS);
}

// Windows shows programs the user's classes and the machine's as one. Wine shows them the machine's alone, so here the
// machine's have a copy of the user's while this lives.
class ShownToPrograms {
public:
    explicit ShownToPrograms(std::vector<std::wstring> keys) : keys_(std::move(keys)) {
        for (const std::wstring& key : keys_) {
            HKEY from = nullptr;
            HKEY to = nullptr;
            EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, (kClasses + key).c_str(), 0, KEY_READ, &from), ERROR_SUCCESS);
            EXPECT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, (kClasses + key).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                                      nullptr, &to, nullptr),
                      ERROR_SUCCESS);
            EXPECT_EQ(RegCopyTreeW(from, nullptr, to), ERROR_SUCCESS);
            RegCloseKey(from);
            RegCloseKey(to);
        }
    }
    ~ShownToPrograms() {
        for (const std::wstring& key : keys_) RegDeleteTreeW(HKEY_LOCAL_MACHINE, (kClasses + key).c_str());
    }
    ShownToPrograms(const ShownToPrograms&) = delete;
    ShownToPrograms& operator=(const ShownToPrograms&) = delete;

private:
    std::vector<std::wstring> keys_;
};

class RegistrationForUser : public testing::Test {
protected:
    RegistrationForUser() { EXPECT_EQ(callPlain("DllUnregisterServer"), S_OK); }
    ~RegistrationForUser() override {
        EXPECT_EQ(uninstall(L"user"), S_OK);
        EXPECT_EQ(callPlain("DllRegisterServer"), S_OK);  // as the other tests need it
    }
};

TEST_F(RegistrationForUser, WritesTheEntriesOfTheClassForTheUserAlone) {
    ASSERT_EQ(install(L"user"), S_OK);
    EXPECT_EQ(ofUser(kVersioned), L"VeCmdManager Class");
    EXPECT_EQ(ofUser(kVersioned + L"\\CLSID"), kClassId);
    EXPECT_EQ(ofUser(kProgId), L"VeCmdManager Class");
    EXPECT_EQ(ofUser(kProgId + L"\\CLSID"), kClassId);
    EXPECT_EQ(ofUser(kProgId + L"\\CurVer"), L"MovaCmdSvr.VeCmdManager.1");
    EXPECT_EQ(ofUser(kClassKey), L"VeCmdManager Class");
    EXPECT_EQ(ofUser(kClassKey + L"\\ProgID"), L"MovaCmdSvr.VeCmdManager.1");
    EXPECT_EQ(ofUser(kClassKey + L"\\VersionIndependentProgID"), L"MovaCmdSvr.VeCmdManager");
    EXPECT_TRUE(userHas(kClassKey + L"\\Programmable"));
    EXPECT_EQ(ofUser(kClassKey + L"\\InprocServer32"), dllPath());
    EXPECT_EQ(ofUser(kClassKey + L"\\InprocServer32", L"ThreadingModel"), L"Apartment");
    EXPECT_EQ(ofUser(kClassKey + L"\\TypeLib"), L"{42F19DC8-90EF-428C-9410-46300A83FA1A}");
    EXPECT_FALSE(machineHas(kClassKey));
    EXPECT_FALSE(machineHas(kProgId));
    EXPECT_FALSE(machineHas(kVersioned));
    GUID library{};
    Text path;
    EXPECT_EQ(CLSIDFromString(L"{42F19DC8-90EF-428C-9410-46300A83FA1A}", &library), S_OK);
    EXPECT_EQ(QueryPathOfRegTypeLib(library, 1, 0, 0x409, path.receive()), S_OK);
}

TEST_F(RegistrationForUser, IsFoundByNameInAFreshProcessAndCalledLateBound) {
    OtherProcess before("by-name");
    EXPECT_EQ(before.exitCode(), 100u);  // no such name
    ASSERT_EQ(install(L"user"), S_OK);
    const ShownToPrograms shown({kClassKey, kProgId, kVersioned});
    OtherProcess after("by-name");
    EXPECT_EQ(after.exitCode(), 0u);
}

TEST_F(RegistrationForUser, RemovalTakesTheUsersEntriesAndLeavesForeignOnesAndTheMachines) {
    const std::wstring foreign[] = {L"CLSID\\{FE640147-2F81-4A07-AF44-F1B818ED5CEF}", L"MovaCmdSvr.VeCmdManager.2",
                                    L"MovaCmdSvr"};
    for (const std::wstring& key : foreign) putForUser(key, L"Mine");
    ASSERT_EQ(callPlain("DllRegisterServer"), S_OK);
    ASSERT_EQ(install(L"user"), S_OK);
    ASSERT_EQ(uninstall(L"user"), S_OK);
    EXPECT_FALSE(userHas(kClassKey));
    EXPECT_FALSE(userHas(kProgId));
    EXPECT_FALSE(userHas(kVersioned));
    EXPECT_TRUE(userHas(L"CLSID"));
    for (const std::wstring& key : foreign) {
        EXPECT_EQ(ofUser(key, L"Mine"), L"x");
        EXPECT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, (kClasses + key).c_str()), ERROR_SUCCESS);
    }
    EXPECT_EQ(ofMachine(kClassKey + L"\\InprocServer32"), dllPath());
    EXPECT_EQ(ofMachine(kProgId + L"\\CLSID"), kClassId);
    EXPECT_EQ(ofMachine(kVersioned + L"\\CLSID"), kClassId);
    EXPECT_EQ(uninstall(L"user"), S_OK);  // a second time is no failure
}

TEST_F(RegistrationForUser, OfTheMachineLeavesTheUsersAlone) {
    ASSERT_EQ(install(L"user"), S_OK);
    putForUser(kClassKey, L"Mine");
    ASSERT_EQ(callPlain("DllRegisterServer"), S_OK);
    ASSERT_EQ(callPlain("DllUnregisterServer"), S_OK);
    EXPECT_EQ(ofUser(kClassKey, L"Mine"), L"x");
    EXPECT_EQ(ofUser(kProgId + L"\\CLSID"), kClassId);
}

TEST_F(RegistrationForUser, ReplacesTheClassWhole) {
    for (const wchar_t* subkey : {L"", L"\\Left\\Over", L"\\InprocServer32", L"\\Programmable\\Left"}) {
        putForUser(kClassKey + subkey, L"Old");
    }
    ASSERT_EQ(install(L"user"), S_OK);
    EXPECT_EQ(ofUser(kClassKey, L"Old"), L"(none)");
    EXPECT_EQ(ofUser(kClassKey + L"\\InprocServer32", L"Old"), L"(none)");
    EXPECT_FALSE(userHas(kClassKey + L"\\Left"));
    EXPECT_FALSE(userHas(kClassKey + L"\\Programmable\\Left"));
    EXPECT_EQ(ofUser(kClassKey + L"\\InprocServer32"), dllPath());
}

TEST_F(RegistrationForUser, ByTwoProcessesAtOnceNeverLeavesTheClassMissing) {
    ASSERT_EQ(install(L"user"), S_OK);
    OtherProcess first("register-user 60");
    first.awaitReady();
    OtherProcess second("register-user 60");
    unsigned looks = 0;
    unsigned missing = 0;
    for (; !first.hasEnded() || !second.hasEnded(); ++looks) {
        const bool found = ofUser(kClassKey + L"\\InprocServer32") == dllPath() &&
                           ofUser(kClassKey + L"\\InprocServer32", L"ThreadingModel") == L"Apartment" &&
                           ofUser(kProgId + L"\\CLSID") == kClassId && userHas(kClassKey + L"\\Programmable");
        missing += found ? 0 : 1;
    }
    EXPECT_EQ(missing, 0u) << "of " << looks;
    EXPECT_GT(looks, 0u);
    EXPECT_EQ(first.exitCode(), 0u);
    EXPECT_EQ(second.exitCode(), 0u);
}

TEST_F(RegistrationForUser, ReturnsTheErrorOfAWriteInTheMiddleAndKeepsTheClass) {
    ASSERT_EQ(install(L"user"), S_OK);
    putForUser(kClassKey, L"Old");
    // A key that does not outlive the session takes values, but no subkey that would.
    ASSERT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, (kClasses + kVersioned).c_str()), ERROR_SUCCESS);
    HKEY refusing = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, (kClasses + kVersioned).c_str(), 0, nullptr, REG_OPTION_VOLATILE,
                              KEY_ALL_ACCESS, nullptr, &refusing, nullptr),
              ERROR_SUCCESS);
    RegCloseKey(refusing);
    EXPECT_EQ(install(L"user"), HRESULT_FROM_WIN32(ERROR_CHILD_MUST_BE_VOLATILE));
    EXPECT_EQ(ofUser(kVersioned), L"VeCmdManager Class");  // what came before it is written
    EXPECT_FALSE(userHas(kVersioned + L"\\CLSID"));
    EXPECT_EQ(ofUser(kClassKey + L"\\InprocServer32"), dllPath());
    EXPECT_EQ(ofUser(kProgId + L"\\CLSID"), kClassId);
    EXPECT_EQ(ofUser(kClassKey, L"Old"), L"x");  // what goes, goes last
    EXPECT_FALSE(machineHas(kClassKey));
    ASSERT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, (kClasses + kVersioned).c_str()), ERROR_SUCCESS);
    EXPECT_EQ(install(L"user"), S_OK);
    EXPECT_EQ(ofUser(kClassKey, L"Old"), L"(none)");
}

TEST_F(RegistrationForUser, ReturnsTheErrorOfAUserWhoseClassesRefuse) {
    HKEY refusing = nullptr;  // a root that is gone refuses everything
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\MovaRefusing", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                              &refusing, nullptr),
              ERROR_SUCCESS);
    ASSERT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\MovaRefusing"), ERROR_SUCCESS);
    ASSERT_EQ(RegOverridePredefKey(HKEY_CURRENT_USER, refusing), ERROR_SUCCESS);
    const HRESULT registering = install(L"user");
    const HRESULT unregistering = uninstall(L"user");
    ASSERT_EQ(RegOverridePredefKey(HKEY_CURRENT_USER, nullptr), ERROR_SUCCESS);
    RegCloseKey(refusing);
    EXPECT_EQ(registering, HRESULT_FROM_WIN32(ERROR_KEY_DELETED));
    EXPECT_EQ(unregistering, HRESULT_FROM_WIN32(ERROR_KEY_DELETED));
}

TEST_F(RegistrationForUser, OtherTextIsRefusedAndChangesNothing) {
    const wchar_t* const others[] = {L"users", L"use", L" user", L"user ", L"machine", L"/user", L"\"user\""};
    for (const wchar_t* other : others) {
        EXPECT_EQ(install(other), E_INVALIDARG) << other;
        EXPECT_FALSE(userHas(kClassKey) || userHas(kProgId) || machineHas(kClassKey) || machineHas(kProgId)) << other;
    }
    ASSERT_EQ(install(L"user"), S_OK);
    ASSERT_EQ(callPlain("DllRegisterServer"), S_OK);
    for (const wchar_t* other : others) {
        EXPECT_EQ(uninstall(other), E_INVALIDARG) << other;
        EXPECT_TRUE(userHas(kClassKey) && userHas(kProgId) && machineHas(kClassKey) && machineHas(kProgId)) << other;
    }
}

TEST_F(RegistrationForUser, TakesItsWordInAnyCase) {
    EXPECT_EQ(install(L"USER"), S_OK);
    EXPECT_EQ(ofUser(kProgId + L"\\CLSID"), kClassId);
    EXPECT_EQ(uninstall(L"User"), S_OK);
    EXPECT_FALSE(userHas(kProgId));
}

TEST_F(RegistrationForUser, WithoutTextIsTheMachines) {
    for (const wchar_t* nothing : {static_cast<const wchar_t*>(nullptr), L""}) {
        EXPECT_EQ(install(nothing), S_OK);
        EXPECT_EQ(ofMachine(kClassKey + L"\\InprocServer32"), dllPath());
        EXPECT_EQ(ofMachine(kProgId + L"\\CLSID"), kClassId);
        EXPECT_FALSE(userHas(kClassKey) || userHas(kProgId));
        EXPECT_EQ(uninstall(nothing), S_OK);
        EXPECT_FALSE(machineHas(kClassKey) || machineHas(kProgId));
    }
}

}  // namespace
}  // namespace mova::test
