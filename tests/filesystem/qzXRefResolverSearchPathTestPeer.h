#pragma once

#include <algorithm>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <qz/qzXRefResolverSearchPath.h>

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
        for (const auto& [key, entries] : path.mIndex.getNames())
            for (const auto& entry : entries)
                dump[key].emplace_back(entry.fileName, entry.reversedFolder);
        return dump;
    }

    static const std::string& getRootWithSlash(const qzXRefResolverSearchPath& path)
    {
        return path.mRootWithSlash;
    }

    static bool hasFieldsInOrder()
    {
        const qzXRefResolverSearchPath path;
        const void* const places[] = {&path,
                                      &path.mIndex,
                                      &path.mRootWithSlash,
                                      &path.mCleanedRootPath,
                                      &path.mOriginalRootPath,
                                      &path.mInitialized};
        return places[0] == places[1] && std::is_sorted(std::begin(places), std::end(places));
    }

private:
    static void add(qzXRefResolverSearchPath& path, const std::string& file)
    {
        std::string folder;
        std::string name;
        qzXRefResolverSearchPath::SplitFullFilePath(file, folder, name);
        std::reverse(folder.begin(), folder.end());
        path.mIndex.edit(qzXRefResolverSearchPath::ComputeFileIndex(name))
            .emplace_back(name, folder);
    }
};

}  // namespace qz
