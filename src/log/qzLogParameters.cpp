#include "qzLogParameters.h"

#include <tuple>

namespace qz {

bool haveSameSettings(const qzLogParameters& left, const qzLogParameters& right)
{
    const auto settings = [](const qzLogParameters& of) {
        return std::tie(of.customHandler, of.customHandlerData, of.baseName, of.extension,
                        of.maxFileCount, of.maxFileSize, of.echoToConsole, of.subTypeBlacklist,
                        of.folder, of.timeRotation, of.fileFlags, of.requestedPath,
                        of.consoleFallback);
    };
    return settings(left) == settings(right);
}

}  // namespace qz
