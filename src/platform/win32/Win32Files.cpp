#include "platform/win32/Win32Files.h"

#include <cstdio>
#include <limits>
#include <memory>

#include "platform/win32/OwnedHandle.h"

namespace mova {

namespace {

// A Files::Handle points to one of these.
class OpenFile {
public:
    virtual ~OpenFile() = default;
    virtual bool write(std::string_view text) = 0;
};

// One WriteFile writes one text. The result is false when it fails or takes less than all.
bool writeWhole(HANDLE file, std::string_view bytes) {
    if (bytes.size() > std::numeric_limits<DWORD>::max()) return false;
    const auto length = static_cast<DWORD>(bytes.size());
    DWORD written = 0;
    return WriteFile(file, bytes.data(), length, &written, nullptr) && written == length;
}

class LogFile final : public OpenFile {
public:
    explicit LogFile(OwnedHandle file) : file_(std::move(file)) {}
    bool write(std::string_view text) override { return writeWhole(file_.get(), text); }

private:
    OwnedHandle file_;
};

struct CloseStream {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, CloseStream>;

class TextFile final : public OpenFile {
public:
    explicit TextFile(Stream stream) : stream_(std::move(stream)) {}
    bool write(std::string_view text) override {
        return std::fwrite(text.data(), 1, text.size(), stream_.get()) == text.size() &&
               std::fflush(stream_.get()) == 0;
    }

private:
    Stream stream_;
};

std::unique_ptr<OpenFile> openLog(const char* path) {
    OwnedHandle file(
        CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return nullptr;
    constexpr LARGE_INTEGER kNoOffset{};
    if (!SetFilePointerEx(file.get(), kNoOffset, nullptr, FILE_END)) return nullptr;
    return std::make_unique<LogFile>(std::move(file));
}

std::unique_ptr<OpenFile> openText(const char* path, const char* mode) {
    Stream stream(std::fopen(path, mode));
    if (!stream) return nullptr;
    return std::make_unique<TextFile>(std::move(stream));
}

std::unique_ptr<OpenFile> openAs(FileMode mode, const char* path) {
    switch (mode) {
        case FileMode::LogAppend: return openLog(path);
        case FileMode::TextAppend: return openText(path, "a+t");
        case FileMode::TextTruncate: return openText(path, "w+t");
    }
    return nullptr;
}

OpenFile* fileOf(Files::Handle handle) { return reinterpret_cast<OpenFile*>(handle); }

}  // namespace

Files::Handle Win32Files::open(const std::string& path, FileMode mode) {
    auto file = openAs(mode, path.c_str());
    return file ? reinterpret_cast<Handle>(file.release()) : kInvalid;
}

bool Win32Files::write(Handle file, std::string_view text) { return fileOf(file)->write(text); }

void Win32Files::close(Handle file) { delete fileOf(file); }

}  // namespace mova
