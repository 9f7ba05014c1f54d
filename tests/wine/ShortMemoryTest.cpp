// Each allocation that the component makes during a call failing once: the call fails with 0x8007000E and has written
// nothing, or does without; nothing is left behind, and the next call has its usual outcome. The component is the DLL
// itself; what it asks of the system and of the runtime passes through here.
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "Client.h"
#include "Imports.h"
#include "Sink.h"
#include "campaigns/allocation/Shortage.h"

namespace mova::test {
namespace {

constexpr HRESULT kOutOfMemory = static_cast<HRESULT>(0x8007000E);

// --- what stands between the component and the system

void* allocate(std::size_t size) {
    if (!memory::fails()) return std::malloc(size);
    errno = ENOMEM;
    return nullptr;
}

void* allocateCleared(std::size_t count, std::size_t size) {
    return memory::fails() ? nullptr : std::calloc(count, size);
}

void* allocateAgain(void* block, std::size_t size) { return memory::fails() ? nullptr : std::realloc(block, size); }

BSTR WINAPI allocateText(const OLECHAR* text, UINT length) {
    return memory::fails() ? nullptr : SysAllocStringLen(text, length);
}

SAFEARRAY* WINAPI createVector(VARTYPE type, LONG lower, ULONG count) {
    return memory::fails() ? nullptr : SafeArrayCreateVector(type, lower, count);
}

// Only texts take memory.
HRESULT WINAPI changeType(VARIANT* to, const VARIANT* from, USHORT flags, VARTYPE type) {
    if (type == VT_BSTR && memory::fails()) return kOutOfMemory;
    return VariantChangeType(to, const_cast<VARIANT*>(from), flags, type);
}

HRESULT WINAPI loadTypeLibrary(const OLECHAR* path, REGKIND kind, ITypeLib** library) {
    return memory::fails() ? kOutOfMemory : LoadTypeLibEx(path, kind, library);
}

HRESULT WINAPI createInstance(REFCLSID id, IUnknown* outer, DWORD context, REFIID iid, void** object) {
    return memory::fails() ? kOutOfMemory : CoCreateInstance(id, outer, context, iid, object);
}

// The component's threads are watched from their first step.
struct Start {
    LPTHREAD_START_ROUTINE routine;
    void* argument;
};

DWORD WINAPI startWatched(void* argument) {
    const Start start = *std::unique_ptr<Start>(static_cast<Start*>(argument));
    memory::watch(true);
    return start.routine(start.argument);
}

HANDLE WINAPI createThread(SECURITY_ATTRIBUTES* security, SIZE_T stack, LPTHREAD_START_ROUTINE routine, void* argument,
                           DWORD flags, DWORD* id) {
    auto start = std::make_unique<Start>(Start{routine, argument});
    const HANDLE thread = CreateThread(security, stack, startWatched, start.get(), flags, id);
    if (thread) static_cast<void>(start.release());
    return thread;
}

std::atomic<int> comInitialised{0};  // and not uninitialised, by the component

HRESULT WINAPI initialiseCom(void* reserved, DWORD model) {
    const HRESULT result = memory::fails() ? kOutOfMemory : CoInitializeEx(reserved, model);
    if (SUCCEEDED(result)) ++comInitialised;
    return result;
}

void WINAPI uninitialiseCom() {
    --comInitialised;
    CoUninitialize();
}

template <class Function>
void* addressOf(Function* function) {
    return reinterpret_cast<void*>(function);
}

HMODULE component() { return GetModuleHandleW(dllPath().c_str()); }

// In use from here to the test's end, and no longer: others see it unloaded.
class Loaded {
public:
    Loaded() : module_(LoadLibraryW(dllPath().c_str())) {}
    Loaded(const Loaded&) = delete;
    Loaded& operator=(const Loaded&) = delete;
    ~Loaded() { FreeLibrary(module_); }

private:
    const HMODULE module_;
};

class Allocations {
public:
    ~Allocations() { memory::relieve(); }

private:
    const Import imports_[10] = {{component(), "malloc", addressOf(allocate)},
                                 {component(), "calloc", addressOf(allocateCleared)},
                                 {component(), "realloc", addressOf(allocateAgain)},
                                 {component(), "SysAllocStringLen", addressOf(allocateText)},
                                 {component(), "SafeArrayCreateVector", addressOf(createVector)},
                                 {component(), "VariantChangeType", addressOf(changeType)},
                                 {component(), "LoadTypeLibEx", addressOf(loadTypeLibrary)},
                                 {component(), "CoCreateInstance", addressOf(createInstance)},
                                 {component(), "CoInitializeEx", addressOf(initialiseCom)},
                                 {component(), "CoUninitialize", addressOf(uninitialiseCom)}};
};

// The system keeps freed texts for the next that ask: a freed one would still look whole.
void keepNoFreedTexts() {
    using SetNoCache = void(WINAPI*)();
    const auto set = reinterpret_cast<SetNoCache>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"oleaut32.dll"), "SetOaNoCache")));
    ASSERT_TRUE(set);
    set();
}

