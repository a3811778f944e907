// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzExport.h>
#include <qz/qzSystemVersion.h>

namespace qz {

/// The major number of the output stream version, for callers that write a stream's header.
extern QZ_API const unsigned char qzMajorOutputStreamVersion;
/// The minor number of the output stream version.
extern QZ_API const unsigned char qzMinorOutputStreamVersion;

/// The kind of build that writes a stream, so that a later reader can warn of a stream from a beta
/// or development version.
///
/// A process has one record of all its components. Each library and the application adds itself
/// with `RegisterSoftwareVersionInfoForStream`, and the text of `toString` goes into the stream.
/// A new record counts as the worst kind of build until its flags are set.
struct QZ_API SoftwareVersionInfoForStream {
    bool debug = true;                ///< Built for debugging.
    bool dev = true;                  ///< A development version.
    bool beta = true;                 ///< A beta version.
    std::string description = "n/a";  ///< Name, version and commit, without "/".

    /// Makes the record of a component from its version class, one like `qzSystem::Version`.
    /// @param name precedes the version in the description; an empty one leaves it "n/a".
    template <class V>
    static SoftwareVersionInfoForStream Create(const std::string& name)
    {
        SoftwareVersionInfoForStream info;
        info.debug = V::IsDebug();
        info.dev = V::IsDev();
        info.beta = V::IsBeta();
        if (!name.empty()) {
            info.description = name + " " + V::GetDescStringMajorMinorReleaseRevision(false, true);
        }
        return info;
    }

    /// The text of the process's record, whichever object it is called on: the description, and
    /// "dev", "beta" and "debug" as they apply, with "/" between.
    std::string toString() const;

    /// Logs a warning for each of the pieces "beta" and "dev" in `text` whose flag this record does
    /// not have.
    /// @param text what `toString` gave when the stream was written. A "/" in the description makes
    ///     pieces too: "app/beta" is reported.
    void plotWarningIfDetectBetaOrDev(const std::string& text) const;
};

/// The library holds the one for its own version class.
extern template QZ_API SoftwareVersionInfoForStream
SoftwareVersionInfoForStream::Create<qzSystem::Version>(const std::string& name);

/// Adds a component to the process's record: a flag that is set in one component is set for all,
/// for good, and the latest description counts, unless it is empty.
///
/// Threads: at the start of the program, before other threads read the record.
QZ_API void RegisterSoftwareVersionInfoForStream(const SoftwareVersionInfoForStream& info);

/// The process's record. At first it holds the flags of this library, and the description "n/a".
QZ_API const SoftwareVersionInfoForStream& GetSoftwareVersionForStream();

}  // namespace qz
