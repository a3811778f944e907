#pragma once

#include <string>

#include <qz/qzExport.h>

namespace qz {

/// The MIME type of a kind of files, and whether they are worth compressing.
class QZ_API MimeTypeInfo {
public:
    /// Whether compression pays.
    enum Compressible : int {
        CompressibleYes = 0,      ///< It does.
        CompressibleNo = 1,       ///< The content is compressed already, or doesn't pack.
        CompressibleUnknown = 2,  ///< Nothing is known of the kind.
    };

    /// The record of an unknown kind: no type, `CompressibleUnknown`.
    MimeTypeInfo();
    /// A record of the given kind.
    MimeTypeInfo(std::string&& type, Compressible compressible);

    /// Looks a file up by its extension ("photo.JPG"), its last two ("bundle.js.map"), or a bare
    /// extension ("PNG").
    ///
    /// The table is filled by the library's start; before it everything is unknown. Threads: any.
    /// @return a record that stays valid as long as the library is loaded; the unknown kind for an
    ///     extension that the table doesn't have, "bz2" among them.
    static const MimeTypeInfo& GetMimeTypeInfoFromFileNameOrExt(const std::string& nameOrExtension);

    std::string type;                                 ///< For example "image/jpeg".
    Compressible compressible = CompressibleUnknown;  ///< Whether compression pays.
};

}  // namespace qz
