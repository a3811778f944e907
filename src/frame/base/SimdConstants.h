// SPDX-License-Identifier: MIT
#pragma once

namespace qz {

/// Writes the lane masks. Called by each light start, with the same values.
void setLaneMasks();

}  // namespace qz
