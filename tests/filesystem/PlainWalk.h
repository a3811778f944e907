// SPDX-License-Identifier: MIT
#pragma once

#include <dirent.h>

#include <cctype>
#include <memory>
#include <string>
#include <vector>

#include <qz/qzCancelInterface.h>
#include <qz/qzDirUtils.h>
#include <qz/qzStringUtils.h>

namespace qz::plain {

/// A walk with nothing but the steps that callers know: each entry is checked as a folder on the
/// disk, by its path.
class Walk {
public:
    Walk(qzDirUtils::FileSystemVisitor& visitor, bool recursive,
         const std::vector<std::string>& extensions = {}, bool ignoreCase = false,
         const qzCancelInterfaceReadOnly* cancel = nullptr)
        : mVisitor(visitor), mRecursive(recursive), mIgnoreCase(ignoreCase), mCancel(cancel)
    {
        for (std::string extension : extensions) {
            if (extension.empty()) continue;
            if (extension[0] != '.') extension.insert(0, ".");
            mExtensions.push_back(fold(extension));
        }
    }

    bool run(std::string folder) const
    {
        for (char& byte : folder)
            if (byte == '\\') byte = '/';
        const std::unique_ptr<DIR, int (*)(DIR*)> stream(
            ::opendir(qzStringUtils::convertCharset(folder, qzStringUtils::CharSetUtf8,
                                                    qzStringUtils::CharSetLocal)
                          .c_str()),
            &::closedir);
        if (stream == nullptr) return true;
        if (!mVisitor.enterFolder(folder)) return false;
        while (const dirent64* entry = ::readdir64(stream.get())) {
            if (mCancel != nullptr && mCancel->shouldCancel()) return false;
            const std::string localName = entry->d_name;
            if (localName == "." || localName == "..") continue;
            if (!walkEntry(folder, localName)) return false;
        }
        return mVisitor.leaveFolder(folder);
    }

private:
    bool walkEntry(const std::string& folder, const std::string& localName) const
    {
        const std::string name = qzStringUtils::convertCharset(
            localName, qzStringUtils::CharSetLocal, qzStringUtils::CharSetUtf8);
        if (name.empty()) return true;
        if (!qzDirUtils::DirExistsUtf8(folder + "/" + name))
            return !passes(name) || mVisitor.visitFile(folder, name);
        if (!mVisitor.visitFolder(folder, name)) return false;
        return !mRecursive || !isBelow(name) || run(qzDirUtils::JoinPath(folder, name));
    }
    // Whether a name that is a path leads below the folder by itself.
    static bool isBelow(std::string name)
    {
        for (char& byte : name)
            if (byte == '\\') byte = '/';
        const std::string simple = qzDirUtils::SimplifyPath("/" + name);
        return simple != "/" && simple != "/." && ("/" + name + "/").find("/../") == name.npos;
    }
    bool passes(const std::string& name) const
    {
        const std::string text = fold(name);
        bool isPassed = mExtensions.empty();
        for (const std::string& extension : mExtensions)
            if (text.size() >= extension.size() &&
                text.substr(text.size() - extension.size()) == extension)
                isPassed = true;
        return isPassed;
    }
    std::string fold(std::string text) const
    {
        for (char& byte : text)
            if (mIgnoreCase)
                byte = static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
        return text;
    }

    qzDirUtils::FileSystemVisitor& mVisitor;
    std::vector<std::string> mExtensions;
    bool mRecursive;
    bool mIgnoreCase;
    const qzCancelInterfaceReadOnly* mCancel;
};

}  // namespace qz::plain
