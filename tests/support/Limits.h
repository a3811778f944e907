// SPDX-License-Identifier: MIT
#pragma once

#include <csignal>

#include <sys/resource.h>

namespace qz::support {

/// Lowers one limit of the process until the end of the scope; the hard limit stays.
class ResourceLimit {
public:
    ResourceLimit(__rlimit_resource resource, rlim_t value);
    ~ResourceLimit();
    ResourceLimit(const ResourceLimit&) = delete;
    ResourceLimit& operator=(const ResourceLimit&) = delete;

private:
    __rlimit_resource mResource;
    rlimit mOldLimit;
};

/// Allows that many more descriptors; opening the next one fails with EMFILE.
class DescriptorLimit {
public:
    explicit DescriptorLimit(int more);

private:
    ResourceLimit mLimit;
};

/// Lets no file grow beyond a size; a write at the limit fails with EFBIG.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t sizeBytes);
    ~FileSizeLimit();
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    ResourceLimit mLimit;
    void (*mOldAction)(int);
};

/// Gives up the rights of root in this process, which can't be undone, so that file modes have an
/// effect. Call it in a child.
void becomeNobody();

}  // namespace qz::support
