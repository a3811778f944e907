#pragma once

#include <string>

#include <qz/qzExport.h>
#include <qz/qzVariant.h>

namespace qz {

/// Reads sections and "key=value" lines into a tree.
///
/// A section is a map below the top level, and the keys of "[General]" stand at the top level. Keys
/// and section names are paths with "/" between their parts. Values are typed: "true" and "false"
/// in any case, integers in C notation, reals, else strings. Quotes around a value are removed and
/// don't make it a string. A line that begins with ";" is a comment.
/// A line that can't be used is reported to the log as a warning, with its number from 0, and is
/// skipped: one without a "=", one without a key, and one whose key is there already, in the file
/// or in `map`: the first value stays.
/// @param path the file, in UTF-8.
/// @param map receives the content, and keeps what it holds; a value on the way to a new key gives
///     way to a map.
/// @return whether the file could be opened; a failure isn't logged. A folder reads as an empty
/// file.
QZ_API bool LoadIniFile(const std::string& path, qzVariant::qzVariantMapImpl& map);

/// Writes a tree as sections and "key=value" lines, in place of the file's content.
///
/// The format isn't a faithful round trip: reals are written with 6 significant digits, and a
/// string that looks like a number, or begins or ends with a blank, is read as something else. A
/// value that isn't an `INTEGER`, `REAL`, `BOOL` or `STRING` (a list too) ends the writing with a
/// warning in the log; what was written before it stays in the file.
/// @param path the file, in UTF-8.
/// @param merge writes the content of the file together with `map`, whose values win. A list in a
///     section of the file, or of `map`, then comes under a key that ends in "/".
/// @return whether the file was opened and all values could be written. A disk that is full isn't
///     noticed: the result is true, and the file short.
QZ_API bool SaveIniFile(const std::string& path, const qzVariant::qzVariantMapImpl& map,
                        bool merge);

}  // namespace qz
