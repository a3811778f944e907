// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

namespace qz::support {

/// The whole content of a file. Throws when it can't be read.
std::string readFile(const std::string& path);

/// Makes or replaces a file. Throws when it can't be written.
void writeFile(const std::string& path, const std::string& content);

/// How many descriptors the process has open.
std::size_t countOpenDescriptors();
/// How many of them a program inherits that this process executes.
std::size_t countInheritedDescriptors();

/// Bytes as two digits each with a blank between, for example "0a ff".
std::string toHex(const std::string& bytes);

}  // namespace qz::support
