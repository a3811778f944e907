// SPDX-License-Identifier: MIT
#include "ControlGroupText.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>

namespace qz::ext {

namespace {

constexpr std::string_view kBlanks = " \t\n";

// Cuts off the text up to the separator, and the separator. @return what was cut off.
std::string_view cutField(std::string_view& text, char separator)
{
    const std::size_t end = text.find(separator);
    const std::string_view field = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return field;
}

// The system writes blanks, line feeds and backslashes of paths as three octal digits.
std::string unescape(std::string_view field)
{
    constexpr std::size_t kDigits = 3;
    const auto isDigit = [](char c) { return c >= '0' && c <= '7'; };
    std::string text;
    while (!field.empty()) {
        const std::string_view digits = field.substr(1, kDigits);
        if (field[0] == '\\' && digits.size() == kDigits &&
            std::all_of(digits.begin(), digits.end(), isDigit)) {
            int code = 0;
            std::from_chars(digits.data(), digits.data() + digits.size(), code, 8);
            text += static_cast<char>(code);
            field.remove_prefix(1 + kDigits);
        } else {
            text += field[0];
            field.remove_prefix(1);
        }
    }
    return text;
}

// Whether a path leads out of the folder that it is put after.
bool leadsOut(const std::string& path)
{
    return (path + '/').find("/../") != std::string::npos;
}

std::optional<GroupMount> parseMount(std::string_view line)
{
    // ID, ID of the parent, device, root, mount point, options, optional fields up to "-", type of
    // the file system, source, options of the file system
    const auto next = [&line] { return cutField(line, ' '); };
    for (int skipped = 0; skipped < 3; ++skipped)
        next();
    GroupMount mount;
    mount.root = unescape(next());
    mount.folder = unescape(next());
    while (!line.empty() && next() != "-") {
    }
    const std::string_view type = next();
    next();
    mount.isVersion2 = type == "cgroup2";
    if (!mount.isVersion2) mount.controllers = std::string(line);
    if (type != "cgroup" && type != "cgroup2") return std::nullopt;
    const bool isAbsolute = !mount.folder.empty() && mount.folder[0] == '/';
    return isAbsolute && !leadsOut(mount.folder) ? std::optional(std::move(mount)) : std::nullopt;
}

// Adds the folders from the group to the mount point.
void addFolders(std::vector<std::string>& folders, const std::string& mountPoint, std::string path)
{
    // The system opens no longer path, and all folders of it together would be quadratic in size.
    if (path.size() > PATH_MAX) path.resize(path.rfind('/', PATH_MAX));
    for (; !path.empty(); path.resize(path.rfind('/')))
        folders.push_back(mountPoint + path);
    folders.push_back(mountPoint);
}

// The path of a group from the one at the mount point: "" or "/" and more. Nothing if it is not
// below that one.
std::optional<std::string> findPathBelow(std::string root, std::string path)
{
    if (root == "/") root.clear();
    if (path == "/") path.clear();
    if (path.compare(0, root.size(), root) != 0) return std::nullopt;
    path.erase(0, root.size());
    const bool isBelow = path.empty() || path[0] == '/';
    // A path with ".." is that of a group outside of the namespace of the process.
    return isBelow && !leadsOut(path) ? std::optional(path) : std::nullopt;
}

std::string_view trim(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

// A number that fills the whole text; one that is too large counts as the largest.
std::optional<unsigned long> parseNumber(std::string_view text)
{
    text = trim(text);
    unsigned long number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (rest != end || error == std::errc::invalid_argument) return std::nullopt;
    return error == std::errc() ? number : ~0UL;
}

}  // namespace

std::vector<GroupMembership> parseMemberships(std::string_view text)
{
    std::vector<GroupMembership> memberships;
    while (!text.empty()) {
        std::string_view line = cutField(text, '\n');
        cutField(line, ':');  // the number of the hierarchy
        const std::string_view controllers = cutField(line, ':');
        if (!line.empty() && line[0] == '/')
            memberships.push_back({std::string(controllers), std::string(line)});
    }
    return memberships;
}

std::vector<GroupMount> parseMounts(std::string_view text)
{
    std::vector<GroupMount> mounts;
    while (!text.empty()) {
        if (std::optional<GroupMount> mount = parseMount(cutField(text, '\n')))
            mounts.push_back(std::move(*mount));
    }
    return mounts;
}

bool hasName(std::string_view list, std::string_view name)
{
    while (!list.empty()) {
        if (cutField(list, ',') == name) return true;
    }
    return false;
}

std::vector<std::string> listGroupFolders(const std::vector<GroupMount>& mounts,
                                          const std::string& groupPath)
{
    std::vector<std::string> folders;
    for (const GroupMount& mount : mounts) {
        if (const std::optional<std::string> path = findPathBelow(mount.root, groupPath))
            addFolders(folders, mount.folder, *path);
    }
    if (!folders.empty()) return folders;
    for (const GroupMount& mount : mounts)
        folders.push_back(mount.folder);
    return folders;
}

std::optional<double> parseQuota(std::string_view text)
{
    text = trim(text);
    const std::optional<unsigned long> quota = parseNumber(cutField(text, ' '));
    const std::optional<unsigned long> period = parseNumber(text);
    if (quota.value_or(0) == 0 || period.value_or(0) == 0) return std::nullopt;
    return static_cast<double>(*quota) / static_cast<double>(*period);
}

std::optional<unsigned long> parseLimit(std::string_view text)
{
    // No limit is in cgroup v1 the largest signed number, rounded down to a page.
    constexpr unsigned long kUnlimited = 1UL << 62;
    const std::optional<unsigned long> limit = parseNumber(text);
    return limit.value_or(kUnlimited) < kUnlimited ? limit : std::nullopt;
}

unsigned int countProcessors(unsigned int affinityCount, const std::optional<double>& quota)
{
    const double count = std::min<double>(affinityCount, std::ceil(quota.value_or(affinityCount)));
    return std::max(static_cast<unsigned int>(count), 1U);
}

}  // namespace qz::ext
