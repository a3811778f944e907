// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The texts of the system about control groups. See cgroups(7) and proc(5).

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qz::ext {

/// A group that the process belongs to: a line of /proc/self/cgroup.
struct GroupMembership {
    std::string controllers;  ///< With commas between them; empty for cgroup v2.
    std::string path;         ///< Below the root of the hierarchy.
};

/// A place where a hierarchy of groups is mounted: a line of /proc/self/mountinfo.
struct GroupMount {
    bool isVersion2 = false;
    std::string controllers;  ///< With commas between them, and other options; for cgroup v1 only.
    std::string root;         ///< The group that is at the mount point.
    std::string folder;       ///< The mount point.
};

/// Reads /proc/self/cgroup. Lines of another form are left out.
std::vector<GroupMembership> parseMemberships(std::string_view text);

/// Reads the control groups of /proc/self/mountinfo. Lines of another form are left out.
std::vector<GroupMount> parseMounts(std::string_view text);

/// Whether a list with commas has the name.
bool hasName(std::string_view list, std::string_view name);

/// Finds the folders of a group and of the groups around it, from the inner to the outer, for each
/// mount that shows the group. A mount that shows other groups only isn't used, unless all of them
/// do so: then the process sees other paths than the system, and a mount point is its group.
std::vector<std::string> listGroupFolders(const std::vector<GroupMount>& mounts,
                                          const std::string& groupPath);

/// Reads "QUOTA PERIOD", both in microseconds, as a number of processors. Nothing for "max", for
/// -1, which is cgroup v1's word for it, and for what isn't above 0.
std::optional<double> parseQuota(std::string_view text);

/// Reads a number of bytes. Nothing for "max", and for numbers so large that they mean it.
std::optional<unsigned long> parseLimit(std::string_view text);

/// The number of processors under a quota, of those in the affinity; at least 1.
unsigned int countProcessors(unsigned int affinityCount, const std::optional<double>& quota);

}  // namespace qz::ext
