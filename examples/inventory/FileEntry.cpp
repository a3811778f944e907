// SPDX-License-Identifier: MIT
#include "FileEntry.h"

#include <cerrno>

#include <qz/MimeTypeInfo.h>
#include <qz/qzDirUtils.h>

#include "Content.h"

namespace inventory {

const std::vector<std::string> kColumnNames = {"path",     "size", "modified", "changed",
                                               "accessed", "type", "content"};

namespace {

// The whole path: of a bare name "png" the table would take the name itself for the extension.
std::string findType(const std::string& path)
{
    const std::string& type = qz::MimeTypeInfo::GetMimeTypeInfoFromFileNameOrExt(path).type;
    return type.empty() ? "unknown" : type;
}

// A link that leads nowhere is a thing to list; whatever else keeps from a look is a failure.
std::string describeMissing(const std::string& path, Problems& problems)
{
    if (errno == ENOENT || errno == ELOOP) return "missing";
    problems.tellWithReason("cannot look at '" + path + "'");
    return "unreadable";
}

std::string describeContent(Content content, const std::string& path, Problems& problems)
{
    if (content == Content::Utf8) return "UTF-8";
    if (content == Content::Other) return "other";
    problems.tellWithReason("cannot read '" + path + "'");
    return "unreadable";
}

}  // namespace

bool lookAtFile(const std::string& path, const qz::qzCancelInterface& cancel, Problems& problems,
                FileEntry& entry)
{
    entry = {};
    entry.path = path;
    entry.type = findType(path);
    qz::qzFileInfoUtf8 info;
    errno = 0;
    qz::qzDirUtils::GetFileInfoUtf8(path, info);
    if (!info.exists) {
        entry.content = describeMissing(path, problems);
        return true;
    }
    if (info.isDirectory) {
        // The visitor takes a backslash for a slash, and so finds no folder of this name.
        problems.tell("cannot walk '" + path + "': there is a backslash in its name");
        return false;
    }
    entry.size = info.size;
    entry.modified = info.lastModificationTime;
    entry.changed = info.lastStatusChangeTime;
    entry.accessed = info.lastAccessTime;
    entry.content = "special";
    if (!info.isFile) return true;  // to open a pipe would wait for its other end
    const Content content = readContent(path, cancel);
    if (content == Content::Unknown) return false;
    entry.content = describeContent(content, path, problems);
    return true;
}

std::vector<std::string> toCells(const FileEntry& entry)
{
    return {entry.path,
            std::to_string(entry.size),
            std::to_string(entry.modified),
            std::to_string(entry.changed),
            std::to_string(entry.accessed),
            entry.type,
            entry.content};
}

}  // namespace inventory
