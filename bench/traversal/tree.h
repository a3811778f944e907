// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The folders of these rows, and the rows of a contender that walks them.

#include <cstddef>
#include <string>
#include <vector>

#include "../support.h"

namespace bench {

/// How many entries of each kind a walk met, the root left out.
struct Tally {
    std::size_t files = 0;
    std::size_t folders = 0;
};

/// The full paths of what a walk met.
struct Paths {
    std::vector<std::string> files;
    std::vector<std::string> folders;
};

/// A tree of empty files in memory (tmpfs): each folder holds 25 files, and up to twelve folders
/// stand in one. The destructor removes it.
class Tree {
public:
    /// Makes a tree of about that many files and folders.
    explicit Tree(std::size_t entryCount);
    ~Tree();
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    const std::string& getRoot() const { return mRoot; }
    /// What there is to find, in no order.
    const Paths& getPaths() const { return mPaths; }

private:
    void addFolder(const std::string& path);

    std::string mRoot;
    Paths mPaths;
};

/// That of the rows with a goal: 52,000 entries.
const Tree& getTree();

/// The extension that the row of one extension asks for. A tenth of the files carry it.
inline constexpr const char* kExtension = ".txt";

/// Tells whether a contender found what is there; it says so when not.
bool isWhole(Tally found, const Tree& tree);
bool isWhole(Paths found, const Tree& tree);
bool isWhole(std::vector<std::string> foundOfExtension, const Tree& tree);

inline constexpr const char* kWalkRow = "walk 52,000 entries";
inline constexpr const char* kCollectRow = "collect full paths";
inline constexpr const char* kExtensionRow = "collect, one extension";

/// A row of one contender: `Work(root)` gives what it found.
template <auto Work>
class TreeRow {
public:
    TreeRow(const char* row, const char* name) : mCheck(row, isRight), mCase(row, name, measure) {}

private:
    static bool isRight() { return isWhole(Work(getTree().getRoot()), getTree()); }
    static void measure(benchmark::State& state)
    {
        const Tree& tree = getTree();
        for (auto _ : state) {
            auto found = Work(tree.getRoot());
            keep(found);
        }
        const Paths& all = tree.getPaths();
        const std::size_t entries = all.files.size() + all.folders.size();
        state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(entries));
    }

    Check mCheck;
    Case mCase;
};

/// The rows of one contender. `Walker` has `Tally walk(root)`, `Paths collect(root)` and
/// `std::vector<std::string> collectExtension(root)` as static functions.
template <typename Walker>
class TreeRows {
public:
    explicit TreeRows(const char* name)
        : mWalk(kWalkRow, name), mCollect(kCollectRow, name), mExtension(kExtensionRow, name)
    {
    }

private:
    TreeRow<Walker::walk> mWalk;
    TreeRow<Walker::collect> mCollect;
    TreeRow<Walker::collectExtension> mExtension;
};

/// A folder of 20,000 empty files, which may be removed and made again. The destructor removes it.
class FullFolder {
public:
    explicit FullFolder(const std::string& name);
    ~FullFolder();
    FullFolder(const FullFolder&) = delete;
    FullFolder& operator=(const FullFolder&) = delete;

    const std::string& getPath() const { return mPath; }
    void fill() const;
    bool exists() const;

private:
    std::string mPath;
};

/// The row of a contender that removes a folder with all that is in it by `Remove(path)`.
template <void (*Remove)(const std::string&)>
class ClearRow {
public:
    explicit ClearRow(const char* name) : mCase("clear a folder of 20,000 files", name, measure) {}

private:
    static void measure(benchmark::State& state)
    {
        const FullFolder folder("full");
        for (auto _ : state) {
            state.PauseTiming();
            folder.fill();
            state.ResumeTiming();
            Remove(folder.getPath());
            if (folder.exists()) state.SkipWithError("the folder is still there");
        }
    }

    Case mCase;
};

}  // namespace bench