// --- calls and what they leave in their arguments

std::wstring shown(const Variant& value) {
    switch (value.type()) {
        case VT_EMPTY: return L"nothing ";
        case VT_BSTR: return L"'" + value.text() + L"' ";
        case VT_I4: return std::to_wstring(value.number()) + L" ";
        case VT_ARRAY | VT_UI1: {
            const std::string bytes = value.bytes();
            return L"[" + std::wstring(bytes.begin(), bytes.end()) + L"] ";
        }
        case VT_ARRAY | VT_VARIANT: {
            std::wstring text;
            const SAFEARRAY* const array = V_ARRAY(&value.raw());
            for (ULONG i = 0; i < array->rgsabound[0].cElements; ++i) {
                Variant element;
                VariantChangeType(&element.raw(), &static_cast<VARIANT*>(array->pvData)[i], 0, VT_BSTR);
                text += shown(element);
            }
            return text;
        }
        default: return L"type " + std::to_wstring(value.type()) + L" ";
    }
}

struct Attempt {
    HRESULT result = E_FAIL;
    std::wstring left;
};

using Manager = IVeCmdManager*;

// A compiled client's out-text. What it holds before is not the component's to free.
class OutText {
public:
    ~OutText() {
        if (text_ != before_.get()) SysFreeString(text_);
    }
    BSTR* out() { return &text_; }
    BSTR get() const { return text_; }

private:
    const Text before_{L"before"};
    BSTR text_ = before_.get();
};

class Left {
public:
    Left& operator<<(LONG number) { return add(std::to_wstring(number)); }
    Left& operator<<(ULONG number) { return add(std::to_wstring(number)); }
    Left& operator<<(double number) { return add(std::to_wstring(static_cast<int>(number))); }
    Left& operator<<(BSTR text) { return add(L"'" + std::wstring(text, text + SysStringLen(text)) + L"'"); }
    Left& operator<<(const OutText& text) { return *this << text.get(); }
    Left& operator<<(const Text& text) { return *this << text.get(); }
    const std::wstring& all() const { return text_; }

private:
    Left& add(const std::wstring& text) {
        text_ += text + L" ";
        return *this;
    }
    std::wstring text_;
};

template <class Call>
HRESULT watched(Call call) {
    const memory::Watch watch;
    return call();
}

struct Shape {
    const char* name;
    std::wstring before;   // in the caller's variables
    std::wstring outcome;  // there after success
    std::function<Attempt(Manager)> call;
    std::function<void(Manager)> prepare = [](Manager) {};
    bool always = true;     // takes memory
    HRESULT result = S_OK;  // of the healthy call
};

struct Parameter {
    Variant value;
    bool out = false;
};
Parameter in(Variant value) { return {std::move(value), false}; }
Parameter out(Variant before = 7) { return {std::move(before), true}; }

std::wstring shownOut(const std::vector<Parameter>& parameters) {
    std::wstring text;
    for (const Parameter& parameter : parameters) {
        if (parameter.out) text += shown(parameter.value);
    }
    return text;
}

enum class Result { None, Returned };

// A script's call, with variables for the out-parameters.
Shape late(
    const char* name, DISPID id, std::vector<Parameter> parameters, Result result, const std::wstring& outcome,
    std::function<void(Manager)> prepare = [](Manager) {}, bool always = true) {
    const std::wstring none = result == Result::Returned ? L"nothing " : L"";
    const std::wstring before = shownOut(parameters) + none;
    const auto run = [id, parameters, result](Manager manager) {
        std::vector<Parameter> own = parameters;
        std::vector<VARIANT> arguments;
        for (Parameter& parameter : own) {
            arguments.push_back(parameter.out ? variable(parameter.value) : parameter.value.raw());
        }
        Outcome made;
        const HRESULT failure = watched([&] {
            made = call(manager, id, arguments);
            return made.failure();
        });
        return Attempt{failure, shownOut(own) + (result == Result::Returned ? shown(made.value) : L"")};
    };
    return {name, before, outcome, run, std::move(prepare), always};
}

// --- what the calls need beforehand

void clear(Manager manager) {
    LONG ignored = 0;
    EXPECT_EQ(manager->ClearQueue(&ignored), S_OK);
}

// A confirmation of the bytes 05 00 41 42 waits in the queue.
void queueOne(Manager manager) {
    clear(manager);
    ULONG code = 1;
    EXPECT_EQ(manager->RfGeneralTestReq(5, 0x4241, &code), S_OK);
    EXPECT_EQ(code, 0u);
}

