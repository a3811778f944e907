// SPDX-License-Identifier: MIT
#include <filesystem>

#include "standard.h"

namespace bench {

namespace {

namespace fs = std::filesystem;

void removeFolder(const std::string& path)
{
    fs::remove_all(path);
}

const char* const kName = "std";
const TreeRows<StandardWalk<fs::recursive_directory_iterator>> kRows(kName);
const ClearRow<removeFolder> kClear(kName);

}  // namespace

}  // namespace bench
