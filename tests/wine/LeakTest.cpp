// Ten thousand calls of each shape leave no memory behind, on the good paths and on the bad ones.
#include <string>

#include "Client.h"

namespace mova::test {
namespace {

struct Shape {
    const char* name;
    std::function<void(IDispatch*)> call;
};

class Calls : public testing::TestWithParam<Shape> {
protected:
    const ComPtr<IVeCmdManager> manager = makeManager();
};

TEST_P(Calls, LeaveNothing) {
    const auto rounds = [&](int count) {
        for (int i = 0; i < count; ++i) GetParam().call(manager.get());
    };
    rounds(1000);
    const std::size_t before = heapBytes();
    rounds(10000);
    constexpr std::size_t kLessThanOneByteACall = 9999;
    EXPECT_LE(heapBytes(), before + kLessThanOneByteACall);
}

void fetchInto(IDispatch* object, Variant& remained, Variant& length, Variant& error, Variant& data) {
    call(object, DISPID{14}, {variable(remained), variable(length), variable(error), variable(data)});
}

const Shape kShapes[] = {
    {"TextResult", [](IDispatch* object) { call(object, DISPID{33}, {Variant(1).raw()}); }},
    {"PropertyGet", [](IDispatch* object) { call(object, DISPID{1}, {}); }},
    {"PropertyPut", [](IDispatch* object) { call(object, DISPID{1}, {Variant(9600).raw()}, DISPATCH_PROPERTYPUT); }},
    {"EmptyVariables",
     [](IDispatch* object) {
         Variant remained, length, error, data;
         fetchInto(object, remained, length, error, data);
     }},
    {"VariablesThatHeldTexts",
     [](IDispatch* object) {
         Variant remained(L"one"), length(L"two"), error(L"three"), data(L"four");
         fetchInto(object, remained, length, error, data);
     }},
    {"TypedReferences",
     [](IDispatch* object) {
         ULONG remained = 0;
         double length = 0;
         LONG error = 0;
         BSTR data = SysAllocString(L"old");
         call(object, DISPID{14},
              {reference(VT_UI4, &remained), reference(VT_R8, &length), reference(VT_I4, &error),
               reference(VT_BSTR, &data)});
         SysFreeString(data);
     }},
    {"NumberIntoATextReference",
     [](IDispatch* object) {
         BSTR text = SysAllocString(L"old");
         call(object, DISPID{11}, {Variant(50).raw(), Variant(0).raw(), reference(VT_BSTR, &text)});
         SysFreeString(text);
     }},
    {"InOutText",
     [](IDispatch* object) {
         Variant buffer(L"AABB");
         call(object, DISPID{17}, {Variant(1).raw(), Variant(1).raw(), variable(buffer)});
     }},
    {"CompiledClientsTexts",
     [](IDispatch* object) {
         const auto manager = ComPtr<IVeCmdManager>::of(object);
         LONG length = 0;
         LONG code = 0;
         Text answer(L"an answer of before");
         manager->GetNormalAtResult(2, &length, answer.inOut(), &code);
     }},
    {"NumberForAText",
     [](IDispatch* object) {
         call(object, DISPID{56}, {Variant(5).raw()}), call(object, DISPID{56}, {Variant(L"").raw()});
     }},
    {"NamedArguments",
     [](IDispatch* object) {
         Variant code(L"old");
         callNamed(object, DISPID{11}, {{1, Variant(7).raw()}, {2, variable(code)}, {0, Variant(50).raw()}});
     }},
    {"MissingOutParameters", [](IDispatch* object) { call(object, DISPID{14}, {}); }},
    {"ByteArray",
     [](IDispatch* object) {
         Variant held = Variant::byteArray("abcd");
         Variant count;
         call(object, DISPID{49}, {variable(held), Variant(4).raw(), variable(count)});
     }},
    {"ScriptArray",
     [](IDispatch* object) {
         Variant held = Variant::scriptArray({Variant(1), Variant(L"text")});
         Variant count;
         call(object, DISPID{49}, {variable(held), Variant(2).raw(), variable(count)});
     }},
    {"BytesOfAnArray",
     [](IDispatch* object) {
         Variant held = Variant::byteArray("abcd");
         Variant count;
         call(object, DISPID{57}, {held.raw(), Variant(4).raw(), variable(count)});
     }},
    {"TypeMismatch",
     [](IDispatch* object) {
         Variant code;
         call(object, DISPID{11}, {Variant(L"no number").raw(), Variant(0).raw(), variable(code)});
     }},
    {"TooSmallAReference",
     [](IDispatch* object) {
         BYTE small = 0;
         call(object, DISPID{11}, {Variant(50).raw(), Variant(0).raw(), reference(VT_UI1, &small)});
     }},
    {"TooManyArguments",
     [](IDispatch* object) {
         call(object, DISPID{40}, {Variant(1).raw(), Variant(L"x").raw()});
     }},
    {"UnknownName", [](IDispatch* object) { idOf(object, L"NoSuchEntry"); }},
};

INSTANTIATE_TEST_SUITE_P(Shapes, Calls, testing::ValuesIn(kShapes), [](const auto& shape) { return shape.param.name; });

// --- the module

TEST(Module, IsUnloadedAfterAnObjectThatHadAReaderThread) {
    const std::wstring copy = L"C:\\unloadable.dll";
    ASSERT_TRUE(CopyFileW(dllPath().c_str(), copy.c_str(), FALSE));
    const HMODULE module = LoadLibraryW(copy.c_str());
    ASSERT_TRUE(module);
    using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
    using CanUnloadNow = HRESULT(STDAPICALLTYPE*)();
    const auto address = [&](const char* name) { return reinterpret_cast<void*>(GetProcAddress(module, name)); };
    const auto canUnloadNow = reinterpret_cast<CanUnloadNow>(address("DllCanUnloadNow"));
    {
        ComPtr<IClassFactory> factory;
        ASSERT_EQ(reinterpret_cast<GetClassObject>(address("DllGetClassObject"))(
                      __uuidof(VeCmdManager), __uuidof(IClassFactory), reinterpret_cast<void**>(factory.receive())),
                  S_OK);
        ComPtr<IVeCmdManager> manager;
        ASSERT_EQ(
            factory->CreateInstance(nullptr, __uuidof(IVeCmdManager), reinterpret_cast<void**>(manager.receive())),
            S_OK);
        manager->put_CommPortId(fastPort());
        ULONG code = 1;
        manager->SwitchOperateMode(2, 0, &code);
        manager->InitCmdManager(0, &code);
        EXPECT_EQ(code, 0u);
        EXPECT_EQ(canUnloadNow(), S_FALSE);
    }
    EXPECT_EQ(canUnloadNow(), S_OK);
    FreeLibrary(module);
    EXPECT_TRUE(eventually([] { return GetModuleHandleW(L"unloadable.dll") == nullptr; }, 60000));
    DeleteFileW(copy.c_str());
}

}  // namespace
}  // namespace mova::test
