#include "handset/ProfileFile.h"

#define TOML_EXCEPTIONS 0
#define TOML_ENABLE_FORMATTERS 0
#include <toml++/toml.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <sstream>
#include <stdexcept>

#include "base/Text.h"
#include "handset/Frames.h"

namespace mova::handset {

namespace {

constexpr std::uint64_t kMillisecond = 1000;  // microseconds

struct ProfileError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Reads values, and says of a wrong one where in the file it stands.
class Reader {
public:
    explicit Reader(std::string path) : path_(std::move(path)) {}

    [[noreturn]] void fail(const toml::source_region& at, const std::string& what) const {
        throw ProfileError(path_ + ":" + std::to_string(at.begin.line) + ":" + std::to_string(at.begin.column) + ": " +
                           what);
    }
    [[noreturn]] void fail(const toml::node& node, const std::string& what) const { fail(node.source(), what); }

    std::string beside(const std::string& name) const {
        return (std::filesystem::path(path_).parent_path() / name).string();
    }

    std::string text(const toml::node& node) const {
        if (const auto value = node.value_exact<std::string>()) return *value;
        fail(node, "expected a text");
    }
    bool boolean(const toml::node& node) const {
        if (const auto value = node.value_exact<bool>()) return *value;
        fail(node, "expected true or false");
    }
    template <class Number>
    Number number(const toml::node& node, std::uint64_t most = std::numeric_limits<Number>::max(),
                  std::uint64_t least = 0) const {
        const auto value = node.value_exact<std::int64_t>();
        if (!value || *value < 0 || static_cast<std::uint64_t>(*value) < least ||
            static_cast<std::uint64_t>(*value) > most) {
            fail(node, "expected a number from " + std::to_string(least) + " to " + std::to_string(most));
        }
        return static_cast<Number>(*value);
    }
    std::uint64_t milliseconds(const toml::node& node) const {
        constexpr double kDay = 86'400'000;
        const auto value = node.is_number() ? node.value<double>() : std::nullopt;
        if (!value || *value < 0 || *value > kDay) fail(node, "expected milliseconds, from 0 to a day");
        return static_cast<std::uint64_t>(*value * static_cast<double>(kMillisecond));
    }
    std::string bytes(const toml::node& node, std::size_t most) const {
        std::string digits = text(node);
        std::erase(digits, ' ');
        const auto value = fromHex(digits);
        if (!value || value->size() > most) {
            fail(node, "expected hexadecimal text of at most " + std::to_string(most) + " bytes");
        }
        return *value;
    }
    std::vector<std::string> texts(const toml::node& node) const {
        if (node.is_string()) return {text(node)};
        if (!node.is_array()) fail(node, "expected a text or an array of texts");
        std::vector<std::string> all;
        for (const toml::node& element : *node.as_array()) all.push_back(text(element));
        return all;
    }
    const toml::table& table(const toml::node& node) const {
        if (!node.is_table()) fail(node, "expected a table");
        return *node.as_table();
    }
    const toml::array& tables(const toml::node& node) const {
        if (!node.is_array()) fail(node, "expected tables, each under [[name]]");
        return *node.as_array();
    }

private:
    std::string path_;
};

struct Key {
    std::string_view name;
    std::function<void(const toml::node&)> take;
};

// Each key of the table goes to its taker; one that has none is an error.
void takeKeys(const Reader& reader, const toml::table& table, const std::vector<Key>& keys) {
    for (const auto& [name, node] : table) {
        const std::string_view wanted = name.str();
        const auto known = std::find_if(keys.begin(), keys.end(), [&](const Key& key) { return key.name == wanted; });
        if (known != keys.end()) {
            known->take(node);
            continue;
        }
        std::string all;
        for (const Key& key : keys) all.append(all.empty() ? "" : ", ").append(key.name);
        reader.fail(name.source(), "no key is called " + std::string(wanted) + " here; there are: " + all);
    }
}

void takeIdentity(const Reader& reader, const toml::table& table, Profile& profile) {
    const auto text = [&](std::string& to) { return [&](const toml::node& node) { to = reader.text(node); }; };
    takeKeys(reader, table,
             {{"manufacturer", text(profile.manufacturer)},
              {"model", text(profile.model)},
              {"revision", text(profile.revision)},
              {"version", [&](const toml::node& node) { profile.version = reader.texts(node); }},
              {"imei", text(profile.imei)},
              {"signal", text(profile.signal)},
              {"registration", text(profile.registration)},
              {"operator", text(profile.operatorName)},
              {"otp", text(profile.otp)}});
}

void takeLine(const Reader& reader, const toml::table& table, HandsetSetup& setup) {
    constexpr unsigned kThousand = 1000;
    Profile& profile = setup.profile;
    Faults& faults = setup.faults;
    const auto time = [&](std::uint64_t& to) {
        return [&](const toml::node& node) { to = reader.milliseconds(node); };
    };
    const auto perMille = [&](std::uint32_t& to) {
        return [&](const toml::node& node) { to = reader.number<std::uint32_t>(node, kThousand); };
    };
    takeKeys(reader, table,
             {{"baud_rate", [&](const toml::node& node) { profile.baudRate = reader.number<unsigned>(node); }},
              {"echo", [&](const toml::node& node) { profile.echo = reader.boolean(node); }},
              {"delay_ms", time(faults.delayMicroseconds)},
              {"split_ms", time(faults.splitGapMicroseconds)},
              {"drop_per_mille", perMille(faults.droppedPerMille)},
              {"noise_per_mille", perMille(faults.noisePerMille)},
              {"seed", [&](const toml::node& node) { faults.seed = reader.number<std::uint64_t>(node); }},
              {"unsolicited_ms", time(setup.unsolicitedMicroseconds)},
              {"sleep_after_ms", time(profile.sleepAfterMicroseconds)},
              {"wake_frames", [&](const toml::node& node) { profile.wakeFrames = reader.number<unsigned>(node); }}});
}

AtAnswer atAnswer(const Reader& reader, const toml::node& node) {
    AtAnswer answer;
    if (!node.is_table()) {
        answer.information = reader.texts(node);
        return answer;
    }
    takeKeys(reader, *node.as_table(),
             {{"information", [&](const toml::node& value) { answer.information = reader.texts(value); }},
              {"result", [&](const toml::node& value) { answer.result = reader.text(value); }},
              {"delay_ms", [&](const toml::node& value) { answer.delayMicroseconds = reader.milliseconds(value); }}});
    return answer;
}

void takeAnswers(const Reader& reader, const toml::table& table, Profile& profile) {
    for (const auto& [name, node] : table) {
        profile.answers[upperCase(name.str())] = atAnswer(reader, node);
    }
}

void takeServiceAnswers(const Reader& reader, const toml::node& node, ServiceAnswer::Service service,
                        std::vector<ServiceAnswer>& to) {
    constexpr std::size_t kLongest = 200;  // that fits into one confirmation
    for (const toml::node& element : reader.tables(node)) {
        ServiceAnswer answer;
        answer.service = service;
        takeKeys(reader, reader.table(element),
                 {{"request", [&](const toml::node& value) { answer.request = reader.bytes(value, kLongest); }},
                  {"status", [&](const toml::node& value) { answer.status = reader.number<std::uint8_t>(value); }},
                  {"data", [&](const toml::node& value) { answer.data = reader.bytes(value, kLongest); }}});
        to.push_back(std::move(answer));
    }
}

void takeServices(const Reader& reader, const toml::table& table, HandsetSetup& setup) {
    constexpr std::uint64_t kLongestSegment = 240;
    const auto status = [&](std::uint8_t& to) {
        return [&](const toml::node& node) { to = reader.number<std::uint8_t>(node); };
    };
    const auto answers = [&](ServiceAnswer::Service service) {
        return [&, service](const toml::node& node) { takeServiceAnswers(reader, node, service, setup.services); };
    };
    takeKeys(
        reader, table,
        {{"segment_size",
          [&](const toml::node& node) { setup.segmentSize = reader.number<std::size_t>(node, kLongestSegment, 1); }},
         {"e2p_status", status(setup.e2pStatus)},
         {"hci_status", status(setup.hciStatus)},
         {"wifi_status", status(setup.wifiStatus)},
         {"rf", answers(ServiceAnswer::Service::Rf)},
         {"hci", answers(ServiceAnswer::Service::Hci)},
         {"wifi", answers(ServiceAnswer::Service::Wifi)}});
}

void takeObjects(const Reader& reader, const toml::node& node, E2pStore& store) {
    constexpr std::size_t kLargest = 0xFFFF;
    for (const toml::node& element : reader.tables(node)) {
        std::optional<std::uint16_t> object;
        std::uint16_t record = 1;
        std::optional<std::string> data;
        std::optional<std::size_t> size;
        std::uint8_t fill = 0xFF;
        takeKeys(reader, reader.table(element),
                 {{"object", [&](const toml::node& value) { object = reader.number<std::uint16_t>(value); }},
                  {"record", [&](const toml::node& value) { record = reader.number<std::uint16_t>(value); }},
                  {"data", [&](const toml::node& value) { data = reader.bytes(value, kLargest); }},
                  {"size", [&](const toml::node& value) { size = reader.number<std::size_t>(value, kLargest); }},
                  {"fill", [&](const toml::node& value) { fill = reader.number<std::uint8_t>(value); }}});
        if (!object) reader.fail(element, "an object needs its number: object = 0x1234");
        if (data.has_value() == size.has_value()) reader.fail(element, "an object needs its data, or else its size");
        store.put(*object, record, data ? *data : std::string(*size, static_cast<char>(fill)));
    }
}

void takeE2p(const Reader& reader, const toml::table& table, HandsetSetup& setup) {
    takeKeys(reader, table,
             {{"erased",
               [&](const toml::node& node) {
                   if (!reader.boolean(node)) setup.store = E2pStore();
               }},
              {"file", [&](const toml::node& node) { setup.storeFile = reader.beside(reader.text(node)); }},
              {"objects", [](const toml::node&) {}}});
    // After "erased", wherever it stands.
    if (const toml::node* const objects = table.get("objects")) takeObjects(reader, *objects, setup.store);
}

void takeFaults(const Reader& reader, const toml::table& table, Faults& faults) {
    constexpr std::uint64_t kMost = 1'000'000'000;
    for (const auto& [name, node] : table) {
        const auto fault = faultByName(name.str());
        if (!fault) {
            reader.fail(name.source(),
                        "no fault is called " + std::string(name.str()) + "; there are: " + faultNames());
        }
        const bool always = node.is_string() && reader.text(node) == "always";
        if (!always && !node.is_integer()) reader.fail(node, "expected a number of answers, or \"always\"");
        faults.set(*fault, always ? Faults::kAlways : reader.number<int>(node, kMost, 1));
    }
}

std::optional<std::string> contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    std::ostringstream text;
    text << file.rdbuf();
    return std::string(withoutByteOrderMark(text.view()));
}

}  // namespace

