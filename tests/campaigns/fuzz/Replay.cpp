// Runs one target over files or whole folders, with all below them and without a fuzzer: fuzz-replay TARGET PATH...
// Fails when there is nothing to run, and when whole folders do not reach every landmark of the target.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "campaigns/fuzz/Require.h"

#define MOVA_FUZZ_TARGET(name) extern "C" int fuzz##name(const std::uint8_t* data, std::size_t size);
#include "Targets.inc"
#undef MOVA_FUZZ_TARGET

namespace {

using Target = int (*)(const std::uint8_t*, std::size_t);

struct Row {
    const char* name;
    Target run;
};
#define MOVA_FUZZ_TARGET(name) Row{#name, &fuzz##name},
constexpr Row kTargets[] = {
#include "Targets.inc"
};
#undef MOVA_FUZZ_TARGET

std::vector<std::filesystem::path> filesIn(const std::filesystem::path& path) {
    std::vector<std::filesystem::path> files;
    if (std::filesystem::is_regular_file(path)) files.push_back(path);
    if (std::filesystem::is_directory(path)) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
            if (entry.is_regular_file()) files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

void run(Target target, const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    // Exactly as large as the input: what reads beyond it is seen by a sanitizer.
    const auto bytes = std::make_unique<std::uint8_t[]>(text.size());
    if (!text.empty()) std::memcpy(bytes.get(), text.data(), text.size());
    std::fprintf(stderr, "%s\n", path.c_str());  // the last one told is the one that failed
    target(bytes.get(), text.size());
}

bool reachesAll(const std::string& target) {
    bool all = true;
    for (const mova::fuzz::Landmark* landmark : mova::fuzz::Landmark::all()) {
        if (landmark->target() != target || landmark->count() > 0) continue;
        std::fprintf(stderr, "%s: no file reaches: %s\n", target.c_str(), std::string(landmark->name()).c_str());
        all = false;
    }
    return all;
}

}  // namespace

int main(int count, char** arguments) {
    const std::string name = count > 1 ? arguments[1] : "";
    const auto row =
        std::find_if(std::begin(kTargets), std::end(kTargets), [&](const Row& r) { return name == r.name; });
    if (row == std::end(kTargets) || count < 3) {
        std::fprintf(stderr, "usage: fuzz-replay TARGET FILE-OR-FOLDER...\ntargets:");
        for (const Row& known : kTargets) std::fprintf(stderr, " %s", known.name);
        std::fprintf(stderr, "\n");
        return 2;
    }
    std::size_t files = 0;
    bool folders = false;
    for (int i = 2; i < count; ++i) {
        folders = folders || std::filesystem::is_directory(arguments[i]);
        const auto found = filesIn(arguments[i]);
        if (found.empty()) {
            std::fprintf(stderr, "%s: nothing there to replay\n", arguments[i]);
            return 1;
        }
        for (const auto& file : found) run(row->run, file);
        files += found.size();
    }
    std::printf("%s: %zu inputs replayed\n", name.c_str(), files);
    return !folders || reachesAll(name) ? 0 : 1;
}
