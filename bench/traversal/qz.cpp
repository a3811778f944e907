// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>

#include "tree.h"

namespace bench {

namespace {

using qz::qzDirUtils;

class Counting : public qzDirUtils::FileSystemVisitor {
public:
    bool enterFolder(const std::string& /*folder*/) override { return true; }
    bool visitFile(const std::string& /*folder*/, const std::string& /*name*/) override
    {
        ++mTally.files;
        return true;
    }
    bool visitFolder(const std::string& /*folder*/, const std::string& /*name*/) override
    {
        ++mTally.folders;
        return true;
    }
    bool leaveFolder(const std::string& /*folder*/) override { return true; }

    const Tally& getTally() const { return mTally; }

private:
    Tally mTally;
};

struct Library {
    static Tally walk(const std::string& root)
    {
        startLibrary();
        Counting counting;
        counting.visit(root, /*recursive=*/true, nullptr, /*ignoreCase=*/false, nullptr);
        return counting.getTally();
    }
    static Paths collect(const std::string& root)
    {
        startLibrary();
        Paths paths;
        qzDirUtils::GlobFileAndFolderUtf8(root, &paths.folders, &paths.files, nullptr,
                                          qzDirUtils::GlobRecursive);
        return paths;
    }
    static std::vector<std::string> collectExtension(const std::string& root)
    {
        startLibrary();
        static const std::vector<std::string> extensions = {kExtension};
        std::vector<std::string> files;
        qzDirUtils::GlobFileAndFolderUtf8(root, nullptr, &files, &extensions,
                                          qzDirUtils::GlobRecursive);
        return files;
    }
};

void removeFolder(const std::string& path)
{
    startLibrary();
    qzDirUtils::ClearFolderUtf8(path, /*removeFolder=*/true, nullptr, nullptr);
}

const char* const kName = "qz";
const TreeRows<Library> kRows(kName);
const ClearRow<removeFolder> kClear(kName);

// How the time grows with the tree.
template <std::size_t Count>
void measureWalk(benchmark::State& state)
{
    static const Tree tree(sized(Count, Count / 100));
    for (auto _ : state) {
        Tally tally = Library::walk(tree.getRoot());
        keep(tally);
    }
}

const Case kSmall("walk 5,200 entries", kName, measureWalk<5'200>);
const Case kLarge("walk 208,000 entries", kName, measureWalk<208'000>);

}  // namespace

}  // namespace bench
