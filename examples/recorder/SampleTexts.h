// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace recorder {

/// Finds texts that every machine has, at least 5 MB of them if there are that many: licences and
/// documents first, then other texts of the system's share folder, large ones first.
std::vector<std::string> findSampleTexts();

}  // namespace recorder
