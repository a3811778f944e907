#include "Options.h"

#include <iterator>
#include <string_view>

namespace recorder {

const char* const kUsage =
    "usage: recorder [--endian little|big] [--log-level all|debug|normal] [--output PATH] "
    "[FILE...]\n"
    "\n"
    "Records every line of the files, reads the recording back and compares it with the files.\n"
    "Without files it takes texts of this machine; without PATH the recording is temporary.\n"
    "Exit status: 0 when all matched, 1 when something did not, 2 for a wrong command line.\n";

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

bool parseOption(const std::string& name, const std::string& value, Options& options)
{
    if (name == "--endian") return parseWord(kEndiannessWords, value, options.endianness);
    if (name == "--log-level") return parseWord(kLogLevelWords, value, options.logLevel);
    options.outputPath = value;
    return !value.empty();
}

bool takesValue(const std::string& name)
{
    return name == "--endian" || name == "--log-level" || name == "--output";
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
