// SPDX-License-Identifier: MIT
#include "tree.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include <unistd.h>

namespace bench {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kFilesOfFolder = 25;
constexpr std::size_t kFoldersOfFolder = 12;
constexpr const char* kExtensions[] = {".cpp", ".h",    ".txt", ".json", ".png",
                                       ".md",  ".conf", ".log", ".o",    ""};

std::string makeRoot(const std::string& name)
{
    static int sCount = 0;
    return "/dev/shm/qz-bench-" + std::to_string(::getpid()) + '-' + name +
           std::to_string(sCount++);
}

void makeFile(const std::string& path)
{
    const std::ofstream file(path);
    if (!file) throw std::runtime_error("Can't make " + path);
}

bool isSame(std::vector<std::string>& found, std::vector<std::string> expected, const char* what)
{
    std::sort(found.begin(), found.end());
    std::sort(expected.begin(), expected.end());
    if (found == expected) return true;
    std::fprintf(stderr, "%zu of %zu %s, or others\n", found.size(), expected.size(), what);
    return false;
}

}  // namespace

Tree::Tree(std::size_t entryCount) : mRoot(makeRoot("tree"))
{
    addFolder(mRoot);
    const std::size_t folderCount = entryCount / (kFilesOfFolder + 1);
    for (std::size_t i = 0; i + 1 < folderCount; ++i) {
        const std::string& parent =
            i < kFoldersOfFolder ? mRoot : mPaths.folders[i / kFoldersOfFolder - 1];
        mPaths.folders.push_back(parent + "/module-" + std::to_string(i));
        addFolder(mPaths.folders.back());
    }
}

Tree::~Tree()
{
    std::error_code ignored;
    fs::remove_all(mRoot, ignored);
}

void Tree::addFolder(const std::string& path)
{
    fs::create_directory(path);
    for (std::size_t i = 0; i != kFilesOfFolder; ++i) {
        const std::size_t number = mPaths.files.size();
        const char* const extension = kExtensions[number % std::size(kExtensions)];
        mPaths.files.push_back(path + "/source-file-" + std::to_string(number) + extension);
        makeFile(mPaths.files.back());
    }
}

const Tree& getTree()
{
    static const Tree tree(sized(52'000, 520));
    return tree;
}

bool isWhole(Tally found, const Tree& tree)
{
    const Paths& all = tree.getPaths();
    if (found.files == all.files.size() && found.folders == all.folders.size()) return true;
    std::fprintf(stderr, "%zu files and %zu folders\n", found.files, found.folders);
    return false;
}

bool isWhole(Paths found, const Tree& tree)
{
    return isSame(found.files, tree.getPaths().files, "files") &&
           isSame(found.folders, tree.getPaths().folders, "folders");
}

bool isWhole(std::vector<std::string> foundOfExtension, const Tree& tree)
{
    std::vector<std::string> expected;
    for (const std::string& path : tree.getPaths().files)
        if (path.ends_with(kExtension)) expected.push_back(path);
    return isSame(foundOfExtension, std::move(expected), "files of one extension");
}

FullFolder::FullFolder(const std::string& name) : mPath(makeRoot(name)) {}

FullFolder::~FullFolder()
{
    std::error_code ignored;
    fs::remove_all(mPath, ignored);
}

void FullFolder::fill() const
{
    fs::create_directory(mPath);
    const std::size_t count = sized(20'000, 200);
    for (std::size_t i = 0; i != count; ++i)
        makeFile(mPath + "/source-file-" + std::to_string(i) + kExtension);
}

bool FullFolder::exists() const
{
    return ::access(mPath.c_str(), F_OK) == 0;
}

}  // namespace bench