// The handset's whole answer, CR LF O K CR LF, waits at the port.
void letAnswer(Manager manager) {
    clear(manager);
    const Text command(L"41540D");
    LONG written = 0;
    LONG code = 1;
    EXPECT_EQ(manager->DirectWriteHexData(command.get(), 3, &written, &code), S_OK);
    EXPECT_EQ(code, 0);
    EXPECT_TRUE(eventually([&] {
        LONG waiting = 0;
        manager->DirectQueryDataInQueue(&waiting);
        return waiting >= 6;
    }));
}

// --- the shapes

// clang-format off
const std::vector<Shape>& shapes() {
    static const std::vector<Shape> all{
        {"VersionBySlot", L"'before' ", L"'<MovaCmdSvr Ver 1.8.6>' ", [](Manager m) {
            OutText t;
            const HRESULT r = watched([&] { return m->GetCmpVersion(3, t.out()); });
            return Attempt{r, (Left() << t).all()}; }},
        {"E2pReadBySlot", L"'before' 7 ", L"'AA0B' 0 ", [](Manager m) {
            OutText t; LONG e = 7;
            const HRESULT r = watched([&] { return m->ReadE2PObject(0x1234, 2, t.out(), &e); });
            return Attempt{r, (Left() << t << e).all()}; }},
        {"E2pWriteBySlot", L"'aa0b' 7 ", L"'AA0B' 0 ", [](Manager m) {
            Text t(L"aa0b"); LONG e = 7;
            const HRESULT r = watched([&] { return m->WriteE2PObject(0x1234, 2, t.inOut(), &e); });
            return Attempt{r, (Left() << t << e).all()}; }},
        {"E2pRangeReadBySlot", L"9 'before' 7 ", L"2 '0B' 0 ", [](Manager m) {
            LONG l = 9, e = 7; OutText t;
            const HRESULT r = watched([&] { return m->ReadE2PObjectEx(0x1234, 2, 2, &l, t.out(), &e); });
            return Attempt{r, (Left() << l << t << e).all()}; }},
        {"E2pRangeWriteBySlot", L"9 '0b' 7 ", L"2 '0b' 0 ", [](Manager m) {
            LONG l = 9, e = 7; Text t(L"0b");
            const HRESULT r = watched([&] { return m->WriteE2PObjectEx(0x1234, 2, 2, &l, t.inOut(), &e); });
            return Attempt{r, (Left() << l << t << e).all()}; }},
        {"AtAnswerBySlot", L"7 'before' 7 ", L"3 'OK~' 0 ", [](Manager m) {
            LONG l = 7, e = 7; Text t(L"before");
            const HRESULT r = watched([&] { return m->GetNormalAtResult(2, &l, t.inOut(), &e); });
            return Attempt{r, (Left() << l << t << e).all()}; }, letAnswer},
        {"ConfirmationBytesBySlot", L"7 7 7 'before' ", std::wstring(L"0 4 0 '\x0005\x4241\0\0\0' ", 14), [](Manager m) {
            ULONG left = 7, l = 7, e = 7; OutText t;
            const HRESULT r = watched([&] { return m->FetchQueuedCnfItem(&left, &l, &e, t.out()); });
            return Attempt{r, (Left() << left << l << e << t).all()}; }, queueOne},
        {"ConfirmationTextBySlot", L"7 7 7 'before' ", L"0 8 0 '05004142' ", [](Manager m) {
            LONG left = 7, l = 7, e = 7; OutText t;
            const HRESULT r = watched([&] { return m->FetchQueuedCnfTextItem(&left, &l, &e, t.out()); });
            return Attempt{r, (Left() << left << l << e << t).all()}; }, queueOne},
        {"InfoBySlot", L"'before' 7 ", L"'490154203237518' 0 ", [](Manager m) {
            const Text p(L""); OutText t; LONG e = 7;
            const HRESULT r = watched([&] { return m->SpecificInfo(2, 0, p.get(), t.out(), &e); });
            return Attempt{r, (Left() << t << e).all()}; }},
        {"HciBySlot", L"'before' 7 ", L"'000102' 0 ", [](Manager m) {
            const Text p(L"0102"); OutText t; LONG e = 7;
            const HRESULT r = watched([&] { return m->HciAction(0, p.get(), t.out(), &e); });
            return Attempt{r, (Left() << t << e).all()}; }},
        {"WiFiBySlot", L"'before' 7 ", L"'AABB' 0 ", [](Manager m) {
            const Text p(L"AABB"); OutText t; LONG e = 7;
            const HRESULT r = watched([&] { return m->WiFiAction(0x21, p.get(), t.out(), &e); });
            return Attempt{r, (Left() << t << e).all()}; }},
        {"RawHexBySlot", L"'before' 7 7 ", L"'0D0A4F' 3 0 ", [](Manager m) {
            LONG n = 7, e = 7; OutText t;
            const HRESULT r = watched([&] { return m->DirectReadHexData(t.out(), 3, &n, &e); });
            return Attempt{r, (Left() << t << n << e).all()}; }, letAnswer},
        {"CollectedBySlot", L"'before' ", L"'0D0A4F4B0D0A' ", [](Manager m) {
            OutText t; LONG ignored = 7;
            const HRESULT r = watched([&] { return m->RetriveComPortData(3, 20, t.out(), &ignored); });
            return Attempt{r, (Left() << t).all()}; }, letAnswer},
        {"TableBySlot", L"7 ", L"0 ", [](Manager m) {
            ULONG e = 7; const Variant a = Variant::byteArray("ab");
            const HRESULT r = watched([&] { return m->RfChangeTableReq(1, 2, 3, 2, a.raw(), &e); });
            EXPECT_EQ(shown(a), L"[ab] ");
            EXPECT_EQ(V_ARRAY(&a.raw())->cLocks, 0u);
            return Attempt{r, (Left() << e).all()}; }, clear},
        {"ArrayOutBySlot", L"[kept] 7 7 ", L"[\r\nOt] 3 0 ", [](Manager m) {
            Variant a = Variant::byteArray("kept"); LONG n = 7, e = 7;
            const HRESULT r = watched([&] { return m->DirectReadAsciiData(&a.raw(), 3, &n, &e); });
            EXPECT_EQ(V_ARRAY(&a.raw())->cLocks, 0u);
            return Attempt{r, shown(a) + (Left() << n << e).all()}; }, letAnswer, false},
        {"ArrayInBySlot", L"7 ", L"2 ", [](Manager m) {
            const Variant a = Variant::byteArray("\n\n"); LONG n = 7, ignored = 7;
            const HRESULT r = watched([&] { return m->DirectWriteAsciiData(a.raw(), 2, &n, &ignored); });
            EXPECT_EQ(V_ARRAY(&a.raw())->cLocks, 0u);
            return Attempt{r, (Left() << n).all()}; }, clear, false},
        {"HexOutBySlot", L"7 7 ", L"1 0 ", [](Manager m) {
            const Text t(L"0A0D"); LONG n = 7, e = 7;
            const HRESULT r = watched([&] { return m->DirectWriteHexData(t.get(), 1, &n, &e); });
            return Attempt{r, (Left() << n << e).all()}; }, clear, false},
        {"NumbersBySlot", L"7 ", L"0 ", [](Manager m) {
            ULONG e = 7;
            const HRESULT r = watched([&] { return m->RfGeneralTestReq(5, 1, &e); });
            return Attempt{r, (Left() << e).all()}; }, clear},
        {"TextRequestBySlot", L"7 ", L"0 ", [](Manager m) {
            const Text t(L"1"); LONG e = 7;
            const HRESULT r = watched([&] { return m->VbRfVarReq(3, 7, t.get(), &e); });
            return Attempt{r, (Left() << e).all()}; }, clear},
        {"LogPathBySlot", L"", L"", [](Manager m) {
            const Text t(L"C:\\a-path-that-is-longer-than-a-short-text.log"), none(L"");
            const HRESULT r = watched([&] { return m->Set_Log_File_Path(t.get()); });
            EXPECT_EQ(m->Set_Log_File_Path(none.get()), S_OK);
            return Attempt{r, L""}; }},
        {"PropertyBySlot", L"7 ", L"115200 ", [](Manager m) {
            LONG v = 7;
            const HRESULT r = watched([&] { return m->get_BaudRate(&v); });
            return Attempt{r, (Left() << v).all()}; }, [](Manager) {}, false},

        late("VersionByName", 33, {in(3)}, Result::Returned, L"'<MovaCmdSvr Ver 1.8.6>' "),
        late("E2pReadByName", 16, {in(0x1234), in(2), out(L"before")}, Result::Returned, L"'AA0B' 0 "),
        late("E2pWriteByName", 17, {in(0x1234), in(2), out(L"aa0b")}, Result::Returned, L"'AA0B' 0 "),
        late("E2pRangeReadByName", 36, {in(0x1234), in(2), in(2), out(9), out(L"before")}, Result::Returned, L"2 '0B' 0 "),
        late("E2pRangeWriteByName", 37, {in(0x1234), in(2), in(2), out(9), out(L"0b")}, Result::Returned, L"2 '0b' 0 "),
        late("AtAnswerByName", 23, {in(2), out(), out(L"before")}, Result::Returned, L"3 'OK~' 0 ", letAnswer),
        late("ConfirmationBytesByName", 14, {out(), out(), out(), out(L"before")}, Result::None, std::wstring(L"0 4 0 '\x0005\x4241\0\0\0' ", 14), queueOne),
        late("ConfirmationTextByName", 39, {out(), out(), out(), out(L"before")}, Result::None, L"0 8 0 '05004142' ", queueOne),
        late("InfoByName", 46, {in(2), in(0), in(L""), out(L"before")}, Result::Returned, L"'490154203237518' 0 "),
        late("HciByName", 47, {in(0), in(L"0102"), out(L"before")}, Result::Returned, L"'000102' 0 "),
        late("HciWithANumberForAText", 47, {in(0), in(1002), out(L"before")}, Result::Returned, L"'001002' 0 "),
        late("WiFiByName", 52, {in(0x21), in(L"AABB"), out(L"before")}, Result::Returned, L"'AABB' 0 "),
        late("RawHexByName", 42, {out(L"before"), in(3), out()}, Result::Returned, L"'0D0A4F' 3 0 ", letAnswer),
        late("TableByName", 7, {in(1), in(2), in(3), in(2), in(Variant::byteArray("ab")), out()}, Result::None, L"0 ", clear),
        late("ArrayOutByName", 49, {out(Variant::byteArray("kept")), in(3), out()}, Result::Returned, L"[\r\nOt] 3 0 ", letAnswer),
        late("ScriptArrayOutByName", 49, {out(Variant::scriptArray({Variant(L"k"), Variant(L"ept"), Variant(1), Variant(L"end")})), in(3), out()},
             Result::Returned, L"'13' '10' '79' 'end' 3 0 ", letAnswer),
        late("ArrayInByName", 48, {in(Variant::byteArray("\n\n")), in(2), out()}, Result::None, L"2 ", clear),
        late("BytesOfAnArrayByName", 57, {in(Variant::byteArray("\n\n")), in(2), out()}, Result::Returned, L"2 0 ", clear),
        late("BytesOfAScriptArrayByName", 57, {in(Variant::scriptArray({Variant(10), Variant(L"10")})), in(2), out()}, Result::Returned, L"2 0 ", clear),
        late("NumbersByName", 5, {in(5), in(1), out()}, Result::None, L"0 ", clear),
        late("TextRequestByName", 45, {in(3), in(7), in(L"1")}, Result::Returned, L"0 ", clear),
        late("PropertyByName", 1, {}, Result::Returned, L"115200 ", [](Manager) {}, false),

        // Calls that are refused anyway.
        {"E2pReadOfNothingBySlot", L"'before' 7 ", L"'before' 33282 ", [](Manager m) {
            OutText t; LONG e = 7;
            const HRESULT r = watched([&] { return m->ReadE2PObject(0x9999, 9, t.out(), &e); });
            return Attempt{r, (Left() << t << e).all()}; }, [](Manager) {}, true, S_FALSE},
        {"WrongTypeByName", L"65535 'before' ", L"2 'before' ", [](Manager m) {
            Outcome made; Variant code(L"before");
            const HRESULT r = watched([&] {
                made = call(m, DISPID{11}, {Variant(L"text").raw(), Variant(0).raw(), variable(code)});
                return made.failure(); });
            return Attempt{r, (Left() << static_cast<LONG>(made.wrongArgument)).all() + shown(code)}; }, [](Manager) {}, true, DISP_E_TYPEMISMATCH},
        {"PropertyPutByName", L"", L"", [](Manager m) {
            const HRESULT r = watched([&] { return call(m, DISPID{1}, {Variant(115200).raw()}, DISPATCH_PROPERTYPUT).failure(); });
            return Attempt{r, L""}; }, [](Manager) {}, false},

        // Typed references, of which some take a number as a text.
        {"ConfirmationIntoTypedReferences", L"'one' 7 'three' 'before' ", L"'0' 8 '0' '05004142' ", [](Manager m) {
            Text left(L"one"), e(L"three"), t(L"before"); double l = 7;
            const HRESULT r = watched([&] {
                return call(m, DISPID{39}, {reference(VT_BSTR, left.inOut()), reference(VT_R8, &l), reference(VT_BSTR, e.inOut()),
                                            reference(VT_BSTR, t.inOut())}).failure(); });
            return Attempt{r, (Left() << left << l << e << t).all()}; }, queueOne},
        {"E2pWriteWithTypedReferences", L"'aa0b' ", L"'AA0B' ", [](Manager m) {
            Text t(L"aa0b");
            const HRESULT r = watched([&] { return call(m, DISPID{17}, {Variant(0x1234).raw(), Variant(2).raw(), reference(VT_BSTR, t.inOut())}).failure(); });
            return Attempt{r, (Left() << t).all()}; }},
    };
    return all;
}
// clang-format on

