// SPDX-License-Identifier: MIT
#include "qzLogParameters.h"

#include <tuple>

#include "LogFile.h"

namespace qz {

bool haveSameSettings(const qzLogParameters& left, const qzLogParameters& right)
{
    const auto settings = [](const qzLogParameters& of) {
        return std::tie(of.customHandler, of.customHandlerData, of.echoToConsole,
                        of.subTypeBlacklist, of.consoleFallback);
    };
    return settings(left) == settings(right) && log::isSameFile(left, right);
}

}  // namespace qz
