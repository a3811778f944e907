// SPDX-License-Identifier: MIT
#include "support/OutputCapture.h"

#include <cerrno>
#include <cstdio>
#include <iostream>
#include <system_error>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace qz::support {

OutputCapture::OutputCapture(int fd) : mFd(fd)
{
    flushStandardStreams();
    mSavedFd = ::fcntl(mFd, F_DUPFD_CLOEXEC, 0);
    mMemoryFd = makeMemoryFile();
    ::dup2(mMemoryFd, mFd);
}

OutputCapture::~OutputCapture()
{
    flushStandardStreams();
    ::dup2(mSavedFd, mFd);
    ::close(mSavedFd);
    ::close(mMemoryFd);
}

std::string OutputCapture::getText() const
{
    flushStandardStreams();
    return readWholeFile(mMemoryFd);
}

int makeMemoryFile(const std::string& content)
{
    const int fd = ::memfd_create("qzTest", MFD_CLOEXEC);
    if (fd < 0) throw std::system_error(errno, std::generic_category(), "memfd_create");
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t written = ::write(fd, content.data() + done, content.size() - done);
        if (written < 0) throw std::system_error(errno, std::generic_category(), "memory file");
        done += static_cast<std::size_t>(written);
    }
    ::lseek(fd, 0, SEEK_SET);
    return fd;
}

std::string readWholeFile(int fd)
{
    std::string content;
    char buffer[65536];
    ssize_t got = 0;
    while ((got = ::pread(fd, buffer, sizeof buffer, static_cast<off_t>(content.size()))) > 0) {
        content.append(buffer, static_cast<std::size_t>(got));
    }
    return content;
}

void flushStandardStreams()
{
    std::cout.flush();
    std::cerr.flush();
    std::clog.flush();
    std::fflush(nullptr);
}

}  // namespace qz::support