struct Totals {
    unsigned shapes = 0;
    unsigned failed = 0;
    unsigned refused = 0;
};

Totals sum;

class TotalsPrinter : public testing::Environment {
public:
    void TearDown() override {
        std::printf("allocation failures through COM: %u calls, %u allocations failed, 0x8007000E %u times\n",
                    sum.shapes, sum.failed, sum.refused);
    }
};

[[maybe_unused]] const auto* const kPrinter = testing::AddGlobalTestEnvironment(new TotalsPrinter);

class ShortMemory : public testing::Test {
protected:
    static void SetUpTestSuite() { keepNoFreedTexts(); }

    // Every allocation of the call in turn, and again until a round has left nothing.
    void tryAll(const Shape& shape, Manager manager);

private:
    void tryRound(const Shape& shape, Manager manager, Totals& totals);
    bool leavesNothing(const Shape& shape, Manager manager, Totals& totals);
    static void expectOutcome(const Shape& shape, const Attempt& attempt) {
        EXPECT_EQ(attempt.result, shape.result);
        EXPECT_EQ(attempt.left, shape.outcome);
    }

    const Loaded loaded_;
    const Allocations allocations_;
};

void ShortMemory::tryRound(const Shape& shape, Manager manager, Totals& totals) {
    for (unsigned nth = 1; !HasFailure(); ++nth) {
        SCOPED_TRACE(std::string(shape.name) + ", allocation " + std::to_string(nth));
        shape.prepare(manager);
        memory::failOnce(nth);
        const Attempt attempt = shape.call(manager);
        memory::relieve();
        if (!memory::reached()) {
            expectOutcome(shape, attempt);
            return;
        }
        ++totals.failed;
        if (attempt.result == kOutOfMemory) {
            ++totals.refused;
            EXPECT_EQ(attempt.left, shape.before);
        } else {  // it does without
            expectOutcome(shape, attempt);
        }
        if (!manager) continue;  // the shape tries the object of its own itself
        shape.prepare(manager);
        expectOutcome(shape, shape.call(manager));
    }
}

