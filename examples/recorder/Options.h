// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <qz/qzDataStream.h>
#include <qz/qzLog.h>

namespace recorder {

struct Options {
    std::vector<std::string> inputPaths;
    std::string outputPath;  // empty for a temporary recording
    std::string logPath;     // empty for a log on the console
    unsigned long threadCount = 1;
    qz::qzDataStream::Endianness endianness = qz::qzDataStream::LittleEndian;
    qz::qzLogLevel logLevel = qz::LogLevelAll;
    bool isBuffered = false;  // collect the recording before it is written
};

/// The path of the recording that one of the threads makes; empty for a temporary recording.
std::string getPartPath(const Options& options, unsigned long index);

/// Reads the command line. @return the exit status when the program must end now.
std::optional<int> parseOptions(int argumentCount, char** arguments, Options& options);

}  // namespace recorder
