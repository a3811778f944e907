// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <qz/qzXRefResolverSearchPath.h>

#include "filesystem/XRefIndex.h"

namespace qz {

/// Fills a search path without a disk, and shows its index.
class qzXRefResolverSearchPathTestPeer {
public:
    using Dump = std::map<std::string, std::vector<std::pair<std::string, std::string>>>;

    /// Makes an index of files that are named by their paths relative to the root, in this order.
    static qzXRefResolverSearchPath make(const std::string& root,
                                         const std::vector<std::string>& files)
    {
        qzXRefResolverSearchPath made;
        made.setPath(root);
        for (const std::string& file : files)
            add(made, file);
        made.mInitialized = true;
        return made;
    }

    /// Each key with its entries, as file name and reversed folder.
    static Dump dump(const qzXRefResolverSearchPath& path)
    {
        Dump dump;
        const filesystem::XRefIndex& index = path.getIndex();
        for (filesystem::XRefIndex::Id id = 0; id != index.getKeyCount(); ++id) {
            const std::string key(index.getKey(id));
            const std::string name = qzXRefResolverSearchPath::ComputeFileIndex(key);
            for (auto* file = index.getFirst(id); file != nullptr; file = index.getNext(*file))
                dump[key].emplace_back(name, index.getReversedFolder(file->folder));
        }
        return dump;
    }

    static const std::string& getRootWithSlash(const qzXRefResolverSearchPath& path)
    {
        return path.mRootWithSlash;
    }

    /// The offsets of the fields, in their order.
    static std::vector<std::ptrdiff_t> getOffsets()
    {
        const qzXRefResolverSearchPath path;
        const auto getOffset = [&path](const auto& field) {
            return reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&path);
        };
        return {getOffset(path.mIndex), getOffset(path.mRootWithSlash),
                getOffset(path.mCleanedRootPath), getOffset(path.mOriginalRootPath),
                getOffset(path.mInitialized)};
    }

private:
    static void add(qzXRefResolverSearchPath& path, const std::string& file)
    {
        std::string folder;
        std::string name;
        qzXRefResolverSearchPath::SplitFullFilePath(file, folder, name);
        std::reverse(folder.begin(), folder.end());
        path.editIndex().add(qzXRefResolverSearchPath::ComputeFileIndex(name), folder);
    }
};

}  // namespace qz
