#include <gmock/gmock.h>

#include <cstdio>

#include "OtherProcess.h"

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    testing::InitGoogleMock(&argc, argv);
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    if (argc > 2 && std::string(argv[1]) == "--role") return mova::test::playRole({argv + 2, argv + argc});
    const int result = RUN_ALL_TESTS();
    CoUninitialize();
    return result;
}