bool ShortMemory::leavesNothing(const Shape& shape, Manager manager, Totals& totals) {
    constexpr unsigned kThreadsEndWithin = 500;  // milliseconds
    const std::size_t bytes = heapBytes();
    const std::size_t open = handles();
    tryRound(shape, manager, totals);
    return eventually([&] { return heapBytes() <= bytes && handles() <= open; }, kThreadsEndWithin);
}

// The system may keep a little more after one round, but not after each.
void ShortMemory::tryAll(const Shape& shape, Manager manager) {
    constexpr int kRounds = 4;
    Totals totals;
    tryRound(shape, manager, totals);  // what is made once is made now
    bool clean = false;
    for (int round = 0; round < kRounds && !clean && !HasFailure(); ++round) {
        clean = leavesNothing(shape, manager, totals);
    }
    EXPECT_TRUE(clean) << "something is left after each round";
    EXPECT_TRUE(!shape.always || totals.refused > 0);
    ++sum.shapes;
    sum.failed += totals.failed;
    sum.refused += totals.refused;
}

// --- calls on an open port

class ShortMemoryCall : public ShortMemory, public testing::WithParamInterface<Shape> {
protected:
    static void SetUpTestSuite() {
        ShortMemory::SetUpTestSuite();
        manager = openManager(fastPort());
        exchange(manager.get(), L"ATE0");
        ULONG code = 1;
        manager->SwitchOperateMode(3, 0, &code);  // requests wait for the handset's OK
        Text object(L"aa0b");
        LONG result = 1;
        EXPECT_EQ(manager->WriteE2PObject(0x1234, 2, object.inOut(), &result), S_OK);
    }
    static void TearDownTestSuite() {
        exchange(manager.get(), L"ATE1");
        manager = {};
    }

