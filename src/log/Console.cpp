// SPDX-License-Identifier: MIT
#include "Console.h"

#include <cerrno>
#include <cstdint>
#include <iostream>
#include <string>
#include <typeinfo>

#include <link.h>
#include <stdio.h>
#include <stdio_ext.h>
#include <unistd.h>
#include <ext/stdio_filebuf.h>
#include <ext/stdio_sync_filebuf.h>

#include "SignalSafety.h"
#include "frame/base/CatchAll.h"
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

// The memory in which the C++ library has the buffers that it gives the standard streams: a segment
// of its own file. Found once, since the list of files has a lock.
class LibraryBuffers {
public:
    static const LibraryBuffers& Get()
    {
        static const LibraryBuffers buffers;
        return buffers;
    }

    bool contain(const void* address) const
    {
        const auto place = reinterpret_cast<std::uintptr_t>(address);
        return place >= mBegin && place < mEnd;
    }

private:
    LibraryBuffers() : mBegin(getAddress()), mEnd(mBegin + 1)
    {
        ::dl_iterate_phdr(&LibraryBuffers::FindSegment, this);
    }

    // Of the buffer of std::cout as it is at the load of the library.
    static std::uintptr_t getAddress()
    {
        // Static constructors of a program may report before its streams exist.
        static const std::ios_base::Init streams;
        return reinterpret_cast<std::uintptr_t>(std::cout.rdbuf());
    }

    static int FindSegment(dl_phdr_info* file, std::size_t /*size*/, void* data)
    {
        auto& buffers = *static_cast<LibraryBuffers*>(data);
        for (int i = 0; i < file->dlpi_phnum; ++i) {
            if (file->dlpi_phdr[i].p_type != PT_LOAD) continue;
            const std::uintptr_t begin = file->dlpi_addr + file->dlpi_phdr[i].p_vaddr;
            const std::uintptr_t end = begin + file->dlpi_phdr[i].p_memsz;
            if (buffers.mBegin < begin || buffers.mBegin >= end) continue;
            buffers.mBegin = begin;
            buffers.mEnd = end;
            return 1;
        }
        return 0;
    }

    std::uintptr_t mBegin;
    std::uintptr_t mEnd;
};

// At the load, before the application can have given its streams other buffers.
[[maybe_unused]] const LibraryBuffers& gLibraryBuffers = LibraryBuffers::Get();

// The buffers that the C++ library gives the standard streams: one that hands everything to stdio,
// or after `sync_with_stdio(false)` one that writes to the descriptor itself. The second one isn't
// safe to use while a thread of the application prints. An application may have buffers of the same
// types, and of types that are derived from them.
bool isOwnBuffer(std::streambuf& buffer, const Target& target)
{
    using SynchronizedBuffer = __gnu_cxx::stdio_sync_filebuf<char>;
    using UnsynchronizedBuffer = __gnu_cxx::stdio_filebuf<char>;
    if (!LibraryBuffers::Get().contain(&buffer)) return false;
    if (typeid(buffer) == typeid(SynchronizedBuffer))
        return static_cast<SynchronizedBuffer&>(buffer).file() == target.file;
    return typeid(buffer) == typeid(UnsynchronizedBuffer) &&
           static_cast<UnsynchronizedBuffer&>(buffer).fd() == target.descriptor;
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
    catchAll(
        [&] {
            buffer.sputn(line.data(), static_cast<std::streamsize>(line.size()));
            buffer.pubsync();
        },
        [] {});
}

void write(const Target& target, std::string_view line)
{
    std::streambuf* const buffer = target.stream.rdbuf();
    if (buffer == nullptr) return;  // so the application has silenced it
    if (!isOwnBuffer(*buffer, target)) {
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
