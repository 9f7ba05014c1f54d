#include "cli/E2pFile.h"

#include <algorithm>

#include "base/Text.h"
#include "cli/Failure.h"
#include "cli/ParseBytes.h"
#include "cli/ParseNumber.h"
#include "cli/SplitText.h"
#include "cli/TextFile.h"

namespace mova::cli {

std::string keyText(const E2pKey& key) { return format("object 0x%04X record %u", key.first, key.second); }

std::string E2pFile::note(const std::string& name) const {
    const auto found = notes.find(name);
    return found == notes.end() ? std::string() : found->second;
}

bool E2pFile::isDump() const { return notes.contains(e2pnote::kDump); }

bool E2pFile::isWhole() const { return !isDump() || note(e2pnote::kComplete) == std::to_string(objects.size()); }

namespace {

void takeNote(E2pFile& file, std::string_view comment) {
    const auto colon = comment.find(": ");
    if (colon == comment.npos) return;
    file.notes[std::string(trim(comment.substr(0, colon)))] = trim(comment.substr(colon + 2));
}

// False when the line is not an object's.
bool takeObject(E2pFile& file, std::string_view line) {
    constexpr std::uint64_t kLargest = 0xFFFF;
    const auto words = splitWords(line);
    if (!words || words->size() != 3) return false;
    const auto object = parseNumber((*words)[0]);
    const auto record = parseNumber((*words)[1]);
    const auto hex = parseHex((*words)[2]);
    if (!object || !record || !hex || *object > kLargest || *record > kLargest || hex->empty()) return false;
    const E2pKey key(static_cast<std::uint16_t>(*object), static_cast<std::uint16_t>(*record));
    return file.objects.emplace(key, *hex).second;
}

}  // namespace

E2pFile parseE2pText(const std::string& text, const std::string& path) {
    E2pFile file;
    int number = 0;
    for (const std::string& whole : splitAt(text, '\n')) {
        ++number;
        std::string_view line = whole;
        const auto hash = std::min(line.find('#'), line.size());
        if (hash < line.size()) takeNote(file, line.substr(hash + 1));
        line = trim(line.substr(0, hash));
        if (line.empty() || takeObject(file, line)) continue;
        failFile(path + ":" + std::to_string(number) + ": this is no E2P object, or one that was there before",
                 "a line holds object, record and hexadecimal data, for instance: 4099 1 00FF12");
    }
    return file;
}

E2pFile readE2pFile(const std::string& path) { return parseE2pText(readTextFile(path), path); }

std::string noteLine(const char* name, const std::string& text) {
    return std::string("# ") + name + ": " + text + "\n";
}

std::string objectLine(const E2pKey& key, const std::string& hex) {
    return std::to_string(key.first) + " " + std::to_string(key.second) + " " + hex + "\n";
}

}  // namespace mova::cli
