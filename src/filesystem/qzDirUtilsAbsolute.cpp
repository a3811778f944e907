// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string_view>

#include <unistd.h>

#include <qz/qzDirUtils.h>

#include "PathText.h"
#include "text/LocalPath.h"

namespace qz {

namespace {

using filesystem::isSeparator;

// Whether a path begins with the letter of a drive, as on other systems.
bool hasDrive(const std::string& path)
{
    return path.size() > 2 && path[1] == ':' && path[2] == '/';
}

std::string appendToBase(const std::string& base, const std::string& path)
{
    if (path.empty()) return base;
    std::string whole;
    whole.reserve(base.size() + path.size() + 1);
    whole += base;
    if (!isSeparator(base.back())) whole += '/';
    whole += path;
    return whole;
}

// Resolves the links of a path all of whose components exist.
bool tryResolve(const std::string& localPath, std::string& resolved)
{
    char buffer[PATH_MAX];
    if (::realpath(localPath.c_str(), buffer) == nullptr) return false;
    resolved = buffer;
    return true;
}

// Resolves the longest part of a path that exists, and appends the rest. @return empty if not even
// the part up to the first slash exists.
std::string resolveFromEnd(const std::string& localPath)
{
    std::string part = localPath;
    std::string resolved;
    while (!tryResolve(part, resolved)) {
        const std::size_t cut = part.rfind('/');
        if (cut == std::string::npos) return {};
        part.resize(cut);
    }
    if (resolved.back() == '/') resolved.pop_back();
    return resolved.append(localPath, part.size());
}

enum class Object { Missing, Link, Other };

Object findObject(const char* localPath)
{
    char firstByte = 0;
    if (::readlink(localPath, &firstByte, 1) >= 0) return Object::Link;
    return errno == EINVAL ? Object::Other : Object::Missing;
}

bool isOrdinary(std::string_view component)
{
    return !component.empty() && component != "." && component != "..";
}

// How a path is resolved.
enum class Way {
    ToNothing,   // not even the part up to the first slash exists
    ByCurrent,   // it is appended to the current folder, whether or not it exists
    ByRealpath,  // there are links, or components that are no names
};

// Checks each component from `start` on once. `realpath` would check all of them again for each
// part that it is called with.
Way findWay(std::string localPath, std::size_t start)
{
    std::size_t end = 0;
    for (std::size_t place = start; place <= localPath.size(); place = end + 1) {
        end = std::min(localPath.find('/', place), localPath.size());
        if (!isOrdinary(std::string_view(localPath).substr(place, end - place)))
            return Way::ByRealpath;
        if (end != localPath.size()) localPath[end] = '\0';
        const Object object = findObject(localPath.c_str());
        if (object == Object::Link) return Way::ByRealpath;
        if (object == Object::Missing) return place == 0 ? Way::ToNothing : Way::ByCurrent;
        if (end != localPath.size()) localPath[end] = '/';
    }
    return Way::ByCurrent;
}

bool tryAppendToCurrent(const std::string& localPath, std::size_t start, std::string& resolved)
{
    char folder[PATH_MAX];
    if (::getcwd(folder, sizeof folder) == nullptr) return false;
    resolved = folder;
    if (resolved.back() != '/') resolved += '/';
    resolved.append(localPath, start);
    return resolved.size() < PATH_MAX;  // the limit of realpath
}

std::string resolve(const std::string& localPath)
{
    const std::size_t start = localPath.compare(0, 2, "./") == 0 ? 2 : 0;
    const Way way = findWay(localPath, start);
    std::string resolved;
    if (way == Way::ToNothing) return {};
    if (way == Way::ByCurrent && tryAppendToCurrent(localPath, start, resolved)) return resolved;
    return resolveFromEnd(localPath);
}

std::string resolveLocal(const std::string& localPath)
{
    return text::fromLocal(resolve(text::endAtZeroByte(localPath)));
}

// The local set lacks a character of the path, so no file has this path: the longest part that the
// set can hold and that exists is resolved, and the rest is appended.
std::string resolveLosslessPart(const std::string& path)
{
    for (std::size_t cut = path.rfind('/'); cut != std::string::npos && cut != 0;
         cut = path.rfind('/', cut - 1)) {
        const std::string part = text::toLocal(path.substr(0, cut));
        std::string resolved;
        if (!tryResolve(part, resolved)) continue;
        if (resolved.back() == '/') return path.substr(cut);
        resolved = text::fromLocal(resolved);
        return resolved.empty() ? resolved : resolved + path.substr(cut);
    }
    return {};
}

std::string resolveInCurrentFolder(std::string path)
{
    filesystem::makeSlashes(path);
    // One component alone may be missing: the current folder, which comes before it, exists.
    if (path.find('/') == std::string::npos) path.insert(0, "./");
    const std::string localPath = text::toLocal(path);
    if (!localPath.empty()) return resolveLocal(localPath);
    // Compatibility: what is no text at all leads to the current folder.
    return qzStringUtils::IsUtf8String(path) ? resolveLosslessPart(path) : resolveLocal("./");
}

}  // namespace

bool qzDirUtils::GetAbsolutePathUtf8(const std::string& path, std::string& result,
                                     const std::string& base)
{
    std::string whole = path.empty() ? "." : SimplifyPath(path);
    const bool isRelative = IsPathRelativeUtf8(whole) && !hasDrive(whole);
    if (isRelative && !base.empty()) whole = appendToBase(base, whole);
    if (!isRelative || !IsPathRelativeUtf8(whole)) {
        result = std::move(whole);
        return true;
    }
    result = resolveInCurrentFolder(std::move(whole));
    return true;
}

std::string qzDirUtils::GetAbsolutePathUtf8(const std::string& path, const std::string& base)
{
    std::string result;
    return GetAbsolutePathUtf8(path, result, base) ? result : std::string();
}

bool qzDirUtils::GetRelativePathUtf8(const std::string& path, std::string& result,
                                     const std::string& base)
{
    std::string folder;
    std::string whole;
    const bool areAbsolute =
        GetAbsolutePathUtf8(base, folder, "") && GetAbsolutePathUtf8(path, whole, folder += '/');
    const bool isBelow =
        areAbsolute && whole.size() > folder.size() && qzStringUtils::StartsWith(whole, folder);
    result = isBelow ? whole.substr(folder.size()) : std::string();
    return isBelow;
}

std::string qzDirUtils::GetRelativePathUtf8(const std::string& path, const std::string& base)
{
    std::string result;
    return GetRelativePathUtf8(path, result, base) ? result : std::string();
}

}  // namespace qz
