// SPDX-License-Identifier: MIT
#include <filesystem>

#include "standard.h"

namespace bench {

namespace {

const StandardRows<std::filesystem::path> kRows("std");

}  // namespace

}  // namespace bench
