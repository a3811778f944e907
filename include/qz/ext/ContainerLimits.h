// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include <qz/qzExport.h>

namespace qz::ext {

/// How much of the machine this process may use: its processor affinity, and the limits of its
/// control groups, in which containers and services run.
///
/// `qzSystemUtils` knows the whole machine, and the pool of the process has a worker for each of
/// its processors. A pool that fits into a container is one of its own:
///
/// @code
/// const qz::ext::ContainerLimits limits = qz::ext::ContainerLimits::Read();
/// qz::ConcurrentPool pool(limits.processors);
/// @endcode
struct QZ_API ContainerLimits {
    /// How many threads can run at a time; at least 1. It is the number of processors in the
    /// affinity of the calling thread, which new threads inherit, or the quota rounded up if that
    /// is less.
    unsigned int processors = 1;
    /// The processor time that the groups may use: 1.5 is the time of one and a half processors.
    /// Nothing without a quota.
    std::optional<double> cpuQuota = {};
    /// The bytes of memory that the groups may use. Above it, the system ends processes. Nothing
    /// without a limit; it may be more than the machine has.
    std::optional<unsigned long> memoryBytes = {};

    /// Reads the limits of this process. They may change while it runs.
    ///
    /// Groups of both versions, cgroup v1 and v2, count, and of nested groups the least limit. What
    /// is missing, can't be read or has no meaning is no limit. The library need not be started.
    /// Threads: any.
    /// @param rootFolder in the character set of the system; "proc/self/cgroup",
    ///     "proc/self/mountinfo" and the folders named in the latter are read below it. No ".." in
    ///     these files leads out of it, but links in it are followed as usual. Empty for those of
    ///     the system.
    static ContainerLimits Read(const std::string& rootFolder = {});
};

}  // namespace qz::ext
