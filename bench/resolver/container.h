// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzXRefResolverSearchPath.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "files.h"

namespace bench {

/// The same search around a container from the files' keys to their namesakes. The ways to cut
/// paths and to make keys are the library's.
template <template <typename...> typename Map>
class ContainerIndex {
public:
    explicit ContainerIndex(const FileTree& tree)
        : mFiles(&tree.getFiles()), mRootWithSlash(tree.getFolder() + '/')
    {
    }

    void build()
    {
        mIndex.clear();
        for (const IndexedFile& file : *mFiles)
            mIndex[file.key].emplace_back(file.name, file.reversedFolder);
    }

    std::string resolve(const std::string& xref) const
    {
        using qz::qzXRefResolverSearchPath;
        std::string folder;
        std::string name;
        qzXRefResolverSearchPath::SplitFullFilePath(qzXRefResolverSearchPath::CleanFilePath(xref),
                                                    folder, name);
        const auto found = mIndex.find(qzXRefResolverSearchPath::ComputeFileIndex(name));
        if (found == mIndex.end()) return "";
        std::reverse(folder.begin(), folder.end());
        const auto best = std::max_element(found->second.begin(), found->second.end(),
                                           [&folder](const Entry& left, const Entry& right) {
                                               return countAgreeing(left.second, folder) <
                                                      countAgreeing(right.second, folder);
                                           });
        return makePath(*best);
    }

private:
    using Entry = std::pair<std::string, std::string>;  // name and reversed folder

    static std::size_t countAgreeing(const std::string& entry, const std::string& folder)
    {
        const auto end = std::mismatch(entry.begin(), entry.end(), folder.begin(), folder.end());
        return static_cast<std::size_t>(end.first - entry.begin());
    }
    std::string makePath(const Entry& entry) const
    {
        std::string path;
        path.reserve(mRootWithSlash.size() + entry.second.size() + 1 + entry.first.size());
        path = mRootWithSlash;
        path.append(entry.second.rbegin(), entry.second.rend());
        if (!entry.second.empty()) path += '/';
        return path += entry.first;
    }

    const std::vector<IndexedFile>* mFiles;
    std::string mRootWithSlash;
    Map<std::string, std::vector<Entry>> mIndex;
};

}  // namespace bench
