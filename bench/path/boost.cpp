// SPDX-License-Identifier: MIT
#include <boost/filesystem.hpp>

#include "standard.h"

namespace bench {

namespace {

const StandardRows<boost::filesystem::path> kRows("boost");

}  // namespace

}  // namespace bench
