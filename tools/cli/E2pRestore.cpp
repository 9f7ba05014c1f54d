#include <CLI/CLI.hpp>

#include "base/CodeTexts.h"
#include "base/Text.h"
#include "cli/E2pAccess.h"
#include "cli/E2pTransfer.h"
#include "cli/ParseNumber.h"
#include "cli/Progress.h"
#include "mova/Codes.h"

namespace mova::cli {

namespace {

// The objects of a file that lie in the ranges, if any are given.
struct Selection {
    std::string objects = "0-65535";
    std::string records = "0-65535";
};

void addSelection(CLI::App& command, Selection& s) {
    command.add_option("--objects", s.objects, "only these objects of the file")->type_name("RANGES");
    command.add_option("--records", s.records, "only these records of them")->type_name("RANGES");
}

bool holds(const std::vector<NumberRange>& ranges, std::uint32_t number) {
    return std::any_of(ranges.begin(), ranges.end(),
                       [&](const NumberRange& r) { return number >= r.first && number <= r.last; });
}

E2pFile selected(E2pFile file, const Selection& s) {
    const auto objects = rangesOf(s.objects, "--objects");
    const auto records = rangesOf(s.records, "--records");
    std::erase_if(file.objects, [&](const auto& entry) {
        return !holds(objects, entry.first.first) || !holds(records, entry.first.second);
    });
    return file;
}

struct RestoreOptions {
    std::string path;
    Selection selection;
    bool force = false;
    bool keepGoing = false;
};

constexpr const char* kGoOn = "the same command goes on: what is right already is not written again";

class Restore {
public:
    Restore(Context& context, const RestoreOptions& options, E2pFile file)
        : context_(context), options_(options), file_(std::move(file)), access_(context) {}

    void run() {
        refuseAnotherHandset();
        {
            Progress progress(context_.out, "restore", file_.objects.size());
            for (const auto& [key, hex] : file_.objects) {
                checkInterrupt(progressText() + "; " + kGoOn);
                restoreOne(key, hex);
                progress.advance(std::to_string(written_) + " written");
            }
        }
        tellResult();
        if (failed_) throw std::move(first_);
    }

private:
    void refuseAnotherHandset() {
        const std::string from = file_.note(e2pnote::kImei);
        const std::string here = access_.imei();
        if (options_.force || from.empty() || from == here) return;
        throw Failure{ExitStatus::Refused,
                      options_.path + " is from the handset " + from + ", this is " +
                          (here.empty() ? "one without an IMEI" : here),
                      "--force writes it all the same, with the other handset's identity"};
    }

    void restoreOne(const E2pKey& key, const std::string& hex) {
        try {
            const E2pReply now = access_.read(key);
            if (!isE2pStatus(now.code)) check(now, keyText(key) + " was not read");
            if (now.code == Code::Success && now.text.value_or("") == hex) {
                ++equal_;
                return;
            }
            check(access_.write(key, hex), keyText(key) + " was not written");
            access_.verify(key, hex);
            ++written_;
        } catch (Failure& failure) {
            const bool goOn = options_.keepGoing && failure.status == ExitStatus::Refused;
            if (!goOn) {
                failure.hint += (failure.hint.empty() ? "" : "; ") + progressText() + "; " + kGoOn;
                throw;
            }
            context_.out.trouble(failure.message);
            ++refused_;
            if (!failed_) first_ = failure;
            failed_ = true;
        }
    }

    std::string progressText() const {
        return std::to_string(written_ + equal_) + " of " + counted(file_.objects.size(), "object") + " right so far";
    }

    void tellResult() {
        context_.result["file"] = options_.path;
        context_.result["objects"] = file_.objects.size();
        context_.result["written"] = written_;
        context_.result["equal"] = equal_;
        context_.result["refused"] = refused_;
        context_.out.line(counted(written_, "object") + " written and read back, " + std::to_string(equal_) +
                          " right already" + (refused_ > 0 ? ", " + std::to_string(refused_) + " refused" : ""));
    }

