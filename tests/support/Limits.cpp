// SPDX-License-Identifier: MIT
#include "support/Limits.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace qz::support {

namespace {

constexpr uid_t kNobody = 65534;

// The limit is a descriptor number that stays out of reach, so it must count the free ones below.
rlim_t findDescriptorLimit(int more)
{
    int fd = 0;
    while (true) {
        const bool isFree = ::fcntl(fd, F_GETFD) < 0;
        if (isFree && more == 0) return static_cast<rlim_t>(fd);
        if (isFree) --more;
        ++fd;
    }
}

}  // namespace

ResourceLimit::ResourceLimit(__rlimit_resource resource, rlim_t value)
    : mResource(resource), mOldLimit{}
{
    ::getrlimit(mResource, &mOldLimit);
    const rlimit limit{value, mOldLimit.rlim_max};
    if (::setrlimit(mResource, &limit) != 0) {
        throw std::system_error(errno, std::generic_category(), "setrlimit");
    }
}

ResourceLimit::~ResourceLimit()
{
    ::setrlimit(mResource, &mOldLimit);
}

DescriptorLimit::DescriptorLimit(int more) : mLimit(RLIMIT_NOFILE, findDescriptorLimit(more)) {}

FileSizeLimit::FileSizeLimit(rlim_t sizeBytes)
    : mLimit(RLIMIT_FSIZE, sizeBytes), mOldAction(std::signal(SIGXFSZ, SIG_IGN))
{
}

FileSizeLimit::~FileSizeLimit()
{
    std::signal(SIGXFSZ, mOldAction);
}

void becomeNobody()
{
    if (::geteuid() != 0) return;
    if (::setgid(kNobody) != 0 || ::setuid(kNobody) != 0) {
        throw std::system_error(errno, std::generic_category(), "setuid");
    }
}

}  // namespace qz::support
