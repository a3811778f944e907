// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>

#include <qz/MimeTypeInfo.h>

namespace qz {

/// The types by extension; empty until the first light start, and kept by each stop.
extern std::map<std::string, MimeTypeInfo> gMimeTable;
/// What an extension without a row has.
extern const MimeTypeInfo gDefaultMimeType;

/// Fills the table; rows that are there already keep their place, so references to them last.
void fillMimeTable();

}  // namespace qz