    Context& context_;
    const RestoreOptions& options_;
    const E2pFile file_;
    E2pAccess access_;
    std::uint64_t written_ = 0;
    std::uint64_t equal_ = 0;
    std::uint64_t refused_ = 0;
    bool failed_ = false;
    Failure first_;
};

void restore(Context& context, const RestoreOptions& o) {
    E2pFile file = readE2pFile(o.path);
    if (!file.isWhole() && !o.force) {
        failFile(o.path + " is a dump that was not finished",
                 "finish it first (mova e2p dump), or let --force write what is there");
    }
    file = selected(std::move(file), o.selection);
    if (file.objects.empty()) failFile(o.path + " holds no object to restore");
    Restore(context, o, std::move(file)).run();
}

// --- diff

struct DiffOptions {
    std::string path;
    std::string other;  // empty: the handset
    Selection selection;
};

class Diff {
public:
    Diff(Context& context, const DiffOptions& o)
        : context_(context), options_(o), other_(o.other.empty() ? "handset" : o.other) {
        context_.result["differences"] = Json::array();
    }

    void run() {
        const E2pFile file = selected(readE2pFile(options_.path), options_.selection);
        if (options_.other.empty()) {
            againstHandset(file);
        } else {
            againstFile(file, selected(readE2pFile(options_.other), options_.selection));
        }
        context_.result["compared"] = compared_;
        context_.result["different"] = different_;
        if (different_ == 0) {
            context_.out.line(counted(compared_, "object") + ", no difference");
            return;
        }
        throw Failure{ExitStatus::Refused,
                      std::to_string(different_) + " of " + counted(compared_, "object") +
                          (different_ == 1 ? " differs" : " differ"),
                      {}};
    }

private:
    void againstHandset(const E2pFile& file) {
        E2pAccess access(context_);
        Progress progress(context_.out, "diff", file.objects.size());
        for (const auto& [key, hex] : file.objects) {
            checkInterrupt();
            ++compared_;
            const E2pReply reply = access.read(key);
            if (isRefused(reply.code)) {
                tell(key, {"only in " + options_.path});
            } else {
                check(reply, keyText(key) + " was not read");
                compare(key, hex, reply.text.value_or(""));
            }
            progress.advance(std::to_string(different_) + " different");
        }
    }

    static bool isRefused(Code code) {
        return code != Code::Success && failureOf(code, {}).status == ExitStatus::Refused;
    }

    void againstFile(const E2pFile& file, const E2pFile& other) {
        for (const auto& [key, hex] : file.objects) {
            ++compared_;
            const auto found = other.objects.find(key);
            if (found == other.objects.end()) {
                tell(key, {"only in " + options_.path});
            } else {
                compare(key, hex, found->second);
            }
        }
        for (const auto& [key, hex] : other.objects) {
            if (file.objects.contains(key)) continue;
            ++compared_;
            tell(key, {"only in " + options_.other});
        }
    }

    void compare(const E2pKey& key, const std::string& first, const std::string& second) {
        const auto differences = differencesOf(options_.other.empty() ? "file" : options_.path, first, other_, second);
        if (!differences.empty()) tell(key, differences);
    }

    void tell(const E2pKey& key, const std::vector<std::string>& texts) {
        ++different_;
        context_.out.line(StyledText(Style::Strong, keyText(key)));
        for (const std::string& text : texts) context_.out.line("  " + text);
        Json entry = Json::object();
        entry["object"] = key.first;
        entry["record"] = key.second;
        entry["texts"] = texts;
        context_.result["differences"].push_back(std::move(entry));
    }

    Context& context_;
    const DiffOptions& options_;
    const std::string other_;
    std::uint64_t compared_ = 0;
    std::uint64_t different_ = 0;
};

}  // namespace

void describeRestore(CLI::App& command, Context& context) {
    auto o = std::make_shared<RestoreOptions>();
    command.add_option("file", o->path, "the file, as dump writes it")->required()->type_name("FILE");
    addSelection(command, o->selection);
    command.add_flag("--force", o->force, "also from another handset (by its IMEI), also from an unfinished dump");
    command.add_flag("-k,--keep-going", o->keepGoing, "go on when the handset refuses an object");
    command.footer(
        "Every object is read first, and written only if it differs: an interrupted restore, started again, goes "
        "on where it stopped, whatever handset it finds.");
    whenRun(command, context, [&context, o] { restore(context, *o); });
}

void describeDiff(CLI::App& command, Context& context) {
    auto o = std::make_shared<DiffOptions>();
    command.add_option("file", o->path, "a file, as dump writes it")->required()->type_name("FILE");
    command.add_option("other", o->other, "another file; without it the handset")->type_name("FILE");
    addSelection(command, o->selection);
    command.footer("A difference ends it with exit code 1.");
    whenRun(command, context, [&context, o] { Diff(context, *o).run(); });
}

}  // namespace mova::cli
