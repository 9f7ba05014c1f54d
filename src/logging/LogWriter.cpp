#include "logging/LogWriter.h"

#include <array>

#include "base/MadeOnce.h"
#include "base/Text.h"
#include "platform/Threading.h"

namespace mova {

namespace {

enum class Form { WithDirection, Plain, NodeBegin, NodeEnd };

struct TypeRow {
    LogType type;
    const char* tag;
    Form form;
    bool trimmed;
};

constexpr std::array kTypes{
    TypeRow{LogType::At, "[AT]", Form::WithDirection, true},
    TypeRow{LogType::Gpib, "[GPIB]", Form::WithDirection, true},
    TypeRow{LogType::Qlib, "[QLIB]", Form::WithDirection, false},
    TypeRow{LogType::NodeBegin, "[NODE BEGIN]", Form::NodeBegin, false},
    TypeRow{LogType::NodeEnd, "[NODE END]", Form::NodeEnd, false},
    TypeRow{LogType::Step, "[STEP]", Form::Plain, false},
    TypeRow{LogType::Comment, "[COMMENT]", Form::Plain, false},
    TypeRow{LogType::ErrorCode, "[ERROR CODE]", Form::Plain, false},
    TypeRow{LogType::ErrorDescription, "[ERROR DESCRIPTION]", Form::Plain, false},
    TypeRow{LogType::Qpd, "[QPD]", Form::Plain, false},
    TypeRow{LogType::Comm, "[COMM]", Form::Plain, false},
    TypeRow{LogType::Tcp, "[TCP]", Form::Plain, false},
    TypeRow{LogType::Debug, "[DEBUG]", Form::Plain, false},
};
constexpr TypeRow kUnknown{LogType{0}, "[UNKNOWN]", Form::WithDirection, false};

const TypeRow& rowOf(LogType type) {
    for (const TypeRow& row : kTypes) {
        if (row.type == type) return row;
    }
    return kUnknown;
}

// The message is appended, not formatted: it may hold any bytes.
std::string makeLine(Platform& platform, LogType type, std::string_view message, LogDirection direction) {
    const TypeRow& row = rowOf(type);
    const LocalTime t = platform.clock.localTime();
    std::string line = format("[%d/%.2d/%.2d-%.2d:%.2d:%.2d::%.3d]", t.year, t.month, t.day, t.hour, t.minute, t.second,
                              t.millisecond);
    line += format("[%05d]", static_cast<int>(platform.threading.currentThreadId()));
    line.append("\t").append(row.tag);
    if (row.form == Form::WithDirection) line += direction == LogDirection::Sent ? " Send" : " Recv";
    line += ": ";
    const std::string_view text = row.trimmed ? trimRight(message) : message;
    if (row.form == Form::NodeBegin || row.form == Form::NodeEnd) {
        line.append("******** ").append(text).append(" ********");
    } else {
        line += text;
    }
    line += row.form == Form::NodeEnd ? "\r\n\r\n" : "\r\n";
    return line;
}

struct LastPath {
    Mutex mutex;
    std::string path MOVA_GUARDED_BY(mutex);
};

void remember(const std::string& path) {
    LastPath& last = madeOnce<LastPath>();
    const LockGuard guard(last.mutex);
    last.path = path;
}

class HeldMutex {
public:
    explicit HeldMutex(NamedMutex& mutex) : mutex_(mutex) {
        while (!mutex_.acquire()) {
        }
    }
    ~HeldMutex() { mutex_.release(); }
    HeldMutex(const HeldMutex&) = delete;
    HeldMutex& operator=(const HeldMutex&) = delete;

private:
    NamedMutex& mutex_;
};

void append(Platform& platform, const std::string& path, const std::string& line) {
    const auto mutex = platform.threading.makeNamedMutex("SUTLOG");
    const HeldMutex held(*mutex);
    const auto file = platform.files.open(path, FileMode::LogAppend);
    if (file == Files::kInvalid) return;
    platform.files.write(file, line);
    platform.files.close(file);
}

}  // namespace

Code Log(Platform& platform, const std::string& path, LogType type, std::string_view message, LogDirection direction) {
    try {
        remember(path);
        if (!path.empty()) append(platform, path, makeLine(platform, type, message, direction));
    } catch (...) {
        // Out of memory: the line is dropped, as one that cannot be written.
    }
    return path.empty() ? Code::LogPathEmpty : Code::Success;
}

std::string lastLogPath() {
    LastPath& last = madeOnce<LastPath>();
    const LockGuard guard(last.mutex);
    return last.path;
}

}  // namespace mova
