// SPDX-License-Identifier: MIT
// The tree walk of the C library, at its quickest: each entry is known by its type alone, and no
// folder is made the current one.

#include <fts.h>

#include <memory>
#include <string_view>

#include "tree.h"

namespace bench {

namespace {

struct CloseWalk {
    void operator()(FTS* walk) const { ::fts_close(walk); }
};

template <typename Visit>
void visitAll(std::string root, const Visit& visit)
{
    char* const roots[] = {root.data(), nullptr};
    const std::unique_ptr<FTS, CloseWalk> walk(
        ::fts_open(roots, FTS_PHYSICAL | FTS_NOSTAT | FTS_NOCHDIR, nullptr));
    while (const FTSENT* const entry = ::fts_read(walk.get())) {
        if (entry->fts_info == FTS_DP || entry->fts_level == FTS_ROOTLEVEL) continue;
        visit(*entry, entry->fts_info == FTS_D);
    }
}

std::string getPath(const FTSENT& entry)
{
    return {entry.fts_path, entry.fts_pathlen};
}

struct Fts {
    static Tally walk(const std::string& root)
    {
        Tally tally;
        visitAll(root, [&tally](const FTSENT& /*entry*/, bool isFolder) {
            ++(isFolder ? tally.folders : tally.files);
        });
        return tally;
    }
    static Paths collect(const std::string& root)
    {
        Paths paths;
        visitAll(root, [&paths](const FTSENT& entry, bool isFolder) {
            (isFolder ? paths.folders : paths.files).push_back(getPath(entry));
        });
        return paths;
    }
    static std::vector<std::string> collectExtension(const std::string& root)
    {
        std::vector<std::string> files;
        visitAll(root, [&files](const FTSENT& entry, bool isFolder) {
            const std::string_view name(entry.fts_name, entry.fts_namelen);
            if (!isFolder && name.ends_with(kExtension)) files.push_back(getPath(entry));
        });
        return files;
    }
};

const TreeRows<Fts> kRows("fts");

}  // namespace

}  // namespace bench
