// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzExport.h>

namespace qz {

/// The MIME type of a kind of files, and whether they are worth compressing.
class QZ_API MimeTypeInfo {
public:
    /// Whether compression is worthwhile.
    enum Compressible : int {
        CompressibleYes = 0,      ///< It is.
        CompressibleNo = 1,       ///< The content is compressed already, or hardly compressible.
        CompressibleUnknown = 2,  ///< The kind of file is unknown.
    };

    /// The record of an unknown kind: no type, `CompressibleUnknown`.
    MimeTypeInfo();
    /// A record with these values.
    MimeTypeInfo(std::string&& type, Compressible compressible);

    /// Finds the record of a file by its extension ("photo.JPG"), its last two extensions
    /// ("bundle.js.map"), or a bare extension ("PNG").
    ///
    /// The library's start fills the table; before it every kind is unknown. Threads: any.
    /// @return a record that is valid as long as the library is loaded. The table doesn't contain
    ///     "bz2".
    static const MimeTypeInfo& GetMimeTypeInfoFromFileNameOrExt(const std::string& nameOrExtension);

    std::string type;                                 ///< For example "image/jpeg".
    Compressible compressible = CompressibleUnknown;  ///< Whether compression is worthwhile.
};

}  // namespace qz
