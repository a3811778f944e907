// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstring>
#include <string>

#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

/// A program or shared object that is read; it may hold anything.
class ElfFile {
public:
    explicit ElfFile(const std::string& path)
        : mDescriptor(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC))
    {
    }
    ~ElfFile()
    {
        if (mDescriptor >= 0) ::close(mDescriptor);
    }
    ElfFile(const ElfFile&) = delete;
    ElfFile& operator=(const ElfFile&) = delete;

    /// @return false if this is no regular file with such a head.
    bool readHead(Elf64_Ehdr& head) const
    {
        struct stat status = {};
        return ::fstat(mDescriptor, &status) == 0 && S_ISREG(status.st_mode) &&
               read(0, &head, sizeof head) && std::memcmp(head.e_ident, ELFMAG, SELFMAG) == 0;
    }

    /// @return false if not all bytes can be read.
    bool read(std::size_t position, void* bytes, std::size_t size) const
    {
        const ssize_t count = ::pread(mDescriptor, bytes, size, static_cast<off_t>(position));
        return count >= 0 && static_cast<std::size_t>(count) == size;
    }

private:
    int mDescriptor;
};
