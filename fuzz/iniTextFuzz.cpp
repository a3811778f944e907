// SPDX-License-Identifier: MIT
// Loads an ini file of chance, saves its tree, and merges it with another one, and compares each
// step with its plain form. The first byte says where the content of the second file begins.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <list>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <qz/qzIniFile.h>
#include <qz/qzLog.h>

#include "../tests/support/LibraryStart.h"
#include "../tests/variant/PlainIni.h"
#include "support/FuzzInput.h"

namespace {

using qz::qzLog;
using qz::fuzz::expectSame;
using qz::fuzz::FuzzInput;
using qz::plain::Map;

// Keeps the warnings of the library, away from the console.
class Warnings {
public:
    Warnings()
    {
        qzLog::msInstance->setEchoToConsole(false);
        qzLog::msInstance->installCustomHandler(&Warnings::Collect, &mMessages);
    }
    std::vector<std::string> take() { return std::exchange(mMessages, {}); }

private:
    static void Collect(std::list<qzLog::LogEntry>& batch, void* messages)
    {
        for (const qzLog::LogEntry& entry : batch)
            static_cast<std::vector<std::string>*>(messages)->push_back(entry.message);
    }

    std::vector<std::string> mMessages;
};

// A file in memory.
class File {
public:
    explicit File(const std::string& content) : mDescriptor(::memfd_create("ini", MFD_CLOEXEC))
    {
        expectSame(mDescriptor >= 0, "no file");
        const ssize_t written = ::write(mDescriptor, content.data(), content.size());
        expectSame(written == static_cast<ssize_t>(content.size()), "short file");
    }
    ~File() { ::close(mDescriptor); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    std::string getPath() const { return "/proc/self/fd/" + std::to_string(mDescriptor); }
    std::string read() const
    {
        std::string content(static_cast<std::size_t>(::lseek(mDescriptor, 0, SEEK_END)), '\0');
        const ssize_t got = ::pread(mDescriptor, content.data(), content.size(), 0);
        expectSame(got == static_cast<ssize_t>(content.size()), "short read");
        return content;
    }

private:
    const int mDescriptor;
};

// NaNs are equal here.
bool isSameTree(const Map& left, const Map& right)
{
    std::ostringstream leftText;
    std::ostringstream rightText;
    leftText << left;
    rightText << right;
    return leftText.str() == rightText.str();
}

Map checkLoad(const File& file, const std::string& content, Warnings& warnings)
{
    Map map;
    expectSame(LoadIniFile(file.getPath(), map), "load");
    Map plainMap;
    const std::vector<std::string> wanted = qz::plain::loadIni(content, file.getPath(), plainMap);
    expectSame(isSameTree(map, plainMap), "tree");
    expectSame(warnings.take() == wanted, "warnings of the load");
    return map;
}

void checkSave(const Map& map)
{
    const File file("old content");
    const qz::plain::IniSave wanted = qz::plain::saveIni(map);
    expectSame(SaveIniFile(file.getPath(), map, /*merge=*/false) == wanted.isWhole, "save");
    expectSame(file.read() == wanted.text, "saved text");
}

void checkMerge(const File& file, const Map& present, const Map& map)
{
    const qz::plain::IniSave wanted = qz::plain::saveIni(qz::plain::mergeIni(present, map));
    expectSame(SaveIniFile(file.getPath(), map, /*merge=*/true) == wanted.isWhole, "merge");
    expectSame(file.read() == wanted.text, "merged text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const qz::support::LibraryStart library;
    static Warnings warnings;
    FuzzInput input(data, size);
    const std::size_t split = input.takeByte();
    const std::string content = input.takeBytes(split);
    const std::string otherContent = input.takeRest();
    const File file(content);
    const File otherFile(otherContent);
    const Map map = checkLoad(file, content, warnings);
    const Map otherMap = checkLoad(otherFile, otherContent, warnings);
    checkSave(map);
    checkMerge(file, map, otherMap);
    warnings.take();
    return 0;
}
