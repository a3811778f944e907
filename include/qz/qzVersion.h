// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzExport.h>

namespace qz {

/// A version number with a description. Comparisons ignore the description.
class QZ_API qzVersion {
public:
    /// Makes version 0.0.0 without a description.
    qzVersion();
    /// Makes a version.
    /// @param build,stage stored only: they can't be read, and comparisons ignore them.
    qzVersion(unsigned major, unsigned minor, unsigned revision, const std::string& description,
              unsigned build, unsigned stage);
    virtual ~qzVersion();
    /// Copies a version.
    qzVersion(const qzVersion& other) = default;
    /// Copies a version.
    qzVersion& operator=(const qzVersion& other) = default;

    /// Overwrites everything; the arguments are those of the constructor.
    void setVersion(unsigned major, unsigned minor, unsigned revision,
                    const std::string& description, unsigned build, unsigned stage);

    /// The major number, the first of the three.
    unsigned getMajorVersion() const { return mMajor; }
    /// The minor number, the second of the three.
    unsigned getMinorVersion() const { return mMinor; }
    /// The revision, the last of the three.
    unsigned getRevision() const { return mRevision; }
    /// The description that the version was made with.
    const std::string& getDescription() const { return mDescription; }

    /// Compares major, then minor, then revision.
    bool operator==(const qzVersion& other) const;
    /// Compares major, then minor, then revision.
    bool operator!=(const qzVersion& other) const { return !(*this == other); }
    /// Compares major, then minor, then revision.
    bool operator<(const qzVersion& other) const;
    /// Compares major, then minor, then revision.
    bool operator<=(const qzVersion& other) const { return !(other < *this); }
    /// Compares major, then minor, then revision.
    bool operator>(const qzVersion& other) const { return other < *this; }
    /// Compares major, then minor, then revision.
    bool operator>=(const qzVersion& other) const { return !(*this < other); }

private:
    friend class qzVersionTestPeer;

    unsigned mMajor = 0;
    unsigned mMinor = 0;
    unsigned mRevision = 0;
    unsigned mBuild = 0;
    unsigned mStage = 0;
    std::string mDescription;
};

}  // namespace qz
