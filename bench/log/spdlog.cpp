// SPDX-License-Identifier: MIT
#include <chrono>
#include <memory>

#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/null_sink.h>

#include "../support.h"
#include "lines.h"

namespace bench {

namespace {

/// Writes the level in capitals: spdlog fixes its own names when it is compiled.
class CapitalLevel : public spdlog::custom_flag_formatter {
public:
    void format(const spdlog::details::log_msg& message, const std::tm&,
                spdlog::memory_buf_t& line) override
    {
        const spdlog::string_view_t name = kNames[message.level];
        line.append(name.data(), name.data() + name.size());
    }

    std::unique_ptr<spdlog::custom_flag_formatter> clone() const override
    {
        return std::make_unique<CapitalLevel>();
    }

private:
    static constexpr spdlog::string_view_t kNames[] = {"TRACE",   "DEBUG",    "INFO",
                                                       "WARNING", "CRITICAL", "CRITICAL"};
};

std::unique_ptr<spdlog::pattern_formatter> makeFormatter()
{
    spdlog::pattern_formatter::custom_flags flags;
    flags['*'] = std::make_unique<CapitalLevel>();
    return std::make_unique<spdlog::pattern_formatter>(
        "%*(%n) PID %P TID %t %a %b %d %H:%M:%S%z %Y : ", spdlog::pattern_time_type::local,
        /*eol=*/"", std::move(flags));
}

spdlog::details::log_msg makeMessage()
{
    const std::chrono::milliseconds time(kFirstTimeMs);
    spdlog::details::log_msg message(spdlog::log_clock::time_point(time), spdlog::source_loc(),
                                     kSubType, spdlog::level::info, "");
    message.thread_id = static_cast<std::size_t>(kThreadNumber);
    return message;
}

bool isPrefixRight()
{
    useFixedTimeZone();
    spdlog::memory_buf_t line;
    makeFormatter()->format(makeMessage(), line);
    std::string expected = getExpectedPrefix();
    expected.insert(expected.find("+0100") + 3, 1, ':');  // it writes the zone as +01:00 only
    return isSameText(std::string(line.data(), line.size()), expected);
}

void measureSwitchedOffReport(benchmark::State& state)
{
    spdlog::logger logger("bench", std::make_shared<spdlog::sinks::null_sink_mt>());
    logger.set_level(spdlog::level::info);
    ReportArguments shown;
    for (auto _ : state) {
        keep(shown);
        logger.debug("{}{}{}{}{}", shown.verb, shown.name, shown.count, shown.share, shown.bytes);
    }
}

void measurePrefix(benchmark::State& state)
{
    const auto formatter = makeFormatter();
    spdlog::details::log_msg message = makeMessage();
    for (auto _ : state) {
        spdlog::memory_buf_t line;
        formatter->format(message, line);
        keep(line);
        message.time += std::chrono::milliseconds(kLineDistanceMs);
    }
}

const Check kPrefixCheck("prefix by spdlog", isPrefixRight);
const Case kSwitchedOff("switched-off report, 5 insertions", "spdlog", measureSwitchedOffReport);
const Case kPrefix("prefix of a line", "spdlog", measurePrefix);

}  // namespace

}  // namespace bench
