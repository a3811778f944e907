#include "Console.h"

#include <cerrno>
#include <iostream>
#include <string>

#include <cxxabi.h>
#include <stdio.h>
#include <stdio_ext.h>
#include <unistd.h>
#include <ext/stdio_filebuf.h>
#include <ext/stdio_sync_filebuf.h>

#include "SignalSafety.h"
#include "frame/base/FileDescriptor.h"

namespace qz::log {

namespace {

// In a forked child: there are texts of the parent in the buffer of stdout.
bool gHasTextsOfParent = false;

struct Target {
    std::ostream& stream;
    FILE* file;
    int descriptor;
};

// The buffers that the C++ library gives the standard streams: one that hands everything to stdio,
// or after `sync_with_stdio(false)` one that writes to the descriptor itself. The second one isn't
// safe to use while a thread of the application prints.
bool isOwnBuffer(std::streambuf* buffer, const Target& target)
{
    using SynchronizedBuffer = __gnu_cxx::stdio_sync_filebuf<char>;
    using UnsynchronizedBuffer = __gnu_cxx::stdio_filebuf<char>;
    if (auto* const synchronized = dynamic_cast<SynchronizedBuffer*>(buffer))
        return synchronized->file() == target.file;
    auto* const unsynchronized = dynamic_cast<UnsynchronizedBuffer*>(buffer);
    return unsynchronized != nullptr && unsynchronized->fd() == target.descriptor;
}

// A signal handler may have interrupted this thread within `printf`. The thread would get the lock
// again and find the buffer half changed.
void flushApplicationOutput(FILE* file)
{
    if (SignalReport::IsRunning() || gHasTextsOfParent) return;
    if (::ftrylockfile(file) != 0) return;
    ::fflush_unlocked(file);
    ::funlockfile(file);
}

void writeWhole(int descriptor, std::string_view line)
{
    while (true) {
        line.remove_prefix(FileDescriptor::WriteTo(descriptor, line));
        if (line.empty()) return;
        discardOwnFileSizeSignal();
        // Somebody who shares the terminal or the pipe may have made it non-blocking. Nobody can be
        // told of another error.
        if (errno != EAGAIN || !FileDescriptor::AwaitSpace(descriptor, /*timeoutMs=*/-1)) return;
    }
}

// A stream that can't be written doesn't stop the log.
void writeThrough(std::streambuf& buffer, std::string_view line)
{
    try {
        buffer.sputn(line.data(), static_cast<std::streamsize>(line.size()));
        buffer.pubsync();
    } catch (const abi::__forced_unwind&) {
        throw;  // the end of the thread
    } catch (...) {
    }
}

void write(const Target& target, std::string_view line)
{
    // Static constructors of a program may report before its streams exist.
    static const std::ios_base::Init streams;
    std::streambuf* const buffer = target.stream.rdbuf();
    if (buffer == nullptr) return;  // so the application has silenced it
    if (!isOwnBuffer(buffer, target)) {
        writeThrough(*buffer, line);
        return;
    }
    flushApplicationOutput(target.file);
    writeWhole(target.descriptor, line);
}

}  // namespace

void Console::WriteLine(std::string_view prefix, std::string_view message)
{
    std::string line;
    line.reserve(prefix.size() + message.size() + 1);
    line.append(prefix).append(message) += '\n';
    write({std::cout, stdout, STDOUT_FILENO}, line);
}

void Console::WriteErrorLine(std::string_view text)
{
    std::string line(text);
    line += '\n';
    write({std::cerr, stderr, STDERR_FILENO}, line);
}

void Console::ResumeChild()
{
    gHasTextsOfParent = ::__fpending(stdout) != 0;
}

}  // namespace qz::log