    static inline ComPtr<IVeCmdManager> manager;
};

void PrintTo(const Shape& shape, std::ostream* stream) { *stream << shape.name; }

TEST_P(ShortMemoryCall, FailsWholeAndLeavesTheObjectOfUse) { tryAll(GetParam(), manager.get()); }

INSTANTIATE_TEST_SUITE_P(Shapes, ShortMemoryCall, testing::ValuesIn(shapes()),
                         [](const auto& shape) { return shape.param.name; });

// --- objects and what belongs to them

ComPtr<IClassFactory> factory() {
    using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
    const auto get =
        reinterpret_cast<GetClassObject>(reinterpret_cast<void*>(GetProcAddress(component(), "DllGetClassObject")));
    ComPtr<IClassFactory> made;
    EXPECT_EQ(get(__uuidof(VeCmdManager), __uuidof(IClassFactory), reinterpret_cast<void**>(made.receive())), S_OK);
    return made;
}

HRESULT make(ComPtr<IVeCmdManager>& made) {
    return factory()->CreateInstance(nullptr, __uuidof(IVeCmdManager), reinterpret_cast<void**>(made.receive()));
}

ComPtr<IVeCmdManager> fresh() {
    ComPtr<IVeCmdManager> made;
    EXPECT_EQ(make(made), S_OK);
    return made;
}