void HandsetSetup::applyTo(Handset& handset, std::uint64_t nowMicroseconds) const {
    handset.faults() = faults;
    RequestProtocol& protocol = handset.protocol();
    protocol.store() = store;
    protocol.setSegmentSize(segmentSize);
    protocol.setE2pStatus(e2pStatus);
    protocol.setHciStatus(hciStatus);
    protocol.setWifiStatus(wifiStatus);
    for (const ServiceAnswer& answer : services) protocol.addAnswer(answer);
    handset.setUnsolicitedInterval(unsolicitedMicroseconds, nowMicroseconds);
    if (conversation) handset.replay(*conversation, nowMicroseconds);
}

std::optional<HandsetSetup> profileFromText(const std::string& text, const std::string& path, std::string& error) {
    const Reader reader(path);
    HandsetSetup setup;
    const auto within = [&](auto take, auto& to) {
        return [&reader, take, &to](const toml::node& node) { take(reader, reader.table(node), to); };
    };
    try {
        const toml::parse_result parsed = toml::parse(text, path);
        if (!parsed) reader.fail(parsed.error().source(), std::string(parsed.error().description()));
        takeKeys(reader, parsed.table(),
                 {{"name", [&](const toml::node& node) { setup.name = reader.text(node); }},
                  {"conversation",
                   [&](const toml::node& node) {
                       std::string wrong;
                       setup.conversation = readConversation(reader.beside(reader.text(node)), wrong);
                       if (!setup.conversation) reader.fail(node, wrong);
                   }},
                  {"identity", within(takeIdentity, setup.profile)},
                  {"line", within(takeLine, setup)},
                  {"answers", within(takeAnswers, setup.profile)},
                  {"services", within(takeServices, setup)},
                  {"e2p", within(takeE2p, setup)},
                  {"faults", within(takeFaults, setup.faults)}});
    } catch (const ProfileError& wrong) {
        error = wrong.what();
        return std::nullopt;
    }
    return setup;
}

std::optional<HandsetSetup> readProfile(const std::string& path, std::string& error) {
    const auto text = contentOf(path);
    if (text) return profileFromText(*text, path, error);
    error = path + ": cannot be read";
    return std::nullopt;
}

std::optional<Conversation> readConversation(const std::string& path, std::string& error) {
    const auto text = contentOf(path);
    if (!text) {
        error = path + ": cannot be read";
        return std::nullopt;
    }
    auto conversation = Conversation::fromText(*text, error);
    if (!conversation) error = path + ": " + error;
    return conversation;
}

bool readStore(HandsetSetup& setup, std::string& error) {
    if (setup.storeFile.empty()) return true;
    const auto text = contentOf(setup.storeFile);
    if (!text) return true;  // made at the end
    auto store = E2pStore::fromText(*text, error);
    if (!store) {
        error = setup.storeFile + ": " + error;
        return false;
    }
    setup.store = std::move(*store);
    return true;
}

bool writeStore(const HandsetSetup& setup, const E2pStore& store) {
    if (setup.storeFile.empty()) return true;
    std::ofstream file(setup.storeFile);
    file << store.toText();
    return static_cast<bool>(file.flush());
}

}  // namespace mova::handset
