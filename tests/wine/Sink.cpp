#include "Sink.h"

namespace mova::test {

ComPtr<IConnectionPoint> pointOf(IUnknown* object) {
    ComPtr<IConnectionPoint> point;
    const auto container = ComPtr<IConnectionPointContainer>::of(object);
    EXPECT_EQ(container->FindConnectionPoint(__uuidof(_IVeCmdManagerEvents), point.receive()), S_OK);
    return point;
}

DWORD advise(IUnknown* object, Sink& sink) {
    DWORD cookie = 0;
    EXPECT_EQ(pointOf(object)->Advise(&sink, &cookie), S_OK);
    EXPECT_NE(cookie, 0u);
    return cookie;
}

}  // namespace mova::test
