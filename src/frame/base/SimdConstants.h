#pragma once

namespace qz {

/// Writes the lane masks; the first light start does. Later calls write the same again.
void setLaneMasks();

}  // namespace qz
