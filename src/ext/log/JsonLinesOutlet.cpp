// SPDX-License-Identifier: MIT
#include <cerrno>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <qz/ext/LogLine.h>
#include <qz/ext/LogTools.h>
#include <qz/qzDirUtils.h>

#include "base/Deadline.h"
#include "base/FileDescriptor.h"
#include "base/LocalText.h"
#include "base/QuietWrite.h"
#include "base/Restart.h"

namespace qz::ext {

namespace {

// How long an output that takes nothing is waited for.
constexpr int kLongestWaitMs = 1000;

// Waits until the output takes more. @return false if that takes too long.
bool awaitOutput(int descriptor, const Deadline& deadline)
{
    pollfd output = {descriptor, POLLOUT, 0};
    return restart([&] { return ::poll(&output, 1, deadline.getRemainingMs()); }) > 0;
}

// @return how many bytes the output has taken.
std::size_t writeBytes(int descriptor, std::string_view bytes, const Deadline& deadline)
{
    std::size_t count = 0;
    while (count != bytes.size()) {
        const ssize_t written =
            restart([&] { return writeQuietly(descriptor, bytes.substr(count)); });
        if (written > 0) {
            count += static_cast<std::size_t>(written);
        } else if (written == 0 || errno != EAGAIN) {
            break;
        } else if (!awaitOutput(descriptor, deadline)) {
            errno = EAGAIN;
            break;
        }
    }
    return count;
}

// The fields of an entry. Its prefix has the offset of the local time, which is not looked up here:
// after a fork the C library may have locked its time zone for good.
LogLine toLine(const qzLog::LogEntry& entry)
{
    LogLine line;
    // A sub-type may contain what looks like a time.
    if (!parseLogLine(entry.prefix, line) || line.subType != entry.subType) line.offsetSec = 0;
    line.type = entry.type;
    line.subType = entry.subType;
    line.processId = ::getpid();
    line.threadId = entry.threadId;
    line.hasTime = line.hasFraction = true;
    line.timeMs = entry.timeMs;
    line.text = entry.message;
    return line;
}

}  // namespace

struct JsonLinesOutlet::Output {
    Output(std::string path, int descriptor)
        : pathUtf8(std::move(path)), callersDescriptor(descriptor)
    {
    }

    bool open();
    bool writeLine(const std::string& line);

    const std::string pathUtf8;  // empty for a descriptor of the caller
    const int callersDescriptor;
    FileDescriptor file;
    bool isLineBroken = false;  // a part of a line was written
    bool isStuck = false;       // the last line was waited for in vain
};

// Opens the file, unless it is open.
bool JsonLinesOutlet::Output::open()
{
    if (pathUtf8.empty() || file.isOpen()) return true;
    const std::string path = toLocal(pathUtf8);
    if (path.empty()) return false;
    // O_NONBLOCK is for a named pipe without a reader, which would be waited for without end.
    constexpr int kFlags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    const auto openFile = [&] {
        return moveAboveStreams(restart([&] { return ::open(path.c_str(), kFlags, 0666); }));
    };
    file = FileDescriptor(openFile());
    // A folder that another process makes at the same time ends `MkpathUtf8` early.
    constexpr int kMostAttempts = 8;
    for (int i = 0; i != kMostAttempts && !file.isOpen() && errno == ENOENT; ++i) {
        std::string folder;
        std::string name;
        qzDirUtils::SplitFolderFilename(pathUtf8, folder, name);
        qzDirUtils::MkpathUtf8(folder);
        file = FileDescriptor(openFile());
    }
    return file.isOpen();
}

bool JsonLinesOutlet::Output::writeLine(const std::string& line)
{
    if (!open()) return false;
    const int descriptor = pathUtf8.empty() ? callersDescriptor : file.get();
    const Deadline deadline(isStuck ? 0 : kLongestWaitMs);
    const std::size_t count = writeBytes(descriptor, line, deadline);
    isStuck = count != line.size() && errno == EAGAIN;
    if (count != 0) isLineBroken = count != line.size();
    return count == line.size();
}

JsonLinesOutlet::JsonLinesOutlet(std::string pathUtf8)
    : mOutput(std::make_unique<Output>(std::move(pathUtf8), /*descriptor=*/-1))
{
}

JsonLinesOutlet::JsonLinesOutlet(int descriptor)
    : mOutput(std::make_unique<Output>(std::string(), descriptor))
{
}

JsonLinesOutlet::~JsonLinesOutlet() = default;

bool JsonLinesOutlet::take(const qzLog::LogEntry& entry)
{
    // Not a member: a fork of the process may find it half changed, and the child may use it.
    std::string json;
    if (mOutput->isLineBroken) json += '\n';
    appendJsonLine(json, toLine(entry));
    return mOutput->writeLine(json);
}

void JsonLinesOutlet::endBatch()
{
    mOutput->file.close();
}

}  // namespace qz::ext
