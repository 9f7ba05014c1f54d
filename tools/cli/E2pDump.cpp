#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <filesystem>

#include "base/CodeTexts.h"
#include "base/Text.h"
#include "cli/CodeHints.h"
#include "cli/E2pAccess.h"
#include "cli/E2pTransfer.h"
#include "cli/FileAccess.h"
#include "cli/ParseNumber.h"
#include "cli/Progress.h"
#include "cli/SplitText.h"
#include "mova/Codes.h"

namespace mova::cli {

namespace {

constexpr const char* kUsualObjects = "0x1000-0x10FF,0x901F";

struct DumpOptions {
    std::string path;
    std::string objects = kUsualObjects;
    std::string records = "1-8";
    std::uint32_t retries = 2;
    bool everyRecord = false;
    bool force = false;
    bool restart = false;
};

std::string rangesHint() { return std::string("for instance ") + kUsualObjects; }

// The objects and records of the ranges, in order. An object whose first record is refused can be passed over.
class Walk {
public:
    Walk(std::vector<NumberRange> objects, std::vector<NumberRange> records)
        : objects_(std::move(objects)), records_(std::move(records)) {}

    bool atEnd() const { return object_ == objects_.size(); }
    E2pKey key() const {
        return {static_cast<std::uint16_t>(objects_[object_].first + inObject_),
                static_cast<std::uint16_t>(records_[record_].first + inRecord_)};
    }
    bool atFirstRecord() const { return record_ == 0 && inRecord_ == 0; }
    void next() {
        if (step(records_, record_, inRecord_)) return;
        nextObject();
    }
    void nextObject() {
        record_ = 0;
        inRecord_ = 0;
        step(objects_, object_, inObject_);
    }
    void skipTo(const E2pKey& target) {
        while (!atEnd() && key() < target) key().first < target.first ? nextObject() : next();
    }
    std::uint64_t objectsDone() const {
        std::uint64_t done = inObject_;
        for (std::size_t i = 0; i < object_; ++i) done += objects_[i].last - objects_[i].first + 1;
        return done;
    }

private:
    // False past the last one.
    static bool step(const std::vector<NumberRange>& ranges, std::size_t& range, std::uint32_t& inRange) {
        if (ranges[range].first + inRange < ranges[range].last) {
            ++inRange;
            return true;
        }
        inRange = 0;
        return ++range < ranges.size();
    }

    std::vector<NumberRange> objects_;
    std::vector<NumberRange> records_;
    std::size_t object_ = 0, record_ = 0;
    std::uint32_t inObject_ = 0, inRecord_ = 0;
};

// The file while it grows. What is written stays, so that an interrupted dump can go on.
class GrowingFile {
public:
    explicit GrowingFile(const std::string& path) : path_(path), file_(openClaimed(path)) {
        if (file_ == nullptr) fail("the system is short of memory");
    }
    ~GrowingFile() {
        if (file_ != nullptr) std::fclose(file_);
    }
    GrowingFile(const GrowingFile&) = delete;
    GrowingFile& operator=(const GrowingFile&) = delete;

    // What an earlier dump left.
    std::string text() {
        std::string all;
        std::array<char, 4096> part{};
        while (const std::size_t count = std::fread(part.data(), 1, part.size(), file_)) all.append(part.data(), count);
        if (std::ferror(file_) != 0) failFile(path_ + " cannot be read");
        return all;
    }
    // So much of it stays; what is added comes behind.
    void keep(std::size_t bytes) {
        if (!cutTo(file_, bytes) || std::fseek(file_, 0, SEEK_END) != 0) fail("may you write to it?");
    }
    void add(const std::string& text) {
        const bool written = std::fwrite(text.data(), 1, text.size(), file_) == text.size() && std::fflush(file_) == 0;
        if (!written) fail("is the disk full? what was read so far is kept");
    }
    void close() {
        const bool closed = std::fclose(std::exchange(file_, nullptr)) == 0;
        if (!closed) fail("is the disk full?");
    }

private:
    [[noreturn]] void fail(const char* hint) const { failFile(path_ + " cannot be written", hint); }

    std::string path_;
    std::FILE* file_;
};

class Dump {
public:
    Dump(Context& context, const DumpOptions& options)
        : context_(context),
          options_(options),
          part_(options.path + ".part"),
          objects_(rangesOf(options.objects, "--objects", rangesHint())),
          records_(rangesOf(options.records, "--records", rangesHint())),
          walk_(objects_, records_),
          access_(context, options.retries) {}

    void run() {
        refuseToReplace();
        GrowingFile file(part_);
        if (!resume(file)) {
            file.keep(0);
            file.add(heading());
        }
        readAll(file);
        file.add(noteLine(e2pnote::kComplete, std::to_string(stored_)));
        file.close();
        std::error_code failed;
        std::filesystem::rename(part_, options_.path, failed);
        if (failed) failFile(part_ + " cannot be renamed to " + options_.path + ": " + failed.message());
        tellResult();
    }

private:
    std::string heading() const {
        return noteLine(e2pnote::kDump, context_.session.handset().GetCmpVersion(1)) + noteLine(e2pnote::kImei, imei_) +
               noteLine(e2pnote::kObjects, rangesText(objects_)) + noteLine(e2pnote::kRecords, rangesText(records_)) +
               "# object record data\n";
    }

