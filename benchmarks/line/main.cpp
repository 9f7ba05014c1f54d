// bench-line [--quick] exchanges|objects|trickle|lifetimes: measurements on pseudo-terminals, as JSON lines.
#include <sys/resource.h>

#include <array>
#include <cstring>
#include <exception>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "line/LineBenches.h"

int main(int argc, char** argv) {
    using namespace mova::bench;
    struct Suite {
        const char* name;
        void (*run)(const std::string& folder, bool quick);
    };
    constexpr std::array kSuites{Suite{"exchanges", runExchanges}, Suite{"objects", runManyObjects},
                                 Suite{"trickle", runTrickle}, Suite{"lifetimes", runLifetimes}};
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const bool quick = !arguments.empty() && arguments.front() == "--quick";
    for (const Suite& suite : kSuites) {
        if (arguments.empty() || arguments.back() != suite.name) continue;
        rlimit files{};  // 200 objects have more than a thousand
        getrlimit(RLIMIT_NOFILE, &files);
        files.rlim_cur = files.rlim_max;
        setrlimit(RLIMIT_NOFILE, &files);
        std::string folder = (std::filesystem::temp_directory_path() / "mova-bench-XXXXXX").string();
        if (mkdtemp(folder.data()) == nullptr) return 1;
        int status = 0;
        try {
            suite.run(folder, quick);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "bench-line: %s\n", error.what());
            status = 1;
        }
        std::filesystem::remove_all(folder);
        return status;
    }
    std::fprintf(stderr, "bench-line [--quick] exchanges|objects|trickle|lifetimes\n");
    return 2;
}
