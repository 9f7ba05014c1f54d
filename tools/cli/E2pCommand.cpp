#include <CLI/CLI.hpp>
#include <algorithm>

#include "base/HexText.h"
#include "base/Text.h"
#include "cli/Commands.h"
#include "cli/E2pAccess.h"
#include "cli/E2pTransfer.h"

namespace mova::cli {

namespace {

struct ObjectOptions {
    std::uint32_t object = 0;
    std::uint32_t record = 0;
    std::uint32_t offset = 0;
    std::uint32_t length = 0;
    std::string hex;
    bool table = false;
    bool noVerify = false;
    bool yes = false;

    E2pKey key() const { return {static_cast<std::uint16_t>(object), static_cast<std::uint16_t>(record)}; }
};

constexpr std::uint32_t kRetries = 2;
constexpr std::uint32_t kLongestObject = 0xFFFF;

void addObject(CLI::App& command, ObjectOptions& o) {
    addNumber(command, "object", o.object, kLargestWord, "the object's identifier, for instance 4099 or 0x1003")
        ->required();
    addNumber(command, "record", o.record, kLargestWord, "its record")->required();
}

void showTable(Output& out, const std::string& hex, std::size_t offset) {
    constexpr std::size_t kWidth = 16;
    const std::string bytes = decodeHex(hex);
    for (std::size_t at = 0; at < bytes.size(); at += kWidth) {
        const std::string part = bytes.substr(at, kWidth);
        std::string line = format("%06zX ", at + offset);
        for (std::size_t i = 0; i < kWidth; ++i) {
            line += ' ';
            line += i < part.size() ? encodeHex(part.substr(i, 1)) : "  ";
        }
        line += "  ";
        for (const char c : part) line += c >= 0x20 && c < 0x7F ? c : '.';
        out.line(line);
    }
}

// The part that was asked for; outside the object is an error, not a shorter answer.
std::string cut(const ObjectOptions& o, const std::string& hex, bool toEnd) {
    const std::size_t size = hex.size() / 2;
    const std::size_t length = toEnd ? size - std::min<std::size_t>(size, o.offset) : o.length;
    if (o.offset + length > size) {
        throw Failure{
            ExitStatus::Refused,
            keyText(o.key()) + " has " + counted(size, "byte") + ", and not " + std::to_string(o.offset + length),
            {}};
    }
    return hex.substr(std::size_t{2} * o.offset, 2 * length);
}

void read(Context& context, const ObjectOptions& o, bool toEnd) {
    const E2pReply reply = E2pAccess(context, kRetries, E2pAccess::Tries::Told).read(o.key());
    check(reply, keyText(o.key()) + " was not read");
    const std::string hex = cut(o, reply.text.value_or(""), toEnd);
    context.result["object"] = o.object;
    context.result["record"] = o.record;
    context.result["offset"] = o.offset;
    context.result["bytes"] = hex.size() / 2;
    context.result["data"] = hex;
    if (o.table) {
        showTable(context.out, hex, o.offset);
    } else {
        context.out.line(hex);
    }
}

// A part is put into the object as it is read; the component does the same for its own range writes.
std::string wholeToWrite(E2pAccess& access, const ObjectOptions& o, bool part) {
    if (!part) return o.hex;
    const E2pReply reply = access.read(o.key());
    check(reply, keyText(o.key()) + " was not read, so its part was not written");
    std::string whole = reply.text.value_or("");
    ObjectOptions range = o;
    range.length = static_cast<std::uint32_t>(o.hex.size() / 2);
    cut(range, whole, false);
    return whole.replace(std::size_t{2} * o.offset, o.hex.size(), o.hex);
}

void write(Context& context, const ObjectOptions& o, bool part) {
    if (o.hex.empty()) failUsage("there is nothing to write");
    E2pAccess access(context, kRetries, E2pAccess::Tries::Told);
    const std::string whole = wholeToWrite(access, o, part);
    check(access.write(o.key(), whole), keyText(o.key()) + " was not written");
    if (!o.noVerify) access.verify(o.key(), whole);
    context.result["object"] = o.object;
    context.result["record"] = o.record;
    context.result["offset"] = o.offset;
    context.result["bytes"] = o.hex.size() / 2;
    context.result["verified"] = !o.noVerify;
    context.out.line(counted(o.hex.size() / 2, "byte") + " written" + (o.noVerify ? "" : " and read back"));
}

void describeRead(CLI::App& command, Context& context) {
    auto o = std::make_shared<ObjectOptions>();
    addObject(command, *o);
    addNumber(command, "--offset", o->offset, kLongestObject, "first byte to show (0)");
    const CLI::Option* const length =
        addNumber(command, "--length", o->length, kLongestObject, "bytes to show (to the end)");
    command.add_flag("--table", o->table, "lines of 16 bytes with their offset and text");
    whenRun(command, context, [&context, o, length] { read(context, *o, length->count() == 0); });
}

void describeWrite(CLI::App& command, Context& context) {
    auto o = std::make_shared<ObjectOptions>();
    addObject(command, *o);
    addHex(command, "data", o->hex, "the data; the whole object unless --offset is given")->required();
    const CLI::Option* const offset =
        addNumber(command, "--offset", o->offset, kLongestObject, "write a part of the object, from this byte on");
    command.add_flag("--no-verify", o->noVerify, "do not read back what was written");
    whenRun(command, context, [&context, o, offset] { write(context, *o, offset->count() > 0); });
}

// The provisioning requests: each names an object and a record, some send data, some answer with data.
struct Provisioning {
    const char* name;
    const char* purpose;
    bool sendsData;
    bool forGood;  // cannot be taken back
    bool secret;   // what is sent is nobody else's business
    TextResult (*request)(CVeCmdManager&, std::int32_t, std::int32_t, const std::string&);
};
constexpr Provisioning kProvisioning[] = {
    {"password", "Sends the password", true, false, true,
     [](CVeCmdManager& h, std::int32_t o, std::int32_t r, const std::string& d) { return h.SendE2PPasswd(o, r, d); }},
    {"auth-request", "Asks for the authentication challenge", false, false, false,
     [](CVeCmdManager& h, std::int32_t o, std::int32_t r, const std::string&) { return h.SendAuthReq(o, r); }},
    {"auth-key", "Sends the authentication key", true, false, true,
     [](CVeCmdManager& h, std::int32_t o, std::int32_t r, const std::string& d) { return h.SendAuthKey(o, r, d); }},
    {"serial-number", "Sends the serial number", true, false, false,
     [](CVeCmdManager& h, std::int32_t o, std::int32_t r, const std::string& d) {
         return h.SendSerialNumber(o, r, d);
     }},
    {"hash-request", "Asks for the hash", false, false, false,
     [](CVeCmdManager& h, std::int32_t o, std::int32_t r, const std::string&) { return h.SendHashReq(o, r); }},
    {"lock-otp", "Locks the one-time-programmable area, which cannot be taken back", false, true, false,
     [](CVeCmdManager& h, std::int32_t o, std::int32_t r, const std::string&) { return h.SendLockOtp(o, r); }},
};

void provision(Context& context, const Provisioning& row, const ObjectOptions& o) {
    if (row.forGood && !o.yes) failUsage(std::string(row.name) + " cannot be taken back", "add --yes if it is meant");
    const E2pReply reply = E2pAccess(context).once([&](CVeCmdManager& h) {
        return row.request(h, static_cast<std::int32_t>(o.object), static_cast<std::int32_t>(o.record), o.hex);
    });
    check(reply, std::string(row.name) + " failed");
    const std::string data = reply.text.value_or("");
    context.result["data"] = data;
    context.out.line(data.empty() ? "done" : data);
}

void describeProvisioning(CLI::App& command, Context& context, const Provisioning& row) {
    auto o = std::make_shared<ObjectOptions>();
    addObject(command, *o);
    if (row.sendsData) addHex(command, "data", o->hex, "what is sent")->required();
    if (row.forGood) command.add_flag("--yes", o->yes, "it is meant");
    whenRun(command, context, [&context, o, &row] { provision(context, row, *o); });
}

}  // namespace

bool sendsSecret(std::string_view word) {
    return std::any_of(std::begin(kProvisioning), std::end(kProvisioning),
                       [&](const Provisioning& row) { return row.secret && row.name == word; });
}

void describeE2p(CLI::App& command, Context& context) {
    command.description("Reads and writes E2P objects, one by one or whole stores");
    describeRead(*command.add_subcommand("read", "Shows an object or a part of it as hexadecimal data"), context);
    describeWrite(*command.add_subcommand("write", "Writes an object or a part of it, and reads it back"), context);
    describeDump(*command.add_subcommand("dump", "Reads every object of a range into a text file"), context);
    describeRestore(*command.add_subcommand("restore", "Writes the objects of a file that differ, and reads them back"),
                    context);
    describeDiff(*command.add_subcommand("diff", "Compares a file with the handset, or with another file"), context);
    for (const Provisioning& row : kProvisioning) {
        describeProvisioning(*command.add_subcommand(row.name, row.purpose), context, row);
    }
    command.require_subcommand(1);
}

}  // namespace mova::cli
