// SPDX-License-Identifier: MIT
#include "Options.h"

#include <filesystem>
#include <string_view>
#include <system_error>

#include "shared/CommandLine.h"

namespace recorder {

namespace {

constexpr unsigned long kMostThreads = 64;

constexpr const char* kUsage =
    "usage: recorder [--threads N] [--endian little|big] [--buffered] [--output PATH]\n"
    "                [--log PATH] [--log-level all|debug|normal] [--] [FILE...]\n"
    "\n"
    "Records every line of the files, reads the recording back and compares it with the files.\n"
    "Without files it takes texts of this machine; without PATH the recording is temporary. A "
    "file\n"
    "that can be read only once, such as a pipe, is compared by its checksum, and a line above\n"
    "1 MiB becomes several records.\n"
    "  --threads N         share the files among N threads, at most 64; thread number n records "
    "to\n"
    "                      PATH.n\n"
    "  --endian ORDER      the order of the bytes of numbers, little without it\n"
    "  --buffered          collect the recording first: in 16 MiB of memory a thread, and beyond "
    "that\n"
    "                      in a swap file in the folder for temporary files\n"
    "  --output PATH       where the recording is put when it is complete\n"
    "  --log PATH          a log file, which is renamed at 1 MiB; without it the log goes to the\n"
    "                      console\n"
    "  --log-level LEVEL   what is reported, all without it\n"
    "  --                  all arguments that follow are files\n"
    "  -h, --help          print this text\n"
    "The first Ctrl-C ends the recording after the current records, keeps it and prints which "
    "files\n"
    "are missing; the second one discards it and ends the program at once.\n"
    "Exit status: 0 when all matched, 1 when something did not or failed, 2 for a wrong command\n"
    "line, 3 after an interruption.\n";

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

bool isSameFile(const std::string& one, const std::string& other)
{
    std::error_code unknown;
    if (one.empty() || other.empty()) return false;
    return one == other || std::filesystem::equivalent(one, other, unknown);
}

// A recording or log must not replace an input, nor the log a recording.
std::optional<std::string> findClash(const Options& options)
{
    const std::string& logPath = options.logPath;
    for (unsigned long i = 0; i < options.threadCount; ++i) {
        const std::string outputPath = getPartPath(options, i);
        if (!outputPath.empty() && isSameFile(outputPath, logPath)) return outputPath;
        for (const std::string& path : options.inputPaths)
            if (isSameFile(path, outputPath) || isSameFile(path, logPath)) return path;
    }
    return std::nullopt;
}

}  // namespace

std::string getPartPath(const Options& options, unsigned long index)
{
    if (options.threadCount == 1 || options.outputPath.empty()) return options.outputPath;
    return options.outputPath + "." + std::to_string(index + 1);
}

std::optional<int> parseOptions(int argumentCount, char** arguments, Options& options)
{
    shared::CommandLine line("recorder", kUsage, /*failureStatus=*/1);
    line.addCount("--threads", options.threadCount);
    line.addText("--output", options.outputPath);
    line.addText("--log", options.logPath);
    line.addFlag("--buffered", options.isBuffered);
    line.addOption("--endian", [&](const std::string& value) {
        return parseWord(kEndiannessWords, value, options.endianness);
    });
    line.addOption("--log-level", [&](const std::string& value) {
        return parseWord(kLogLevelWords, value, options.logLevel);
    });
    if (const std::optional<int> status = line.parse(argumentCount, arguments)) return status;

    options.inputPaths = line.getPlainArguments();
    if (options.threadCount > kMostThreads)
        return line.refuse("option '--threads' can't be '" + std::to_string(options.threadCount) +
                           "'");
    if (const std::optional<std::string> path = findClash(options))
        return line.refuse("'" + *path + "' has two uses");
    return std::nullopt;
}

}  // namespace recorder
