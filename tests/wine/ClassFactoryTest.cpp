// How objects are made, what they answer for, and when the module may go.
#include "Client.h"
#include "OtherProcess.h"
#include "Registry.h"

namespace mova::test {
namespace {

using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
using CanUnloadNow = HRESULT(STDAPICALLTYPE*)();

template <class Function>
Function entryPoint(const char* name) {
    static const HMODULE module = LoadLibraryW(dllPath().c_str());
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

HRESULT getClassObject(REFCLSID classId, REFIID iid, void** object) {
    return entryPoint<GetClassObject>("DllGetClassObject")(classId, iid, object);
}

HRESULT canUnloadNow() { return entryPoint<CanUnloadNow>("DllCanUnloadNow")(); }

ComPtr<IClassFactory> factory() {
    ComPtr<IClassFactory> factory;
    EXPECT_EQ(
        getClassObject(__uuidof(VeCmdManager), __uuidof(IClassFactory), reinterpret_cast<void**>(factory.receive())),
        S_OK);
    return factory;
}

TEST(ClassObject, OtherClassesAreNotAvailable) {
    void* object = &object;
    EXPECT_EQ(getClassObject(__uuidof(IVeCmdManager), __uuidof(IClassFactory), &object), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(getClassObject(__uuidof(VeCmdManager), __uuidof(IDispatch), &object), E_NOINTERFACE);
    EXPECT_EQ(getClassObject(__uuidof(VeCmdManager), __uuidof(IClassFactory), nullptr), E_POINTER);
}

TEST(ClassFactory, ANullResultPointerFails) {
    EXPECT_EQ(factory()->CreateInstance(nullptr, __uuidof(IVeCmdManager), nullptr), static_cast<HRESULT>(0x80004003));
}

TEST(ClassFactory, AnInterfaceThatThereIsNotLeavesNoObject) {
    const auto made = factory();
    void* object = &object;
    EXPECT_EQ(made->CreateInstance(nullptr, __uuidof(IPersist), &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
}

TEST(ClassFactory, ObjectsLocksAndFactoriesKeepTheModule) {
    EXPECT_EQ(canUnloadNow(), S_OK);
    {
        const auto made = factory();
        EXPECT_EQ(canUnloadNow(), S_FALSE);
    }
    EXPECT_EQ(canUnloadNow(), S_OK);
    factory()->LockServer(TRUE);
    EXPECT_EQ(canUnloadNow(), S_FALSE);
    factory()->LockServer(FALSE);
    EXPECT_EQ(canUnloadNow(), S_OK);
    {
        const auto manager = makeManager();
        EXPECT_EQ(canUnloadNow(), S_FALSE);
    }
    EXPECT_EQ(canUnloadNow(), S_OK);
}

TEST(Object, AnswersForItsInterfacesAndKeepsItsIdentity) {
    const auto manager = makeManager();
    const auto identity = ComPtr<IUnknown>::of(manager.get());
    const auto dispatch = ComPtr<IDispatch>::of(manager.get());
    const auto container = ComPtr<IConnectionPointContainer>::of(manager.get());
    const auto classInfo = ComPtr<IProvideClassInfo>::of(manager.get());
    const auto classInfo2 = ComPtr<IProvideClassInfo2>::of(manager.get());
    ASSERT_TRUE(dispatch && container && classInfo && classInfo2);
    EXPECT_EQ(static_cast<void*>(dispatch.get()), static_cast<void*>(manager.get()));
    for (IUnknown* part : {static_cast<IUnknown*>(dispatch.get()), static_cast<IUnknown*>(container.get()),
                           static_cast<IUnknown*>(classInfo2.get())}) {
        EXPECT_EQ(ComPtr<IUnknown>::of(part).get(), identity.get());
        EXPECT_TRUE(ComPtr<IVeCmdManager>::of(part));
    }
    EXPECT_FALSE(ComPtr<IPersist>::of(manager.get()));
}

TEST(Object, TellsItsClassAndItsDefaultEvents) {
    const auto info = ComPtr<IProvideClassInfo2>::of(makeManager().get());
    GUID id{};
    EXPECT_EQ(info->GetGUID(GUIDKIND_DEFAULT_SOURCE_DISP_IID, &id), S_OK);
    EXPECT_EQ(id, __uuidof(_IVeCmdManagerEvents));
    EXPECT_EQ(info->GetGUID(2, &id), E_INVALIDARG);
    EXPECT_EQ(id, IID_NULL);
    ComPtr<ITypeInfo> type;
    ASSERT_EQ(info->GetClassInfo(type.receive()), S_OK);
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(type->GetTypeAttr(&attributes), S_OK);
    EXPECT_EQ(attributes->guid, __uuidof(VeCmdManager));
    EXPECT_EQ(attributes->typekind, TKIND_COCLASS);
    type->ReleaseTypeAttr(attributes);
}

// An outer object that owns an aggregated manager.
class Outer : public IUnknown {
public:
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        if (iid == __uuidof(IUnknown)) {
            *object = static_cast<IUnknown*>(this);
            AddRef();
            return S_OK;
        }
        return inner->QueryInterface(iid, object);
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
    STDMETHODIMP_(ULONG) Release() override { return --references; }

    ULONG references = 1;
    ComPtr<IUnknown> inner;
};

TEST(Aggregation, AsksForIUnknownFirst) {
    Outer outer;
    void* object = &object;
    EXPECT_EQ(factory()->CreateInstance(&outer, __uuidof(IVeCmdManager), &object), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(object, nullptr);
}

TEST(Aggregation, InterfacesSpeakForTheOuterObject) {
    Outer outer;
    ASSERT_EQ(factory()->CreateInstance(&outer, __uuidof(IUnknown), reinterpret_cast<void**>(outer.inner.receive())),
              S_OK);
    EXPECT_EQ(outer.references, 1u);
    {
        const auto manager = ComPtr<IVeCmdManager>::of(outer.inner.get());
        ASSERT_TRUE(manager);
        EXPECT_EQ(outer.references, 2u);
        EXPECT_EQ(ComPtr<IUnknown>::of(manager.get()).get(), static_cast<IUnknown*>(&outer));
        const auto container = ComPtr<IConnectionPointContainer>::of(manager.get());
        EXPECT_EQ(ComPtr<IUnknown>::of(container.get()).get(), static_cast<IUnknown*>(&outer));
        ComPtr<IConnectionPoint> point;
        ASSERT_EQ(container->FindConnectionPoint(__uuidof(_IVeCmdManagerEvents), point.receive()), S_OK);
        EXPECT_EQ(outer.references, 4u);
        LONG baudRate = 0;
        EXPECT_EQ(manager->get_BaudRate(&baudRate), S_OK);
        EXPECT_EQ(baudRate, 115200);
    }
    EXPECT_EQ(outer.references, 1u);
    outer.inner = {};
    EXPECT_EQ(canUnloadNow(), S_OK);
}

// --- registration

std::wstring registered(const std::wstring& key, const wchar_t* name = nullptr) {
    return registeredIn(HKEY_CLASSES_ROOT, key, name);
}

bool exists(const std::wstring& key) { return existsIn(HKEY_CLASSES_ROOT, key); }

class Registration : public testing::Test {
protected:
    using EntryPoint = HRESULT(STDAPICALLTYPE*)();
    static HRESULT registerServer() { return entryPoint<EntryPoint>("DllRegisterServer")(); }
    static HRESULT unregisterServer() { return entryPoint<EntryPoint>("DllUnregisterServer")(); }
    ~Registration() override { EXPECT_EQ(registerServer(), S_OK); }  // as the other tests need it

    const std::wstring classId = L"{FE640147-2F81-4A07-AF44-F1B818ED5CEE}";
    const std::wstring libraryId = L"{42F19DC8-90EF-428C-9410-46300A83FA1A}";
    const std::wstring key = L"CLSID\\" + classId;
};

TEST_F(Registration, WritesTheEntriesOfTheClass) {
    ASSERT_EQ(registerServer(), S_OK);
    EXPECT_EQ(registered(L"MovaCmdSvr.VeCmdManager.1"), L"VeCmdManager Class");
    EXPECT_EQ(registered(L"MovaCmdSvr.VeCmdManager.1\\CLSID"), classId);
    EXPECT_EQ(registered(L"MovaCmdSvr.VeCmdManager"), L"VeCmdManager Class");
    EXPECT_EQ(registered(L"MovaCmdSvr.VeCmdManager\\CLSID"), classId);
    EXPECT_EQ(registered(L"MovaCmdSvr.VeCmdManager\\CurVer"), L"MovaCmdSvr.VeCmdManager.1");
    EXPECT_EQ(registered(key), L"VeCmdManager Class");
    EXPECT_EQ(registered(key + L"\\ProgID"), L"MovaCmdSvr.VeCmdManager.1");
    EXPECT_EQ(registered(key + L"\\VersionIndependentProgID"), L"MovaCmdSvr.VeCmdManager");
    EXPECT_TRUE(exists(key + L"\\Programmable"));
    EXPECT_EQ(registered(key + L"\\InprocServer32"), dllPath());
    EXPECT_EQ(registered(key + L"\\InprocServer32", L"ThreadingModel"), L"Apartment");
    EXPECT_EQ(registered(key + L"\\TypeLib"), libraryId);
    EXPECT_EQ(registered(L"TypeLib\\" + libraryId + L"\\1.0"), L"MovaCmdSvr 1.0 Type Library");
}

TEST_F(Registration, ReplacesTheClassWhole) {
    const std::wstring leftOver[] = {L"",         L"\\Left\\Over",   L"\\InprocServer32",    L"\\InprocServer32\\Left",
                                     L"\\ProgID", L"\\Programmable", L"\\Programmable\\Left"};
    for (const std::wstring& subkey : leftOver) {
        ASSERT_EQ(RegSetKeyValueW(HKEY_CLASSES_ROOT, (key + subkey).c_str(), L"Old", REG_SZ, L"x", 4), ERROR_SUCCESS);
        ASSERT_EQ(RegSetKeyValueW(HKEY_CLASSES_ROOT, (key + subkey).c_str(), L"Older", REG_SZ, L"x", 4), ERROR_SUCCESS);
    }
    ASSERT_EQ(RegSetKeyValueW(HKEY_CLASSES_ROOT, (key + L"\\Programmable").c_str(), nullptr, REG_SZ, L"x", 4),
              ERROR_SUCCESS);
    ASSERT_EQ(registerServer(), S_OK);
    for (const std::wstring& subkey : leftOver) EXPECT_EQ(registered(key + subkey, L"Old"), L"(none)");
    for (const std::wstring& subkey : leftOver) EXPECT_EQ(registered(key + subkey, L"Older"), L"(none)");
    EXPECT_EQ(registered(key + L"\\Programmable"), L"(none)");
    EXPECT_FALSE(exists(key + L"\\Left"));
    EXPECT_FALSE(exists(key + L"\\InprocServer32\\Left"));
    EXPECT_FALSE(exists(key + L"\\Programmable\\Left"));
    EXPECT_EQ(registered(key + L"\\InprocServer32"), dllPath());
}

// Two setups at once, and a program that looks for the class meanwhile.
TEST_F(Registration, ByTwoProcessesAtOnceNeverLeavesTheClassMissing) {
    ASSERT_EQ(registerServer(), S_OK);
    OtherProcess first("register 60");
    first.awaitReady();
    OtherProcess second("register 60");
    unsigned looks = 0;
    unsigned missing = 0;
    for (; !first.hasEnded() || !second.hasEnded(); ++looks) {
        const bool found = registered(key + L"\\InprocServer32") == dllPath() &&
                           registered(key + L"\\InprocServer32", L"ThreadingModel") == L"Apartment" &&
                           registered(L"MovaCmdSvr.VeCmdManager\\CLSID") == classId &&
                           registered(key + L"\\ProgID") == L"MovaCmdSvr.VeCmdManager.1" &&
                           exists(key + L"\\Programmable");
        missing += found ? 0 : 1;
    }
    EXPECT_EQ(missing, 0u) << "of " << looks;
    EXPECT_GT(looks, 0u);
    EXPECT_EQ(first.exitCode(), 0u);
    EXPECT_EQ(second.exitCode(), 0u);
}

TEST_F(Registration, StopsAtTheFirstErrorAndReturnsIt) {
    // A root that is gone refuses everything.
    HKEY refusing = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\MovaRefusing", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                              &refusing, nullptr),
              ERROR_SUCCESS);
    ASSERT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\MovaRefusing"), ERROR_SUCCESS);
    ASSERT_EQ(RegOverridePredefKey(HKEY_CLASSES_ROOT, refusing), ERROR_SUCCESS);
    const HRESULT registering = registerServer();
    const HRESULT unregistering = unregisterServer();
    ASSERT_EQ(RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr), ERROR_SUCCESS);
    RegCloseKey(refusing);
    EXPECT_EQ(registering, HRESULT_FROM_WIN32(ERROR_KEY_DELETED));
    EXPECT_EQ(unregistering, HRESULT_FROM_WIN32(ERROR_KEY_DELETED));
}

TEST_F(Registration, UnregisteringWhatWasNeverRegisteredSucceeds) {
    // A root without any entry.
    HKEY empty = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\MovaEmpty", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &empty,
                              nullptr),
              ERROR_SUCCESS);
    ASSERT_EQ(RegOverridePredefKey(HKEY_CLASSES_ROOT, empty), ERROR_SUCCESS);
    const HRESULT first = unregisterServer();
    const HRESULT second = unregisterServer();
    const HRESULT registering = registerServer();
    const HRESULT third = unregisterServer();
    const HRESULT fourth = unregisterServer();
    ASSERT_EQ(RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr), ERROR_SUCCESS);
    RegCloseKey(empty);
    ASSERT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\MovaEmpty"), ERROR_SUCCESS);
    EXPECT_EQ(first, S_OK);
    EXPECT_EQ(second, S_OK);
    EXPECT_EQ(registering, S_OK);
    EXPECT_EQ(third, S_OK);
    EXPECT_EQ(fourth, S_OK);
}

TEST_F(Registration, UnregisteringLeavesNothingButTheCommonKey) {
    ASSERT_EQ(registerServer(), S_OK);
    ASSERT_EQ(unregisterServer(), S_OK);
    EXPECT_FALSE(exists(L"MovaCmdSvr.VeCmdManager.1"));
    EXPECT_FALSE(exists(L"MovaCmdSvr.VeCmdManager"));
    EXPECT_FALSE(exists(key));
    EXPECT_TRUE(exists(L"CLSID"));
    EXPECT_FALSE(exists(L"TypeLib\\" + libraryId + L"\\1.0\\409"));
    EXPECT_EQ(unregisterServer(), S_OK);  // a second time is no failure
}

}  // namespace
}  // namespace mova::test
