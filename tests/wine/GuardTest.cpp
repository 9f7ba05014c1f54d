// What a client sees of an exception inside an entry.
#include <string>

#include "Client.h"
#include "component/automation/Guard.h"

namespace mova::test {
namespace {

TEST(Guard, TurnsExceptionsIntoTheCallsResult) {
    EXPECT_EQ(guarded([] { return S_FALSE; }), S_FALSE);
    EXPECT_EQ(guarded([]() -> HRESULT { throw std::bad_alloc(); }), static_cast<HRESULT>(0x8007000E));
    EXPECT_EQ(guarded([]() -> HRESULT { throw std::length_error("too long"); }), static_cast<HRESULT>(0x8007000E));
    EXPECT_EQ(guarded([]() -> HRESULT { throw std::string("anything else"); }), E_FAIL);
}

}  // namespace
}  // namespace mova::test
