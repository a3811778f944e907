// SPDX-License-Identifier: MIT
#include "SocketAddress.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <qz/qzDirUtils.h>

#include "text/LocalPath.h"

namespace qz::system {

namespace {

constexpr std::size_t kMaxPathSize = 106;

struct Address {
    explicit Address(const std::string& localPath)
        // Both ends give the same size. It may be more than the path has: the kernel ends the path
        // at its zero byte.
        : size(static_cast<socklen_t>(localPath.size() + 4))
    {
        unixAddress.sun_family = AF_UNIX;
        std::memcpy(unixAddress.sun_path, localPath.data(), localPath.size());
    }
    const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&unixAddress); }

    sockaddr_un unixAddress = {};
    socklen_t size;
};

// An empty path would be an address that the system chooses.
bool isUsable(const std::string& localPath)
{
    if (!localPath.empty()) return true;
    errno = ENOENT;
    return false;
}

}  // namespace

std::string makeSocketPath(const std::string& name)
{
    return text::endAtZeroByte(text::toLocal(qzDirUtils::GetTempFolderUtf8() + "/" + name));
}

bool isSocketPathTooLong(const std::string& localPath)
{
    return localPath.size() > kMaxPathSize;
}

FileDescriptor openSocket()
{
    return FileDescriptor::TakeAboveStreams(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

bool bindSocket(int socket, const std::string& localPath)
{
    if (!isUsable(localPath)) return false;
    const Address address(localPath);
    return ::bind(socket, address.get(), address.size) == 0;
}

bool connectSocket(int socket, const std::string& localPath)
{
    if (!isUsable(localPath)) return false;
    const Address address(localPath);
    int result = 0;
    do {
        result = ::connect(socket, address.get(), address.size);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

int setNonBlocking(int socket)
{
    const int flags = ::fcntl(socket, F_GETFL);
    if (flags < 0) return flags;
    return ::fcntl(socket, F_SETFL, flags | O_NONBLOCK);
}

}  // namespace qz::system
