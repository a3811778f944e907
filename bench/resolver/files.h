// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The files of these rows, stale paths to them, and the rows of a contender that finds files by
/// stale paths. All contenders get the same files and take the same steps around their containers.

#include <cstddef>
#include <string>
#include <vector>

#include "../support.h"

namespace bench {

/// A file as an index keeps it.
struct IndexedFile {
    std::string key;             ///< What it is found by.
    std::string name;            ///< In its folder.
    std::string reversedFolder;  ///< Relative to the root, with its bytes in reverse order.
};

/// A stale path, and what it means.
struct StalePath {
    std::string xref;
    std::string file;
};

/// Empty files in memory (tmpfs), all of them below one folder of a root, with stale paths to them
/// in an order of chance. The destructor removes them.
class FileTree {
public:
    /// Makes `count` files with a name each, 100 in a folder.
    static FileTree makeUnique(std::size_t count);
    /// Makes `count` files of one name, each in a folder of its own, and a stale path that
    /// agrees with all of them in part, and so means the first.
    static FileTree makeNamesakes(std::size_t count);

    ~FileTree();
    FileTree(FileTree&& other) noexcept = default;

    const std::string& getRoot() const { return mRoot; }
    /// The folder that holds them all.
    const std::string& getFolder() const { return mFolder; }
    /// What an index of the folder is made of.
    const std::vector<IndexedFile>& getFiles() const { return mFiles; }
    const std::vector<StalePath>& getStalePaths() const { return mStalePaths; }

private:
    FileTree();
    void add(const std::string& folder, const std::string& name);
    void shuffleStalePaths();

    std::string mRoot;
    std::string mFolder;
    std::vector<IndexedFile> mFiles;
    std::vector<StalePath> mStalePaths;
};

/// The trees of the rows: 50,000 and 200,000 files, or fewer with --tiny.
const FileTree& getSmallTree();
const FileTree& getLargeTree();

inline constexpr std::size_t kPathsOfIteration = 10'000;

/// The rows of one contender. `Index` is made of a `FileTree` outside of the timing, `build`
/// makes an index of its folder, and `resolve` gives the file that a stale path means.
template <typename Index>
class IndexRows {
public:
    explicit IndexRows(const char* name)
        : mCheck(name, findsAll),
          mBuild("index 50,000 names", name, measureBuild),
          mResolve("10,000 paths among 50,000 names", name, measureResolve<getSmallTree>),
          mResolveMore("10,000 paths among 200,000 names", name, measureResolve<getLargeTree>)
    {
    }

private:
    static bool findsAll()
    {
        Index index(getSmallTree());
        index.build();
        for (const StalePath& path : getSmallTree().getStalePaths())
            if (!isSameText(index.resolve(path.xref), path.file)) return false;
        return true;
    }
    static void measureBuild(benchmark::State& state)
    {
        Index index(getSmallTree());
        for (auto _ : state) {
            index.build();
            keep(index);
        }
    }
    template <const FileTree& (*GetTree)()>
    static void measureResolve(benchmark::State& state)
    {
        Index index(GetTree());
        index.build();
        const std::vector<StalePath>& paths = GetTree().getStalePaths();
        std::size_t next = 0;
        for (auto _ : state) {
            for (std::size_t i = 0; i != kPathsOfIteration; ++i) {
                const auto file = index.resolve(paths[next].xref);
                keep(file);
                next = next + 1 == paths.size() ? 0 : next + 1;
            }
        }
        state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kPathsOfIteration));
    }

    Check mCheck;
    Case mBuild;
    Case mResolve;
    Case mResolveMore;
};

}  // namespace bench
