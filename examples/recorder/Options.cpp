#include "Options.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string_view>
#include <system_error>

namespace recorder {

const char* const kUsage =
    "usage: recorder [--threads N] [--endian little|big] [--output PATH] [--log PATH]\n"
    "                [--log-level all|debug|normal] [FILE...]\n"
    "\n"
    "Records every line of the files, reads the recording back and compares it with the files.\n"
    "Several threads (2 to 64) share the files: number n records its files to PATH.n.\n"
    "Without files it takes texts of this machine; without PATH the recording is temporary.\n"
    "The log goes to its file, which is renamed at 1 MiB; without one it goes to the console.\n"
    "Ctrl-C finishes the records at work, keeps the recording and says what is missing; an input\n"
    "that sends nothing holds that up.\n"
    "Exit status: 0 when all matched, 1 when something did not, 2 for a wrong command line,\n"
    "3 after an interruption.\n";

namespace {

template <typename Value>
struct Word {
    std::string_view word;
    Value value;
};

constexpr Word<qz::qzDataStream::Endianness> kEndiannessWords[] = {
    {"little", qz::qzDataStream::LittleEndian},
    {"big", qz::qzDataStream::BigEndian},
};

constexpr Word<qz::qzLogLevel> kLogLevelWords[] = {
    {"all", qz::LogLevelAll},
    {"debug", qz::LogLevelDebug},
    {"normal", qz::LogLevelNormal},
};

template <typename Value, std::size_t Count>
bool parseWord(const Word<Value> (&words)[Count], std::string_view text, Value& value)
{
    for (const Word<Value>& candidate : words) {
        if (candidate.word != text) continue;
        value = candidate.value;
        return true;
    }
    return false;
}

bool parseThreadCount(const std::string& text, unsigned& count)
{
    constexpr unsigned kMostThreads = 64;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, count);
    return result.ec == std::errc() && result.ptr == end && count >= 1 && count <= kMostThreads;
}

bool parsePath(const std::string& text, std::string& path)
{
    path = text;
    return !path.empty();
}

bool parseOption(const std::string& name, const std::string& value, Options& options)
{
    if (name == "--endian") return parseWord(kEndiannessWords, value, options.endianness);
    if (name == "--log-level") return parseWord(kLogLevelWords, value, options.logLevel);
    if (name == "--threads") return parseThreadCount(value, options.threadCount);
    if (name == "--log") return parsePath(value, options.logPath);
    return parsePath(value, options.outputPath);
}

bool takesValue(const std::string& name)
{
    constexpr std::string_view kNames[] = {"--endian", "--log-level", "--threads", "--log",
                                           "--output"};
    return std::find(std::begin(kNames), std::end(kNames), name) != std::end(kNames);
}

}  // namespace

bool parseOptions(int argumentCount, char** arguments, Options& options, std::string& error)
{
    bool onlyFiles = false;
    for (int i = 1; i < argumentCount; ++i) {
        const std::string argument = arguments[i];
        if (onlyFiles || argument.rfind("--", 0) != 0) {
            options.inputPaths.push_back(argument);
        } else if (argument == "--") {
            onlyFiles = true;
        } else if (argument == "--help") {
            options.wantsHelp = true;
        } else if (!takesValue(argument)) {
            error = "unknown option '" + argument + "'";
            return false;
        } else if (++i == argumentCount) {
            error = "option '" + argument + "' wants a value";
            return false;
        } else if (!parseOption(argument, arguments[i], options)) {
            error = "option '" + argument + "' can't be '" + arguments[i] + "'";
            return false;
        }
    }
    return true;
}

}  // namespace recorder
