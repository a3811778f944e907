// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The operations on paths as texts in single steps, without a fast road.

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <string>
#include <vector>

namespace qz::plain {

inline std::string replaceAll(std::string text, const std::string& from, const std::string& to)
{
    for (std::size_t i = text.find(from); i != std::string::npos; i = text.find(from))
        text.replace(i, from.size(), to);
    return text;
}

inline bool endsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/// Removes each ".." and the component before it, from left to right.
inline std::string resolveParents(std::string text)
{
    std::size_t position = 1;
    for (;;) {
        std::size_t found = text.find("/../", position);
        const bool isEnd = found == std::string::npos;
        if (isEnd) {
            if (text.size() < 3 || !endsWith(text, "/..")) return text;
            found = text.size() - 3;
        }
        const std::size_t slash = found == 0 ? std::string::npos : text.rfind('/', found - 1);
        const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
        const std::string component = text.substr(start, found - start);
        if (component == "." || component == "..") {
            if (isEnd) return text;
            position = found + 1;
            continue;
        }
        if (isEnd) return slash == std::string::npos ? "" : text.substr(0, slash);
        text = text.substr(0, start) + text.substr(found + 4);
    }
}

inline std::string simplifyPath(const std::string& path)
{
    std::string rest = replaceAll(replaceAll(path, "\\", "/"), "//", "/");
    std::string root;
    if (!rest.empty() && rest.front() == '/') {
        root = "/";
        rest.erase(0, 1);
    }
    if (rest.size() > 1 && rest.back() == '/') rest.pop_back();
    rest = replaceAll(rest, "/./", "/");
    while (rest.size() >= 2 && endsWith(rest, "/."))
        rest.resize(rest.size() - 2);
    return root + resolveParents(rest);
}

inline std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts(1);
    for (const char byte : text) {
        if (byte == separator)
            parts.emplace_back();
        else
            parts.back() += byte;
    }
    return parts;
}

inline std::string joinParts(const std::vector<std::string>& parts, std::size_t begin,
                             std::size_t end)
{
    std::string joined;
    for (std::size_t i = begin; i < end; ++i)
        joined += (i == begin ? "" : "/") + parts[i];
    return joined;
}

struct SplitPath {
    std::string folder;
    std::string fileName;
};

inline SplitPath splitFolderFilename(const std::string& path)
{
    const std::size_t cut = replaceAll(path, "\\", "/").rfind('/');
    if (cut == std::string::npos) return {"", path};
    return {path.substr(0, cut), path.substr(cut + 1)};
}

/// Whether all of a part is an integer in the notation of C; the process's locale has to be C.
inline bool isNumber(const std::string& part)
{
    char* end = nullptr;
    std::strtoll(part.c_str(), &end, 0);
    return end == part.c_str() + part.size();
}

inline std::string extractFileExtension(const std::string& path, bool lowerCase, int partCount)
{
    std::string name = splitFolderFilename(path).fileName;
    if (lowerCase)
        for (char& byte : name)
            byte = static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
    if (name.empty()) return "";
    const std::vector<std::string> parts = split(name, '.');
    if (parts.size() > 65535) return "";
    long count = partCount;
    if (partCount < 2) {
        if (parts.size() == 1) return "";
        count = isNumber(parts.back()) ? 2 : 1;
    }
    const long available = static_cast<long>(parts.size()) - (name.front() == '.' ? 2 : 1);
    if (available < 1) return "";
    std::string extension;
    for (std::size_t i = parts.size() - static_cast<std::size_t>(std::min(count, available));
         i != parts.size(); ++i) {
        if (!extension.empty()) extension += '.';
        extension += parts[i];
    }
    return extension;
}

inline std::string extractFileBaseName(const std::string& path)
{
    const std::vector<std::string> parts = split(replaceAll(path, "\\", "/"), '/');
    const std::string& name = parts.back();
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos ? name : name.substr(0, dot);
}

inline std::string extractFolder(const std::string& path)
{
    const std::vector<std::string> parts = split(replaceAll(path, "\\", "/"), '/');
    return joinParts(parts, 0, parts.size() - 1);
}

inline std::string getParentPath(const std::string& path)
{
    const std::vector<std::string> parts = split(path, '/');
    return joinParts(parts, 0, parts.size() - 1);
}

inline std::string joinPath(const std::string& left, const std::string& right)
{
    if (left.empty()) return right;
    if (right.empty()) return left;
    const bool isParted = left.back() == '/' || left.back() == '\\';
    const bool isPartedAgain = right.front() == '/' || right.front() == '\\';
    if (isParted && isPartedAgain) return left + right.substr(1);
    return isParted || isPartedAgain ? left + right : left + "/" + right;
}

}  // namespace qz::plain
