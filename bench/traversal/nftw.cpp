// SPDX-License-Identifier: MIT
// The other tree walk of the C library, which calls `stat` for each entry. Its function has no
// argument of the caller's, so its results are in static objects.

#include <ftw.h>
#include <sys/stat.h>

#include <string_view>

#include "tree.h"

namespace bench {

namespace {

constexpr int kDescriptors = 64;

Tally sTally;
Paths sPaths;

void visitAll(const std::string& root, __nftw_func_t visit)
{
    ::nftw(root.c_str(), visit, kDescriptors, FTW_PHYS);
}

int count(const char* /*path*/, const struct stat* /*status*/, int type, FTW* place)
{
    if (place->level != 0) ++(type == FTW_D ? sTally.folders : sTally.files);
    return 0;
}

int collectPath(const char* path, const struct stat* /*status*/, int type, FTW* place)
{
    if (place->level != 0) (type == FTW_D ? sPaths.folders : sPaths.files).emplace_back(path);
    return 0;
}

int collectOfExtension(const char* path, const struct stat* /*status*/, int type, FTW* place)
{
    const std::string_view name(path + place->base);
    if (type == FTW_F && name.ends_with(kExtension)) sPaths.files.emplace_back(path);
    return 0;
}

struct Nftw {
    static Tally walk(const std::string& root)
    {
        sTally = Tally();
        visitAll(root, count);
        return sTally;
    }
    static Paths collect(const std::string& root)
    {
        sPaths = Paths();
        visitAll(root, collectPath);
        return std::move(sPaths);
    }
    static std::vector<std::string> collectExtension(const std::string& root)
    {
        sPaths = Paths();
        visitAll(root, collectOfExtension);
        return std::move(sPaths.files);
    }
};

const TreeRows<Nftw> kRows("nftw");

}  // namespace

}  // namespace bench
