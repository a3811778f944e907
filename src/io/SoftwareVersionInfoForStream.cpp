// SPDX-License-Identifier: MIT
#include <qz/SoftwareVersionInfoForStream.h>

#include <string_view>

#include <qz/qzLogObject.h>

#include "frame/base/LoadOrder.h"

namespace qz {

const unsigned char qzMajorOutputStreamVersion = 8;
const unsigned char qzMinorOutputStreamVersion = 4;

template SoftwareVersionInfoForStream SoftwareVersionInfoForStream::Create<qzSystem::Version>(
    const std::string& name);

namespace {

[[gnu::init_priority(QZ_LOAD_VERSION_RECORD)]] SoftwareVersionInfoForStream gProcessRecord =
    SoftwareVersionInfoForStream::Create<qzSystem::Version>("");

// The pieces of a stream's text that matter.
struct StreamOrigin {
    explicit StreamOrigin(std::string_view text)
    {
        while (!text.empty()) {
            const std::string_view piece = text.substr(0, text.find('/'));
            isDebug |= piece == "debug";
            isBeta |= piece == "beta";
            isDev |= piece == "dev";
            text.remove_prefix(piece.size());
            if (!text.empty()) text.remove_prefix(1);
        }
    }

    bool isDebug = false;
    bool isBeta = false;
    bool isDev = false;
};

void warn(const char* kind, bool isDebug)
{
    logWarning() << "This stream was generated from a " << kind << (isDebug ? "/Debug" : "")
                 << " version";
}

}  // namespace

// A member for its callers, who have a record at hand, but the text is always the process's.
// NOLINTNEXTLINE(readability-convert-member-functions-to-static)
std::string SoftwareVersionInfoForStream::toString() const
{
    std::string text = gProcessRecord.description;
    if (gProcessRecord.dev) text += "/dev";
    if (gProcessRecord.beta) text += "/beta";
    if (gProcessRecord.debug) text += "/debug";
    return text;
}

void SoftwareVersionInfoForStream::plotWarningIfDetectBetaOrDev(const std::string& text) const
{
    const StreamOrigin origin(text);
    if (origin.isBeta && !beta) warn("Beta", origin.isDebug);
    if (origin.isDev && !dev) warn("Dev", origin.isDebug);
}

void RegisterSoftwareVersionInfoForStream(const SoftwareVersionInfoForStream& info)
{
    gProcessRecord.debug |= info.debug;
    gProcessRecord.dev |= info.dev;
    gProcessRecord.beta |= info.beta;
    if (!info.description.empty()) gProcessRecord.description = info.description;
}

const SoftwareVersionInfoForStream& GetSoftwareVersionForStream()
{
    return gProcessRecord;
}

}  // namespace qz
