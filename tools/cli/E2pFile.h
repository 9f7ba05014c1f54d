// A store of E2P objects as a text file: "object record data" a line, numbers decimal, data hexadecimal; "#" begins a
// comment. The simulated handset reads the same. A dump's comments say where it is from, which ranges were asked for,
// and at its end that it is whole.
#pragma once
#include <cstdint>
#include <map>
#include <string>
#include <utility>

namespace mova::cli {

using E2pKey = std::pair<std::uint16_t, std::uint16_t>;  // object, record
std::string keyText(const E2pKey& key);                  // "object 0x1003 record 2"

struct E2pFile {
    std::map<E2pKey, std::string> objects;     // hexadecimal digits, upper case
    std::map<std::string, std::string> notes;  // of lines "# name: text"

    std::string note(const std::string& name) const;
    bool isDump() const;
    bool isWhole() const;  // a file that is no dump always is
};

namespace e2pnote {
constexpr const char* kDump = "mova e2p dump";  // the program's version
constexpr const char* kImei = "imei";
constexpr const char* kObjects = "objects";
constexpr const char* kRecords = "records";
constexpr const char* kNext = "next";          // where an interrupted dump stopped
constexpr const char* kComplete = "complete";  // number of objects
}  // namespace e2pnote

E2pFile readE2pFile(const std::string& path);  // throws Failure with the line
E2pFile parseE2pText(const std::string& text, const std::string& path);
std::string noteLine(const char* name, const std::string& text);
std::string objectLine(const E2pKey& key, const std::string& hex);

}  // namespace mova::cli
