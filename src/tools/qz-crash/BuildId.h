// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// Reads the build id of a program or shared object, in hexadecimal digits. The file may hold
/// anything.
/// @return empty for a file without one, or that isn't a regular file.
std::string readBuildId(const std::string& path);
