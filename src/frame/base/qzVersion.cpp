// SPDX-License-Identifier: MIT
#include <qz/qzVersion.h>

#include <tuple>

namespace qz {

qzVersion::qzVersion() = default;

qzVersion::qzVersion(unsigned major, unsigned minor, unsigned revision,
                     const std::string& description, unsigned build, unsigned stage)
    : mMajor(major),
      mMinor(minor),
      mRevision(revision),
      mBuild(build),
      mStage(stage),
      mDescription(description)
{
}

qzVersion::~qzVersion() = default;

void qzVersion::setVersion(unsigned major, unsigned minor, unsigned revision,
                           const std::string& description, unsigned build, unsigned stage)
{
    *this = qzVersion(major, minor, revision, description, build, stage);
}

bool qzVersion::operator==(const qzVersion& other) const
{
    return std::tie(mMajor, mMinor, mRevision) ==
           std::tie(other.mMajor, other.mMinor, other.mRevision);
}

bool qzVersion::operator<(const qzVersion& other) const
{
    return std::tie(mMajor, mMinor, mRevision) <
           std::tie(other.mMajor, other.mMinor, other.mRevision);
}

}  // namespace qz
