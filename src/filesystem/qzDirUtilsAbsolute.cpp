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

// A path with the letter of a drive, as other systems have them.
bool hasDrive(const std::string& path)
{
    return path.size() > 2 && path[1] == ':' && path[2] == '/';
}

std::string putBehind(const std::string& base, const std::string& path)
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

// Resolves the longest part of a path that exists, and puts the rest behind that. @return empty
// when not even the part up to the first slash exists.
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

Object lookAt(const char* localPath)
{
    char firstByte = 0;
    if (::readlink(localPath, &firstByte, 1) >= 0) return Object::Link;
    return errno == EINVAL ? Object::Other : Object::Missing;
}

bool isOrdinary(std::string_view component)
{
    return !component.empty() && component != "." && component != "..";
}

// What a path comes to where no link has to be resolved.
enum class Way {
    Nowhere,           // not even the part up to the first slash exists
    BehindCurrent,     // all of it goes behind the current folder, whatever of it exists
    ThroughTheSystem,  // there are links, or components that mean something else than a name
};

// Walks the components from `start` on, and so asks for each of them once, where realpath asks for
// all of them anew in each part that it is called with.
Way findWay(std::string localPath, std::size_t start)
{
    std::size_t end = 0;
    for (std::size_t place = start; place <= localPath.size(); place = end + 1) {
        end = std::min(localPath.find('/', place), localPath.size());
        if (!isOrdinary(std::string_view(localPath).substr(place, end - place)))
            return Way::ThroughTheSystem;
        if (end != localPath.size()) localPath[end] = '\0';
        const Object object = lookAt(localPath.c_str());
        if (object == Object::Link) return Way::ThroughTheSystem;
        if (object == Object::Missing) return place == 0 ? Way::Nowhere : Way::BehindCurrent;
        if (end != localPath.size()) localPath[end] = '/';
    }
    return Way::BehindCurrent;
}

bool tryPutBehindCurrent(const std::string& localPath, std::size_t start, std::string& resolved)
{
    char folder[PATH_MAX];
    if (::getcwd(folder, sizeof folder) == nullptr) return false;
    resolved = folder;
    if (resolved.back() != '/') resolved += '/';
    resolved.append(localPath, start);
    return resolved.size() < PATH_MAX;  // what the system would still resolve
}

std::string resolve(const std::string& localPath)
{
    // Ahead of a component alone, where it exists.
    const std::size_t start = localPath.compare(0, 2, "./") == 0 ? 2 : 0;
    const Way way = findWay(localPath, start);
    std::string resolved;
    if (way == Way::Nowhere) return {};
    if (way == Way::BehindCurrent && tryPutBehindCurrent(localPath, start, resolved))
        return resolved;
    return resolveFromEnd(localPath);
}

std::string resolveInCurrentFolder(const std::string& path)
{
    std::string localPath = text::toLocal(path);
    filesystem::makeSlashes(localPath);
    // One component alone may be missing without the result being lost: the current folder, ahead
    // of it, exists.
    if (localPath.find('/') == std::string::npos) localPath.insert(0, "./");
    return text::fromLocal(resolve(text::endAtZeroByte(localPath)));
}

}  // namespace

bool qzDirUtils::GetAbsolutePathUtf8(const std::string& path, std::string& result,
                                     const std::string& base)
{
    std::string whole = path.empty() ? "." : SimplifyPath(path);
    const bool isRelative = IsPathRelativeUtf8(whole) && !hasDrive(whole);
    if (isRelative && !base.empty()) whole = putBehind(base, whole);
    if (!isRelative || !IsPathRelativeUtf8(whole)) {
        result = std::move(whole);
        return true;
    }
    result = resolveInCurrentFolder(whole);
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