// A call that hands out an interface.
template <class Interface, class Call>
Attempt handsOut(Call call) {
    ComPtr<Interface> made;
    const HRESULT result = watched([&] { return call(made.receive()); });
    return {result, made ? L"made" : L"none"};
}

void switchTo(Manager manager, ULONG mode) {
    ULONG code = 1;
    EXPECT_EQ(manager->SwitchOperateMode(mode, 0, &code), S_OK);
    EXPECT_EQ(code, 0u);
}

// A subscriber that stays away when it could not be taken in.
Attempt subscribe(bool proxy) {
    Sink sink;
    sink.proxy = proxy;
    DWORD cookie = 7;
    HRESULT result = S_OK;
    {
        const auto manager = fresh();
        const auto point = pointOf(manager.get());
        result = watched([&] { return point->Advise(&sink, &cookie); });
        if (FAILED(result)) {
            EXPECT_EQ(cookie, 0u);
            EXPECT_EQ(sink.references, 1u);
            point->Unadvise(advise(manager.get(), sink));
        } else {
            constexpr ULONG kTheTestAndThePlace = 2;
            EXPECT_EQ(sink.references > kTheTestAndThePlace, proxy) << "whether other threads can fetch it";
        }
    }
    EXPECT_EQ(sink.references, 1u);
    return {result, cookie != 0 ? L"subscribed" : L"not"};
}

const std::vector<Shape>& firstSteps() {
    static const std::vector<Shape> all{
        {"Creation", L"none", L"made",
         [](Manager) {
             ComPtr<IVeCmdManager> made;
             const HRESULT result = watched([&] { return make(made); });
             return Attempt{result, made ? L"made" : L"none"};
         }},
        {"Names", L"-1 ", L"16 ",
         [](Manager) {
             const auto manager = fresh();
             LPOLESTR name = const_cast<LPOLESTR>(L"ReadE2PObject");
             DISPID id = DISPID_UNKNOWN;
             const HRESULT result =
                 watched([&] { return manager->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id); });
             EXPECT_EQ(idOf(manager.get(), name), 16);
             return Attempt{result, (Left() << id).all()};
         }},
        {"FirstLateBoundCall", L"nothing ", L"'<MovaCmdSvr Ver 1.8.6>' ",
         [](Manager) {
             const auto manager = fresh();
             Outcome made;
             const HRESULT result = watched([&] {
                 made = call(manager.get(), DISPID{33}, {Variant(3).raw()});
                 return made.failure();
             });
             EXPECT_EQ(call(manager.get(), DISPID{33}, {Variant(3).raw()}).value.text(), L"<MovaCmdSvr Ver 1.8.6>");
             return Attempt{result, shown(made.value)};
         }},
        {"TypeInformation", L"none", L"made",
         [](Manager) {
             const auto manager = fresh();
             return handsOut<ITypeInfo>(
                 [&](ITypeInfo** info) { return manager->GetTypeInfo(0, LOCALE_USER_DEFAULT, info); });
         }},
        {"ClassInformation", L"none", L"made",
         [](Manager) {
             const auto manager = fresh();
             return handsOut<ITypeInfo>(
                 [&](ITypeInfo** info) { return ComPtr<IProvideClassInfo>::of(manager.get())->GetClassInfo(info); });
         }},
        {"Subscription", L"not", L"subscribed", [](Manager) { return subscribe(false); }},
        {"SubscriptionOfAProxy", L"not", L"subscribed", [](Manager) { return subscribe(true); }},
        {"Unsubscription", L"", L"",
         [](Manager) {
             const auto manager = fresh();
             Sink sink;
             sink.proxy = true;
             const auto point = pointOf(manager.get());
             const DWORD cookie = advise(manager.get(), sink);
             const HRESULT result = watched([&] { return point->Unadvise(cookie); });
             EXPECT_EQ(sink.references, 1u);
             return Attempt{result, L""};
         },
         [](Manager) {}, false},
        {"LastRelease", L"", L"",
         [](Manager) {
             Sink sink;
             sink.proxy = true;
             auto manager = openManager(spareFastPort());
             switchTo(manager.get(), 1);
             advise(manager.get(), sink);
             const HRESULT result = watched([&] {
                 manager = {};
                 return S_OK;
             });
             EXPECT_EQ(sink.references, 1u);
             return Attempt{result, L""};
         },
         [](Manager) {}, false},
        {"Opening", L"7 ", L"0 ",
         [](Manager) {
             const auto manager = fresh();
             manager->put_CommPortId(spareFastPort());
             ULONG code = 7;
             const HRESULT result = watched([&] { return manager->InitCmdManager(0, &code); });
             ULONG again = 7;
             EXPECT_EQ(manager->InitCmdManager(0, &again), S_OK);
             EXPECT_EQ(again, 0u);
             return Attempt{result, (Left() << code).all()};
         }},
        {"ReadersStart", L"7 ", L"0 ",
         [](Manager) {
             const auto manager = openManager(spareFastPort());
             ULONG code = 7;
             const HRESULT result = watched([&] { return manager->SwitchOperateMode(1, 0, &code); });
             switchTo(manager.get(), 3);
             switchTo(manager.get(), 1);
             return Attempt{result, (Left() << code).all()};
         }},
        {"Connections", L"none", L"made",
         [](Manager) {
             const auto manager = fresh();
             Sink sink;
             advise(manager.get(), sink);
             return handsOut<IEnumConnections>(
                 [&](IEnumConnections** out) { return pointOf(manager.get())->EnumConnections(out); });
         }},
        {"ConnectionPoints", L"none", L"made",
         [](Manager) {
             const auto container = ComPtr<IConnectionPointContainer>::of(fresh().get());
             return handsOut<IEnumConnectionPoints>(
                 [&](IEnumConnectionPoints** out) { return container->EnumConnectionPoints(out); });
         }},
        {"ConnectionPointsAgain", L"none", L"made",
         [](Manager) {
             const auto container = ComPtr<IConnectionPointContainer>::of(fresh().get());
             ComPtr<IEnumConnectionPoints> points;
             EXPECT_EQ(container->EnumConnectionPoints(points.receive()), S_OK);
             return handsOut<IEnumConnectionPoints>([&](IEnumConnectionPoints** out) { return points->Clone(out); });
         }},
    };
    return all;
}

