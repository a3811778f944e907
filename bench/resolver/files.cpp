// SPDX-License-Identifier: MIT
#include "files.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <utility>

#include <unistd.h>

#include <qz/qzXRefResolverSearchPath.h>

namespace bench {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kFilesOfFolder = 100;
constexpr std::size_t kFoldersOfFolder = 20;
constexpr const char* kExtensions[] = {".prt", ".asm", ".step", ".prt.3", ".asm.12", ".txt"};

std::string makeRoot()
{
    static int sCount = 0;
    return "/dev/shm/qz-bench-" + std::to_string(::getpid()) + "-files" + std::to_string(sCount++);
}

// As it was on another machine: its root is gone and its separators are others.
std::string makeStale(const std::string& folder, const std::string& name)
{
    std::string path = "C:\\Projects\\archive\\" + folder + '\\' + name;
    std::replace(path.begin(), path.end(), '/', '\\');
    return path;
}

}  // namespace

FileTree::FileTree() : mRoot(makeRoot()), mFolder(mRoot + "/data")
{
    fs::create_directories(mFolder);
}

FileTree::~FileTree()
{
    std::error_code ignored;
    if (!mRoot.empty()) fs::remove_all(mRoot, ignored);
}

FileTree FileTree::makeUnique(std::size_t count)
{
    FileTree tree;
    for (std::size_t i = 0; i != count; ++i) {
        const std::size_t unit = i / kFilesOfFolder;
        const std::string folder = "module-" + std::to_string(unit / kFoldersOfFolder) + "/unit-" +
                                   std::to_string(unit % kFoldersOfFolder);
        tree.add(folder,
                 "part-" + std::to_string(i * 7919) + kExtensions[i % std::size(kExtensions)]);
    }
    tree.shuffleStalePaths();
    return tree;
}

FileTree FileTree::makeNamesakes(std::size_t count)
{
    FileTree tree;
    for (std::size_t i = 0; i != count; ++i)
        tree.add("module-" + std::to_string(i) + "/unit", "part.prt");
    // No folder agrees with this one in whole, which would end the search.
    tree.mStalePaths = {{makeStale("other/unit", "part.prt"), tree.mStalePaths.front().file}};
    return tree;
}

void FileTree::add(const std::string& folder, const std::string& name)
{
    const std::string path = mFolder + '/' + folder;
    fs::create_directories(path);
    if (!std::ofstream(path + '/' + name)) throw std::runtime_error("Can't make " + path);
    mFiles.push_back({qz::qzXRefResolverSearchPath::ComputeFileIndex(name), name,
                      std::string(folder.rbegin(), folder.rend())});
    mStalePaths.push_back({makeStale(folder, name), path + '/' + name});
}

void FileTree::shuffleStalePaths()
{
    std::shuffle(mStalePaths.begin(), mStalePaths.end(), std::mt19937(1));
}

const FileTree& getSmallTree()
{
    static const FileTree tree = FileTree::makeUnique(sized(50'000, 300));
    return tree;
}

const FileTree& getLargeTree()
{
    static const FileTree tree = FileTree::makeUnique(sized(200'000, 1'000));
    return tree;
}

}  // namespace bench
