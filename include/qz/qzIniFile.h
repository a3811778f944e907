// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzExport.h>
#include <qz/qzVariant.h>

namespace qz {

/// Reads sections and "key=value" lines into a tree.
///
/// @code
/// qzVariant::qzVariantMapImpl settings;
/// if (LoadIniFile("app.ini", settings)) settings["window"] = 1;
/// SaveIniFile("app.ini", settings, /*merge=*/false);
/// @endcode
/// A section is a map below the top level; the keys of "[General]" are at the top level. Keys and
/// section names are paths with "/" between their parts; a path ends at a zero byte. Values are
/// typed: "true" and "false" in any case, integers in C notation, reals, else strings. Quotes
/// around a value are removed and don't make it a string. Escaped quotes, tabs, carriage returns,
/// line feeds and backslashes are decoded in this order, over the whole value each: two backslashes
/// and an "n" are read as a backslash and a line feed. A line that begins with ";" is a comment.
/// A line that can't be used is reported to the log as a warning, with its number from 0, and is
/// skipped: one without a "=", one without a key, and one whose key exists already, in the file or
/// in `map`: the first value stays.
/// @param path the file, in UTF-8. Without a start of the library no path can be opened.
/// @param map receives the content, and keeps what it has; a value on the path of a new key is
///     replaced by a map.
/// @return whether the file could be opened; a failure isn't logged. A folder reads as an empty
///     file, and a read error ends the content.
QZ_API bool LoadIniFile(const std::string& path, qzVariant::qzVariantMapImpl& map);

/// Writes a tree as sections and "key=value" lines. The content of the file is replaced.
///
/// Numbers are written in the classic locale. The format doesn't preserve everything: reals have 6
/// significant digits; a string with a backslash before a quote, "t", "r" or "n" can be read with
/// another character in its place (see `LoadIniFile`); and a string that looks like a number, or
/// begins or ends with a blank, is read as something else; so are keys with a line break, a "=" or
/// a zero byte. The file is emptied first: if a value isn't an `INTEGER`, `REAL`, `BOOL` or
/// `STRING` (a list, for example), the writing ends there with a warning in the log, and what was
/// written before it stays in the file.
/// @param path the file, in UTF-8. Without a start of the library no path can be opened.
/// @param merge writes the content of the file together with `map`, whose values win. A list in a
///     section of the file, or of `map`, then gets a key that ends in "/".
/// @return whether the file was opened and all was written; false on a full disk. An error that
///     only closing the file reports is ignored.
QZ_API bool SaveIniFile(const std::string& path, const qzVariant::qzVariantMapImpl& map,
                        bool merge);

}  // namespace qz
