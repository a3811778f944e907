// SPDX-License-Identifier: MIT
#include <qz/qzSystemVersion.h>

#include "BuildIdentity.h"

namespace qz::qzSystem {

int Version::GetMajor()
{
    return QZ_BUILD_MAJOR;
}

int Version::GetMinor()
{
    return QZ_BUILD_MINOR;
}

int Version::GetRelease()
{
    return QZ_BUILD_RELEASE;
}

int Version::GetRevision()
{
    return QZ_BUILD_REVISION;
}

const char* Version::GetCommitId()
{
    return QZ_BUILD_COMMIT_ID;
}

int Version::GetYear()
{
    return QZ_BUILD_YEAR;
}

int Version::GetMonth()
{
    return QZ_BUILD_MONTH;
}

const char* Version::GetDescStringMajorMinor(bool /*ignored*/)
{
    return QZ_BUILD_TEXT_MAJOR_MINOR;
}

const char* Version::GetDescStringMajorMinorRelease(bool /*ignored*/)
{
    return QZ_BUILD_TEXT_RELEASE;
}

const char* Version::GetDescStringMajorMinorReleaseRevision(bool /*ignored*/, bool withCommitId)
{
    return withCommitId ? QZ_BUILD_TEXT_COMMIT : QZ_BUILD_TEXT_REVISION;
}

const char* Version::GetDescStringMajorMinorReleaseRevisionDate()
{
    return QZ_BUILD_TEXT_COMMIT " " QZ_BUILD_TEXT_DATE;
}

bool Version::IsBeta()
{
    return false;
}

bool Version::IsDebug()
{
    return false;
}

bool Version::IsDev()
{
    return false;
}

}  // namespace qz::qzSystem
