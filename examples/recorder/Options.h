#pragma once

#include <string>
#include <vector>

#include <qz/qzDataStream.h>
#include <qz/qzLog.h>

namespace recorder {

struct Options {
    std::vector<std::string> inputPaths;
    std::string outputPath;  // empty for a temporary recording
    std::string logPath;     // empty for a log on the console
    unsigned threadCount = 1;
    qz::qzDataStream::Endianness endianness = qz::qzDataStream::LittleEndian;
    qz::qzLogLevel logLevel = qz::LogLevelAll;
    bool wantsHelp = false;
};

extern const char* const kUsage;

/// Reads the command line. @return false, with the reason in `error`, when it makes no sense.
bool parseOptions(int argumentCount, char** arguments, Options& options, std::string& error);

}  // namespace recorder
