// SPDX-License-Identifier: MIT
#include <boost/filesystem.hpp>

#include "standard.h"

namespace bench {

namespace {

namespace fs = boost::filesystem;

void removeFolder(const std::string& path)
{
    fs::remove_all(path);
}

const char* const kName = "boost";
const TreeRows<StandardWalk<fs::recursive_directory_iterator>> kRows(kName);
const ClearRow<removeFolder> kClear(kName);

}  // namespace

}  // namespace bench