    // What is no regular file (a device, a folder, a link) is nobody's earlier dump.
    void refuseToReplace() const {
        using std::filesystem::file_type;
        std::error_code unknown;
        const file_type type = std::filesystem::symlink_status(options_.path, unknown).type();
        if (type == file_type::not_found) return;
        if (type != file_type::regular) {
            failFile(options_.path + " is there already, and is no regular file", "choose another name");
        }
        if (!options_.force) {
            failFile(options_.path + " is there already", "choose another name, or let --force replace it");
        }
    }

    // True: the walk stands where the interrupted dump stopped, and the file holds whole lines only.
    bool resume(GrowingFile& file) {
        std::string text = options_.restart ? std::string() : file.text();
        if (text.empty()) return false;
        text.resize(text.rfind('\n') + 1);  // a line that was not written to its end
        const E2pFile begun = parseE2pText(text, part_);
        const bool same = begun.isDump() && begun.note(e2pnote::kObjects) == rangesText(objects_) &&
                          begun.note(e2pnote::kRecords) == rangesText(records_);
        const std::string advice = "--restart begins anew";
        if (!same)
            failFile(part_ + " is an interrupted dump of other ranges", advice + "; the same ranges go on with it");
        if (begun.note(e2pnote::kImei) != imei_) {
            failFile(
                part_ + " is an interrupted dump of the handset " + begun.note(e2pnote::kImei) + ", this is " + imei_,
                advice);
        }
        file.keep(text.size());
        stored_ = resumedWith_ = begun.objects.size();
        if (!begun.objects.empty()) {
            walk_.skipTo(begun.objects.rbegin()->first);
            walk_.next();
        }
        const auto next = splitWords(begun.note(e2pnote::kNext));
        if (next && next->size() == 2) {
            const auto object = parseNumber((*next)[0]), record = parseNumber((*next)[1]);
            if (object && record)
                walk_.skipTo({static_cast<std::uint16_t>(*object), static_cast<std::uint16_t>(*record)});
        }
        context_.out.remark("going on with " + part_ + ", which has " + counted(stored_, "object"));
        return true;
    }

    void readAll(GrowingFile& file) {
        Progress progress(context_.out, "dump", countOf(objects_), walk_.objectsDone());
        try {
            while (!walk_.atEnd()) {
                checkInterrupt("the same command goes on where it stopped");
                readOne(file, progress);
            }
        } catch (const Failure&) {
            const E2pKey key = walk_.key();
            file.add(noteLine(e2pnote::kNext, std::to_string(key.first) + " " + std::to_string(key.second)));
            throw;
        }
    }

    void readOne(GrowingFile& file, Progress& progress) {
        const E2pKey key = walk_.key();
        const E2pReply reply = access_.read(key);
        const bool refused = isE2pStatus(reply.code);
        if (!refused && reply.code != Code::Success) {
            Failure failure = failureOf(reply, keyText(key) + " was not read");
            failure.hint += "; the same command goes on where it stopped";
            throw failure;
        }
        if (refused) {
            ++refusals_[reply.code];
        } else if (!reply.text.value_or("").empty()) {
            file.add(objectLine(key, *reply.text));
            ++stored_;
            bytes_ += reply.text->size() / 2;
        }
        const bool passOver = refused && walk_.atFirstRecord() && !options_.everyRecord;
        passOver ? walk_.nextObject() : walk_.next();
        if (walk_.atEnd() || walk_.atFirstRecord()) progress.advance(std::to_string(stored_) + " stored");
    }

    void tellResult() {
        Output& out = context_.out;
        Json refused = Json::object();
        for (const auto& [code, count] : refusals_) refused[hexCode(code)] = count;
        context_.result["file"] = options_.path;
        context_.result["objects"] = stored_;
        context_.result["resumedWith"] = resumedWith_;
        context_.result["bytesRead"] = bytes_;
        context_.result["refused"] = refused;
        out.line(counted(stored_, "object") + " in " + options_.path +
                 (resumedWith_ > 0 ? " (" + std::to_string(resumedWith_) + " of them from before)" : ""));
        for (const auto& [code, count] : refusals_) {
            out.line("  not there: " + counted(count, "record") + " (" + hexCode(code) + ", " +
                     describeCode(code).meaning + ")");
        }
    }

    Context& context_;
    const DumpOptions& options_;
    const std::string part_;
    const std::vector<NumberRange> objects_;
    const std::vector<NumberRange> records_;
    Walk walk_;
    E2pAccess access_;
    const std::string imei_ = access_.imei();
    std::uint64_t stored_ = 0;
    std::uint64_t resumedWith_ = 0;
    std::uint64_t bytes_ = 0;
    std::map<Code, std::uint64_t> refusals_;
};

}  // namespace

void describeDump(CLI::App& command, Context& context) {
    auto o = std::make_shared<DumpOptions>();
    command.add_option("file", o->path, "the file to write")->required()->type_name("FILE");
    command.add_option("--objects", o->objects, "the objects to ask for")->type_name("RANGES")->capture_default_str();
    command.add_option("--records", o->records, "the records of each")->type_name("RANGES")->capture_default_str();
    command.add_flag("--every-record", o->everyRecord,
                     "ask for every record, also of objects whose first one is not there");
    addNumber(command, "--retries", o->retries, 100, "further tries where the line fails (2)");
    command.add_flag("--force", o->force, "replace the file if it is there");
    command.add_flag("--restart", o->restart, "begin anew, also where an interrupted dump could go on");
    command.footer(
        "Which objects a handset has shows only when it is asked. Until the dump is whole it is FILE.part; the "
        "same command goes on with it. Only one dump at a time writes a file. The simulated handset serves a dump with "
        "--store FILE.");
    whenRun(command, context, [&context, o] { Dump(context, *o).run(); });
}

}  // namespace mova::cli
