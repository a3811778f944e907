// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzExport.h>

/// The version of the library that the program runs with.
namespace qz::qzSystem {

/// The version of this build of the library. The texts are valid as long as the process.
///
/// Other libraries have a class with the same functions, for code that works with any of them; see
/// `SoftwareVersionInfoForStream`.
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
    /// The version in four numbers, "3.0.0.1297"; with `withCommitId` followed by " #" and the
    /// commit. The first argument has no effect.
    static const char* GetDescStringMajorMinorReleaseRevision(bool ignored, bool withCommitId);
    /// The version with its commit, a blank and the date as "2026-2".
    static const char* GetDescStringMajorMinorReleaseRevisionDate();

    /// Whether this is a beta version: always false.
    static bool IsBeta();
    /// Whether this is a version for debugging: always false.
    static bool IsDebug();
    /// Whether this is a development version: always false.
    static bool IsDev();
};

}  // namespace qz::qzSystem
