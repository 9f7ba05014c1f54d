// What a caller's stack looks like after a call. A 32-bit entry takes its arguments off the stack: a caller that finds one byte
// more or less there crashes some time later. Here the arguments are laid down by what the type library says of them.
#include <array>

#include "Client.h"

namespace mova::test {
namespace {

struct Called {
    std::uintptr_t result;
    std::intptr_t moved;  // the stack pointer by the call, in bytes; 0: all is as it was
};

// Calls with the words as arguments, the first one first. Whatever the function does to the stack pointer, the caller survives.
// clang-format off
[[gnu::noinline]] Called callWith(const void* function, const std::vector<std::uintptr_t>& words) {
    std::uintptr_t result = reinterpret_cast<std::uintptr_t>(function);
    std::intptr_t moved = 0;
    std::uintptr_t count = words.size();
    const std::uintptr_t* const first = words.data();
#ifdef __i386__
    asm volatile(
        "movl %%esp, %%esi\n\t"
        "1: testl %%ecx, %%ecx\n\t"
        "jz 2f\n\t"
        "pushl -4(%%edx, %%ecx, 4)\n\t"
        "decl %%ecx\n\t"
        "jmp 1b\n"
        "2: call *%%eax\n\t"
        "movl %%esp, %%edx\n\t"
        "subl %%esi, %%edx\n\t"
        "movl %%esi, %%esp"
        : "+a"(result), "=&d"(moved), "+c"(count)
        : "1"(first)
        : "esi", "memory", "cc");
#else
    asm volatile(
        "movq %%rsp, %%rsi\n\t"
        "leaq 5(%%rcx), %%rdi\n\t"  // room for four words at least, and the pointer stays even
        "andq $-2, %%rdi\n\t"
        "shlq $3, %%rdi\n\t"
        "subq %%rdi, %%rsp\n\t"
        "andq $-16, %%rsp\n"
        "1: testq %%rcx, %%rcx\n\t"
        "jz 2f\n\t"
        "movq -8(%%rdx, %%rcx, 8), %%rdi\n\t"
        "movq %%rdi, -8(%%rsp, %%rcx, 8)\n\t"
        "decq %%rcx\n\t"
        "jmp 1b\n"
        "2: movq %%rsp, %%rdi\n\t"
        "movq (%%rsp), %%rcx\n\t"
        "movq 8(%%rsp), %%rdx\n\t"
        "movq 16(%%rsp), %%r8\n\t"
        "movq 24(%%rsp), %%r9\n\t"
        "call *%%rax\n\t"
        "movq %%rsp, %%rdx\n\t"
        "subq %%rdi, %%rdx\n\t"
        "movq %%rsi, %%rsp"
        : "+a"(result), "=&d"(moved), "+c"(count)
        : "1"(first)
        : "rsi", "rdi", "r8", "r9", "r10", "r11", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "memory", "cc");
#endif
    return {result, moved};
}
// clang-format on

std::uintptr_t word(const void* pointer) { return reinterpret_cast<std::uintptr_t>(pointer); }

const void* slotOf(IUnknown* object, std::size_t slot) {
    return (*reinterpret_cast<const void* const* const*>(object))[slot];
}

Called callSlot(IUnknown* object, std::size_t slot, std::vector<std::uintptr_t> words) {
    words.insert(words.begin(), word(object));
    return callWith(slotOf(object, slot), words);
}

// The arguments of one entry, all of them empty: numbers are 0, texts "", what is pointed to is nothing.
class EmptyArguments {
public:
    explicit EmptyArguments(const FUNCDESC& function) {
        for (SHORT i = 0; i < function.cParams; ++i) add(function.lprgelemdescParam[i].tdesc);
    }
    const std::vector<std::uintptr_t>& words() const { return words_; }
    std::size_t bytes() const { return words_.size() * sizeof(std::uintptr_t); }

private:
    void add(const TYPEDESC& type) {
        switch (type.vt) {
            case VT_UI1:
            case VT_I2:
            case VT_UI2:
            case VT_INT:
            case VT_I4:
            case VT_UI4: words_.push_back(0); break;
            case VT_BSTR: words_.push_back(word(text_.get())); break;
            case VT_PTR: words_.push_back(word(&places_.at(used_++))); break;
            case VT_VARIANT:
                if constexpr (sizeof(void*) == 4) {
                    words_.insert(words_.end(), sizeof(VARIANT) / sizeof(void*), 0);
                } else {
                    words_.push_back(word(&places_.at(used_++)));  // larger than a word: by its address
                }
                break;
            default: ADD_FAILURE() << "no 32-bit host passes type " << type.vt;
        }
    }

