// SPDX-License-Identifier: MIT
#include <qz/ext/CrashReport.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <string_view>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "EntryRing.h"
#include "ReportLayout.h"
#include "base/FileDescriptor.h"
#include "base/LocalText.h"
#include "base/Restart.h"

namespace qz::ext {

namespace {

// Removes a word and the blank after it from the front of a line.
std::string_view takeWord(std::string_view& line)
{
    const std::string_view word = line.substr(0, line.find(' '));
    line.remove_prefix(std::min(line.size(), word.size() + 1));
    return word;
}

template <typename Number>
Number toNumber(std::string_view word, int base = 10)
{
    Number number = 0;
    std::from_chars(word.data(), word.data() + word.size(), number, base);
    return number;
}

// Of the form 0x1f.
std::uint64_t takeHex(std::string_view& line)
{
    const std::string_view word = takeWord(line);
    return word.substr(0, 2) == "0x" ? toNumber<std::uint64_t>(word.substr(2), 16) : 0;
}

bool isBuildId(std::string_view word)
{
    constexpr std::size_t kMostDigits = 128;
    return word.size() <= kMostDigits &&
           word.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

CrashFrame parseFrame(std::string_view line)
{
    CrashFrame frame;
    frame.address = takeHex(line);
    frame.offset = takeHex(line);
    const std::string_view buildId = takeWord(line);
    if (isBuildId(buildId)) frame.buildId = buildId;
    if (line != "-") frame.file = line;
    return frame;
}

void parseEventLine(std::string_view name, std::string_view rest, CrashEvent& event)
{
    if (name == "time") event.timeMs = toNumber<long>(rest);
    if (name == "cause") event.cause = rest;
    if (name == "exception") event.exceptionType = rest;
    if (name == "text") event.exceptionText = rest;
    if (name == "thread") event.thread = rest;
    if (name == "register") event.registers.emplace_back(rest);
    if (name == "frame") event.frames.push_back(parseFrame(rest));
    if (name == "remark") event.remarks.emplace_back(rest);
    if (name == "end") event.isComplete = true;
}

void parseLine(std::string_view line, CrashReport& report)
{
    const std::string_view name = takeWord(line);
    if (name == "program") report.program = line;
    if (name == "pid") report.processId = toNumber<long>(line);
    if (name == "start") report.startMs = toNumber<long>(line);
    if (name == "ended") report.hasEndedNormally = true;
    if (name == "report") report.events.emplace_back().number = toNumber<long>(line);
    if (!report.events.empty()) parseEventLine(name, line, report.events.back());
}

void parseText(std::string_view text, CrashReport& report)
{
    text = text.substr(0, text.find('\0'));
    for (std::size_t end = 0; (end = text.find('\n')) != std::string_view::npos;) {
        parseLine(text.substr(0, end), report);
        text.remove_prefix(end + 1);
    }
}

// Reads a part of the file; less at its end. @return false after a failure, with its `errno`.
bool readPart(int descriptor, std::size_t position, std::size_t size, std::string& bytes)
{
    bytes.resize(size);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = restart([&] {
            return ::pread(descriptor, bytes.data() + done, size - done,
                           static_cast<off_t>(position + done));
        });
        if (count < 0) return false;
        if (count == 0) break;
        done += static_cast<std::size_t>(count);
    }
    bytes.resize(done);
    return true;
}

struct Sizes {
    std::size_t report = 0;
    std::size_t ring = 0;
};

bool parseHead(std::string_view head, std::size_t fileSize, Sizes& sizes)
{
    const std::string_view magic = crash::kMagic;
    if (head.substr(0, magic.size()) != magic) return false;
    head = head.substr(magic.size(), head.find('\n') - magic.size());
    sizes.report = toNumber<std::size_t>(takeWord(head));
    sizes.ring = toNumber<std::size_t>(takeWord(head));
    return sizes.report <= crash::kReportBytes && sizes.ring <= crash::kMostRingBytes &&
           fileSize >= crash::kReportOffset + sizes.report + sizes.ring;
}

bool read(int descriptor, const std::string& path, CrashReport& report, SystemFailure* failure)
{
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0) return fail(failure, "fstat " + path, errno);
    if (!S_ISREG(status.st_mode)) return fail(failure, "use of the file " + path, EINVAL);
    std::string bytes;
    const auto readBytes = [&](std::size_t position, std::size_t size) {
        return readPart(descriptor, position, size, bytes) || fail(failure, "read " + path, errno);
    };
    Sizes sizes;
    if (!readBytes(0, crash::kReportOffset)) return false;
    if (!parseHead(bytes, static_cast<std::size_t>(status.st_size), sizes))
        return fail(failure, "use as a file of CrashKit: " + path, EBADMSG);
    if (!readBytes(crash::kReportOffset, sizes.report)) return false;
    parseText(bytes, report);
    if (!readBytes(crash::kReportOffset + sizes.report, sizes.ring)) return false;
    report.entries = crash::readRing(bytes);
    report.isRunning = ::flock(descriptor, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    return true;
}

}  // namespace

bool readCrashReport(const std::string& path, CrashReport& report, SystemFailure* failure)
{
    const std::string localPath = toLocal(path);
    if (localPath.empty()) return fail(failure, "conversion of the path '" + path + "'", EILSEQ);
    // A pipe must not make the call wait.
    const FileDescriptor file(restart(
        [&] { return ::open(localPath.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
    if (!file.isOpen()) return fail(failure, "open " + path, errno);
    CrashReport found;
    if (!read(file.get(), path, found, failure)) return false;
    report = std::move(found);
    return true;
}

}  // namespace qz::ext
