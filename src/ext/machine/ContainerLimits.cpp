// SPDX-License-Identifier: MIT
#include <qz/ext/ContainerLimits.h>

#include <algorithm>
#include <iterator>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include "ControlGroupText.h"
#include "base/FileDescriptor.h"
#include "base/Restart.h"

namespace qz::ext {

namespace {

// A file of the system, which has no size; empty if it can't be read to its end, or if it is far
// larger than any of the system.
std::string readFile(const std::string& path)
{
    constexpr std::size_t kBlockBytes = 4096;
    constexpr std::size_t kMostBytes = 16UL << 20;
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    std::string text;
    for (;;) {
        const std::size_t size = text.size();
        text.resize(size + kBlockBytes);
        const ssize_t count =
            restart([&] { return ::read(file.get(), text.data() + size, kBlockBytes); });
        text.resize(size + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        if (count == 0) return text;
        if (count < 0 || text.size() > kMostBytes) return {};
    }
}

unsigned int countOnlineProcessors()
{
    return static_cast<unsigned int>(std::max(::sysconf(_SC_NPROCESSORS_ONLN), 1L));
}

unsigned int countAffinity()
{
    // The system refuses a set that is smaller than its own; that of a usual kernel has up to 8192.
    constexpr std::size_t kMostSets = 1024;
    for (std::size_t sets = 1; sets <= kMostSets; sets *= 2) {
        std::vector<cpu_set_t> affinity(sets);
        const std::size_t bytes = sets * sizeof(cpu_set_t);
        if (::sched_getaffinity(0, bytes, affinity.data()) == 0)
            return static_cast<unsigned int>(CPU_COUNT_S(bytes, affinity.data()));
    }
    return countOnlineProcessors();
}

template <typename T>
void lower(std::optional<T>& least, const std::optional<T>& limit)
{
    if (limit && (!least || *limit < *least)) least = limit;
}

// Reads the limits of the groups that this process belongs to.
class GroupReader {
public:
    explicit GroupReader(const std::string& rootFolder)
        : mRootFolder(rootFolder),
          mMemberships(parseMemberships(readFile(rootFolder + "/proc/self/cgroup"))),
          mMounts(parseMounts(readFile(rootFolder + "/proc/self/mountinfo")))
    {
    }

    std::optional<double> readQuota() const
    {
        std::optional<double> quota;
        for (const std::string& folder : listFolders("cpu")) {
            lower(quota, parseQuota(readFile(folder + "/cpu.max")));
            const std::string quotaV1 = readFile(folder + "/cpu.cfs_quota_us");
            const std::string firstLine = quotaV1.substr(0, quotaV1.find('\n'));
            lower(quota, parseQuota(firstLine + ' ' + readFile(folder + "/cpu.cfs_period_us")));
        }
        return quota;
    }

    std::optional<unsigned long> readMemoryLimit() const
    {
        std::optional<unsigned long> limit;
        for (const std::string& folder : listFolders("memory")) {
            lower(limit, parseLimit(readFile(folder + "/memory.max")));
            lower(limit, parseLimit(readFile(folder + "/memory.limit_in_bytes")));
        }
        return limit;
    }

private:
    // The folders of all groups that may limit what the controller controls. Where both versions
    // are in use, a controller belongs to one of them, and its files are missing in the other.
    std::vector<std::string> listFolders(const std::string& controller) const
    {
        std::vector<std::string> folders;
        for (const GroupMembership& membership : mMemberships) {
            const bool isVersion2 = membership.controllers.empty();
            if (!isVersion2 && !hasName(membership.controllers, controller)) continue;
            std::vector<GroupMount> mounts;
            std::copy_if(mMounts.begin(), mMounts.end(), std::back_inserter(mounts),
                         [&](const GroupMount& mount) {
                             return mount.isVersion2 == isVersion2 &&
                                    (isVersion2 || hasName(mount.controllers, controller));
                         });
            for (const std::string& folder : listGroupFolders(mounts, membership.path))
                folders.push_back(mRootFolder + folder);
        }
        return folders;
    }

    const std::string mRootFolder;
    const std::vector<GroupMembership> mMemberships;
    const std::vector<GroupMount> mMounts;
};

}  // namespace

ContainerLimits ContainerLimits::Read(const std::string& rootFolder)
{
    const GroupReader groups(rootFolder);
    ContainerLimits limits;
    limits.cpuQuota = groups.readQuota();
    limits.memoryBytes = groups.readMemoryLimit();
    limits.processors = countProcessors(countAffinity(), limits.cpuQuota);
    return limits;
}

}  // namespace qz::ext