// The pauses at an object's beginning and end.
void WINAPI skipPause(DWORD) { SwitchToThread(); }
HANDLE WINAPI noTimer(SECURITY_ATTRIBUTES*, const wchar_t*, DWORD, DWORD) { return nullptr; }

class ShortMemoryObject : public ShortMemory, public testing::WithParamInterface<Shape> {
private:
    const Import pauses_[2] = {{component(), "Sleep", addressOf(skipPause)},
                               {component(), "CreateWaitableTimerExW", addressOf(noTimer)}};
};

TEST_P(ShortMemoryObject, IsMadeWholeOrNotAtAll) { tryAll(GetParam(), nullptr); }

INSTANTIATE_TEST_SUITE_P(Steps, ShortMemoryObject, testing::ValuesIn(firstSteps()),
                         [](const auto& shape) { return shape.param.name; });

// --- events

// Asks the handset for two confirmations, far enough from each other to be taken in one by one.
void askForTwo(Manager manager) {
    const Text command(L"AT%CNF=2,30");
    LONG code = 1;
    EXPECT_EQ(manager->SendNormalAtCmd(0, command.get(), &code), S_OK);
    EXPECT_EQ(code, 0);
}

std::size_t confirmations(Sink& sink) {
    std::size_t count = 0;
    for (const Event& event : sink.events()) count += event.text.starts_with(L"7E00");
    return count;
}

class ShortMemoryThread : public ShortMemory {
private:
    const Import threads_{component(), "CreateThread", addressOf(createThread)};
};

// The reader's thread is a new one each time: its first steps are among what fails.
TEST_F(ShortMemoryThread, TakesOneEventAtMostAndLeavesTheReaderAtWork) {
    const auto manager = openManager(fastPort());
    exchange(manager.get(), L"ATE0");
    Sink sink;
    const DWORD cookie = advise(manager.get(), sink);
    unsigned lost = 0;
    unsigned nth = 1;
    for (; nth < 100 && !HasFailure(); ++nth) {
        SCOPED_TRACE("allocation " + std::to_string(nth));
        const std::size_t before = confirmations(sink);
        memory::failOnce(nth);
        switchTo(manager.get(), 1);
        askForTwo(manager.get());
        const auto arrived = [&](std::size_t count) {
            return [&, count] { return confirmations(sink) >= before + count; };
        };
        EXPECT_TRUE(eventually(arrived(1)));
        constexpr unsigned kNotLateAnyMore = 300;  // milliseconds
        if (!eventually([&] { return arrived(2)() || memory::reached(); }) ||
            !eventually(arrived(2), kNotLateAnyMore)) {
            ++lost;
            EXPECT_TRUE(memory::reached());
            askForTwo(manager.get());
            EXPECT_TRUE(eventually(arrived(3)));
        }
        memory::relieve();
        switchTo(manager.get(), 3);
        EXPECT_EQ(comInitialised, 0);
        if (!memory::reached()) break;
    }
    EXPECT_GT(lost, 0u);
    EXPECT_EQ(pointOf(manager.get())->Unadvise(cookie), S_OK);
    exchange(manager.get(), L"ATE1");
}

}  // namespace
}  // namespace mova::test
