#pragma once

#include <qz/qzExport.h>

namespace qz::qzSystem {

/// Who this build of the library is. The texts live as long as the process.
///
/// Other libraries have a class with the same functions, so that code may be written for any of
/// them; see `SoftwareVersionInfoForStream`.
class QZ_API Version {
public:
    Version() = delete;

    /// The first number of the version.
    static int GetMajor();
    /// The second number of the version.
    static int GetMinor();
    /// The third number of the version.
    static int GetRelease();
    /// The fourth number of the version.
    static int GetRevision();
    /// The commit that this build was made from, as 16 hexadecimal digits.
    static const char* GetCommitId();
    /// The year of the release.
    static int GetYear();
    /// The month of the release, 1 to 12.
    static int GetMonth();

    /// The version in two numbers, "3.0". The argument has no effect.
    static const char* GetDescStringMajorMinor(bool ignored);
    /// The version in three numbers, "3.0.0". The argument has no effect.
    static const char* GetDescStringMajorMinorRelease(bool ignored);
    /// The version in four numbers, "3.0.0.1297"; with `withCommitId` there follow " #" and the
    /// commit. The first argument has no effect.
    static const char* GetDescStringMajorMinorReleaseRevision(bool ignored, bool withCommitId);
    /// The version with its commit, a blank and the date as "2026-2".
    static const char* GetDescStringMajorMinorReleaseRevisionDate();

    /// Tells whether this is a beta version: it is not.
    static bool IsBeta();
    /// Tells whether this is a version for debugging: it is not.
    static bool IsDebug();
    /// Tells whether this is a development version: it is not.
    static bool IsDev();
};

}  // namespace qz::qzSystem