    Text text_{L""};
    std::array<VARIANT, 8> places_{};
    std::size_t used_ = 0;
    std::vector<std::uintptr_t> words_;
};

ComPtr<ITypeInfo> vtableOf(IDispatch* object) {
    ComPtr<ITypeInfo> dispatch;
    EXPECT_EQ(object->GetTypeInfo(0, 0, dispatch.receive()), S_OK);
    HREFTYPE reference = 0;
    EXPECT_EQ(dispatch->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference), S_OK);
    ComPtr<ITypeInfo> view;
    EXPECT_EQ(dispatch->GetRefTypeInfo(reference, view.receive()), S_OK);
    return view;
}

TEST(Stack, IsLeftByEachOfThe59EntriesAsItWas) {
    const auto manager = makeManager();
    const auto info = vtableOf(manager.get());
    std::size_t called = 0;
    for (UINT i = 0; i < 59; ++i) {
        FUNCDESC* function = nullptr;
        ASSERT_EQ(info->GetFuncDesc(i, &function), S_OK);
        const auto slot = static_cast<std::size_t>(function->oVft) / sizeof(void*);
        const EmptyArguments arguments(*function);
        const Called outcome = callSlot(manager.get(), slot, arguments.words());
        EXPECT_EQ(outcome.moved, 0) << "slot " << slot << " with " << arguments.bytes() << " bytes";
        EXPECT_TRUE(SUCCEEDED(static_cast<HRESULT>(outcome.result))) << "slot " << slot;
        info->ReleaseFuncDesc(function);
        called += slot >= 7 && slot < 66;
    }
    EXPECT_EQ(called, 59u);
}

TEST(Stack, IsLeftByTheInheritedEntriesAsItWas) {
    const auto manager = makeManager();
    void* found = nullptr;
    UINT count = 0;
    DISPID id = 0;
    DISPPARAMS none{};
    const wchar_t* name = L"BaudRate";
    ComPtr<ITypeInfo> info;
    const GUID nobody = IID_NULL;
    EXPECT_EQ(callSlot(manager.get(), 0, {word(&__uuidof(IUnknown)), word(&found)}).moved, 0);
    EXPECT_EQ(callSlot(manager.get(), 1, {}).moved, 0);
    EXPECT_EQ(callSlot(manager.get(), 2, {}).moved, 0);
    EXPECT_EQ(callSlot(manager.get(), 2, {}).moved, 0);  // what QueryInterface gave
    EXPECT_EQ(callSlot(manager.get(), 3, {word(&count)}).moved, 0);
    EXPECT_EQ(callSlot(manager.get(), 4, {0, 0, word(info.receive())}).moved, 0);
    EXPECT_EQ(callSlot(manager.get(), 5, {word(&nobody), word(&name), 1, 0, word(&id)}).moved, 0);
    Variant rate;
    EXPECT_EQ(
        callSlot(manager.get(), 6, {1, word(&nobody), 0, DISPATCH_PROPERTYGET, word(&none), word(&rate.raw()), 0, 0})
            .moved,
        0);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(id, 1);
    EXPECT_EQ(rate.number(), 115200);
}

TEST(Stack, IsLeftByTheEventsInterfacesAsItWas) {
    const auto manager = makeManager();
    const auto container = ComPtr<IConnectionPointContainer>::of(manager.get());
    ComPtr<IEnumConnectionPoints> points;
    EXPECT_EQ(callSlot(container.get(), 3, {word(points.receive())}).moved, 0);
    ComPtr<IConnectionPoint> point;
    EXPECT_EQ(callSlot(container.get(), 4, {word(&__uuidof(_IVeCmdManagerEvents)), word(point.receive())}).moved, 0);
    IID iid{};
    ComPtr<IConnectionPointContainer> owner;
    DWORD cookie = 1;
    ComPtr<IEnumConnections> connections;
    EXPECT_EQ(callSlot(point.get(), 3, {word(&iid)}).moved, 0);
    EXPECT_EQ(callSlot(point.get(), 4, {word(owner.receive())}).moved, 0);
    EXPECT_EQ(callSlot(point.get(), 5, {0, word(&cookie)}).moved, 0);
    EXPECT_EQ(callSlot(point.get(), 6, {77}).moved, 0);
    EXPECT_EQ(callSlot(point.get(), 7, {word(connections.receive())}).moved, 0);
    ULONG fetched = 0;
    ComPtr<IConnectionPoint> next;
    ComPtr<IEnumConnectionPoints> copy;
    EXPECT_EQ(callSlot(points.get(), 3, {1, word(next.receive()), word(&fetched)}).moved, 0);
    EXPECT_EQ(callSlot(points.get(), 4, {1}).moved, 0);
    EXPECT_EQ(callSlot(points.get(), 5, {}).moved, 0);
    EXPECT_EQ(callSlot(points.get(), 6, {word(copy.receive())}).moved, 0);
    const auto classes = ComPtr<IProvideClassInfo2>::of(manager.get());
    ComPtr<ITypeInfo> info;
    GUID events{};
    EXPECT_EQ(callSlot(classes.get(), 3, {word(info.receive())}).moved, 0);
    EXPECT_EQ(callSlot(classes.get(), 4, {1, word(&events)}).moved, 0);
    EXPECT_EQ(events, __uuidof(_IVeCmdManagerEvents));
}

TEST(Stack, IsLeftByTheModulesEntryPointsAndTheFactoryAsItWas) {
    const HMODULE module = LoadLibraryW(dllPath().c_str());
    const auto entry = [&](const char* name) { return reinterpret_cast<const void*>(GetProcAddress(module, name)); };
    {
        ComPtr<IClassFactory> factory;
        EXPECT_EQ(callWith(entry("DllGetClassObject"),
                           {word(&__uuidof(VeCmdManager)), word(&__uuidof(IClassFactory)), word(factory.receive())})
                      .moved,
                  0);
        ComPtr<IVeCmdManager> made;
        EXPECT_EQ(callSlot(factory.get(), 3, {0, word(&__uuidof(IVeCmdManager)), word(made.receive())}).moved, 0);
        EXPECT_TRUE(made.get());
        EXPECT_EQ(callSlot(factory.get(), 4, {TRUE}).moved, 0);
        EXPECT_EQ(callSlot(factory.get(), 4, {FALSE}).moved, 0);
    }
    EXPECT_EQ(callWith(entry("DllCanUnloadNow"), {}).moved, 0);
    EXPECT_EQ(callWith(entry("DllRegisterServer"), {}).moved, 0);
    EXPECT_EQ(callWith(entry("DllInstall"), {TRUE, word(L"")}).moved, 0);
    FreeLibrary(module);
}

// What would be found: entries compiled for another calling convention, and for another number of arguments.
#ifdef __i386__
constexpr std::intptr_t kWord = sizeof(void*);
#else
constexpr std::intptr_t kWord = 0;  // there the caller lays down and takes off, and there is one convention
#endif
HRESULT __cdecl leavesItsArguments(void*, LONG, LONG) { return S_OK; }
HRESULT __stdcall takesOneTooMany(void*, LONG, LONG, LONG) { return S_OK; }
HRESULT __stdcall takesWhatItWasGiven(void*, LONG, LONG) { return S_OK; }

TEST(Stack, OfAnEntryOfAnotherConventionIsSeenToHaveMoved) {
    const std::vector<std::uintptr_t> words{0, 1, 2};
    EXPECT_EQ(callWith(reinterpret_cast<const void*>(&takesWhatItWasGiven), words).moved, 0);
    EXPECT_EQ(callWith(reinterpret_cast<const void*>(&leavesItsArguments), words).moved, -3 * kWord);
    EXPECT_EQ(callWith(reinterpret_cast<const void*>(&takesOneTooMany), words).moved, kWord);
}

TEST(Widths, NumbersOf64BitsAreTakenAsFarAsTheyFit) {
    const auto manager = makeManager();
    Variant code;
    const auto constant = [&](long long wide) {
        return call(manager.get(), L"SetAtCmdProperty",
                    {Variant::typed(VT_I8, wide).raw(), Variant(0).raw(), variable(code)})
            .result;
    };
    EXPECT_EQ(constant(50), S_OK);
    EXPECT_EQ(code.number(), 0x3001);
    EXPECT_EQ(constant(0x1'0000'0032), DISP_E_OVERFLOW);
    long long rate = 57600;
    EXPECT_EQ(call(manager.get(), L"BaudRate", {Variant::typed(VT_UI8, rate).raw()}, DISPATCH_PROPERTYPUT).result,
              S_OK);
    EXPECT_EQ(call(manager.get(), L"BaudRate", {}).value.number(), 57600);
}

TEST(Widths, HandlesGoThroughA32BitNumberAndBack) {
    const auto manager = openManager(fastPort());
    LONG number = -1;
    EXPECT_EQ(manager->GetDeviceHandle(&number), S_OK);
    const auto handle = reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(number));
    COMMTIMEOUTS timeouts{};
    EXPECT_TRUE(GetCommTimeouts(handle, &timeouts));
    HANDLE lent = nullptr;
    ASSERT_TRUE(
        DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &lent, 0, FALSE, DUPLICATE_SAME_ACCESS));
    ULONG closed = 1;
    EXPECT_EQ(manager->ResetCmdManager(0, &closed), S_OK);
    LONG code = 1;
    EXPECT_EQ(manager->SetDeviceHandle(static_cast<LONG>(reinterpret_cast<std::intptr_t>(lent)), &code), S_OK);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(manager->GetDeviceHandle(&number), S_OK);
    EXPECT_EQ(reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(number)), lent);
    EXPECT_NE(exchange(manager.get(), L"AT"), L"");
    EXPECT_EQ(manager->ResetCmdManager(0, &closed), S_OK);
    CloseHandle(lent);
}

}  // namespace
}  // namespace mova::test
