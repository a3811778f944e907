// SPDX-License-Identifier: MIT
#include "Inputs.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>
#include <tuple>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <qz/ext/LogLine.h>

namespace qzlog {

namespace {

bool isFolder(const std::string& path)
{
    struct stat status = {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// A file that can't be looked at isn't missing; the attempt to open it shows why.
bool isMissing(const std::string& path)
{
    return path != "-" && ::access(path.c_str(), F_OK) != 0 && errno == ENOENT;
}

bool hasForm(std::string_view name, const Place& place)
{
    if (name[0] == '.') return false;
    if (place.path.empty() || name == place.name) return true;
    const std::string_view start = place.nameStart;
    const std::string_view end = place.nameEnd;
    if (name.size() < start.size() + 2 + end.size() || !name.starts_with(start) ||
        !name.ends_with(end))
        return false;
    const char separator = name[start.size()];
    const char digit = name[start.size() + 1];
    return (separator == '-' || separator == '_') && digit >= '0' && digit <= '9';
}

bool isOlder(const FoundFile& left, const FoundFile& right)
{
    return std::tie(left.changed.tv_sec, left.changed.tv_nsec, left.path) <
           std::tie(right.changed.tv_sec, right.changed.tv_nsec, right.path);
}

}  // namespace

Place makePlace(const std::string& path)
{
    if (isFolder(path)) return {path, "", "", "", ""};
    const std::size_t slash = path.rfind('/');
    const bool hasFolder = slash != std::string::npos;
    const std::string name = hasFolder ? path.substr(slash + 1) : path;
    const std::string folder = !hasFolder ? "." : slash == 0 ? "/" : path.substr(0, slash);
    const std::size_t point = name.rfind('.');
    if (point == std::string::npos || point == 0) return {folder, name, "", path, name};
    return {folder, name.substr(0, point), name.substr(point), path, name};
}

bool listFiles(const Place& place, std::vector<FoundFile>& files)
{
    const auto close = [](DIR* stream) { ::closedir(stream); };
    const std::unique_ptr<DIR, decltype(close)> stream(::opendir(place.folder.c_str()), close);
    if (!stream) return false;
    errno = 0;
    while (const dirent* const entry = ::readdir(stream.get())) {
        struct stat status = {};
        const bool isThere = hasForm(entry->d_name, place) &&
                             ::fstatat(::dirfd(stream.get()), entry->d_name, &status, 0) == 0;
        if (isThere && S_ISREG(status.st_mode))
            files.push_back({place.folder + '/' + entry->d_name,
                             FileIdentity(::dirfd(stream.get()), entry->d_name, status),
                             status.st_mtim, status.st_size == 0});
        errno = 0;
    }
    std::sort(files.begin(), files.end(), isOlder);
    return errno == 0;
}

bool isLog(const std::string& path)
{
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file < 0) return true;
    char bytes[4096];
    const ssize_t count = ::read(file, bytes, sizeof bytes);
    ::close(file);
    if (count < 0) return true;
    const std::string_view begin(bytes, static_cast<std::size_t>(count));
    qz::ext::LogLine line;
    return begin.substr(0, 3) == "\xEF\xBB\xBF" ||
           qz::ext::parseLogLine(begin.substr(0, begin.find('\n')), line);
}

std::vector<std::string> findInputs(const std::vector<std::string>& arguments, Problems& problems)
{
    std::vector<std::string> paths;
    for (const std::string& argument : arguments) {
        std::vector<FoundFile> files;
        if (argument != "-" && (isFolder(argument) || isMissing(argument))) {
            const Place place = makePlace(argument);
            if (!listFiles(place, files))
                problems.report(argument, errno);
            else if (files.empty() && isMissing(argument))
                problems.report(argument, ENOENT);
        } else {
            paths.push_back(argument);
        }
        for (const FoundFile& file : files)
            if (isLog(file.path)) paths.push_back(file.path);
    }
    return paths;
}

}  // namespace qzlog
