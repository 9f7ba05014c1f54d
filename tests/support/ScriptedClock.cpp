#include "support/ScriptedClock.h"

#include <array>
#include <chrono>

namespace mova {

namespace {

using namespace std::chrono;

constexpr std::array kDays{"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
constexpr std::array kMonths{"January", "February", "March",     "April",   "May",      "June",
                             "July",    "August",   "September", "October", "November", "December"};

std::int64_t wholeMilliseconds(VirtualTime time) { return duration_cast<milliseconds>(time).count(); }

LocalTime broken(milliseconds sinceEpoch) {
    const sys_time<milliseconds> point(sinceEpoch);
    const auto day = floor<days>(point);
    const year_month_day date(day);
    const hh_mm_ss clock(point - day);
    return {static_cast<int>(date.year()),
            static_cast<int>(static_cast<unsigned>(date.month())),
            static_cast<int>(static_cast<unsigned>(date.day())),
            static_cast<int>(clock.hours().count()),
            static_cast<int>(clock.minutes().count()),
            static_cast<int>(clock.seconds().count()),
            static_cast<int>(clock.subseconds().count())};
}

}  // namespace

std::uint32_t ScriptedClock::tickCount() {
    core_.enter(Op::TickCount);
    return static_cast<std::uint32_t>(tickOffset_ +
                                      static_cast<std::uint64_t>(wholeMilliseconds(core_.scheduler.now())));
}

LocalTime ScriptedClock::localTime() {
    core_.enter(Op::LocalTime);
    return broken(milliseconds(localOffset_ + wholeMilliseconds(core_.scheduler.now())));
}

void ScriptedClock::sleep(std::uint32_t time) {
    core_.enter(Op::Sleep);
    core_.note(Op::Sleep, {}, core_.call("sleep %u", time));
    core_.scheduler.wait(nullptr, nullptr, time);
}

std::string ScriptedClock::longDateText(std::int64_t secondsSinceEpoch) {
    if (core_.enter(Op::LongDate)) return {};
    const LocalTime t = broken(seconds(secondsSinceEpoch));
    const weekday day(floor<days>(sys_seconds(seconds(secondsSinceEpoch))));
    return printed("%s, %s %02d, %d %02d:%02d:%02d", kDays[day.c_encoding()],
                   kMonths[static_cast<std::size_t>(t.month - 1)], t.day, t.year, t.hour, t.minute, t.second);
}

void ScriptedClock::setTickCount(std::uint32_t ticks) {
    tickOffset_ =
        (std::uint64_t{1} << 32) + ticks - static_cast<std::uint64_t>(wholeMilliseconds(core_.scheduler.now()));
}

void ScriptedClock::setLocalTime(const LocalTime& t) {
    const sys_days day{year{t.year} / month{static_cast<unsigned>(t.month)} /
                       std::chrono::day{static_cast<unsigned>(t.day)}};
    const milliseconds sinceEpoch =
        day.time_since_epoch() + hours(t.hour) + minutes(t.minute) + seconds(t.second) + milliseconds(t.millisecond);
    localOffset_ = sinceEpoch.count() - wholeMilliseconds(core_.scheduler.now());
}

}  // namespace mova
