#include "LocalFile.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace qz::variant {

namespace {

constexpr std::size_t kBlockSize = 65536;
constexpr mode_t kModeBeforeUmask = 0666;

}  // namespace

InputFile::InputFile(const std::string& localPath)
    : mDescriptor(::open(localPath.c_str(), O_RDONLY | O_CLOEXEC))
{
}

InputFile::~InputFile()
{
    if (isOpen()) ::close(mDescriptor);
}

std::string InputFile::read() const
{
    std::string content;
    std::size_t size = 0;
    for (;;) {
        if (content.size() - size < kBlockSize)
            content.resize(content.size() + std::max(kBlockSize, size));
        const ssize_t got = ::read(mDescriptor, &content[size], content.size() - size);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        size += static_cast<std::size_t>(got);
    }
    content.resize(size);
    return content;
}

OutputFile::OutputFile(const std::string& localPath)
    : mDescriptor(
          ::open(localPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kModeBeforeUmask))
{
}

OutputFile::~OutputFile()
{
    if (isOpen()) ::close(mDescriptor);
}

void OutputFile::write(std::string_view text)
{
    while (!text.empty() && !mHasFailed) {
        const ssize_t written = ::write(mDescriptor, text.data(), text.size());
        if (written >= 0)
            text.remove_prefix(static_cast<std::size_t>(written));
        else
            mHasFailed = errno != EINTR;
    }
}

}  // namespace qz::variant
