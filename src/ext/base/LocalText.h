// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/ext/SystemFailure.h>
#include <qz/qzStringUtils.h>

namespace qz::ext {

/// Notes why a job failed, if the caller passed a place for it. @return false, for the caller.
inline bool fail(SystemFailure* failure, std::string step, int error)
{
    if (failure != nullptr) *failure = {std::move(step), error};
    return false;
}

/// The bytes of a path or name in UTF-8 as the system knows it; empty if it can't be converted
/// without loss, or holds a zero byte, which the system would take for its end.
inline std::string toLocal(const std::string& text)
{
    if (text.find('\0') != std::string::npos) return {};
    std::string localText = qzStringUtils::convertCharset(text, qzStringUtils::CharSetUtf8,
                                                          qzStringUtils::CharSetLocal);
    // The conversion takes a similar character for one that the set lacks, which would name
    // another file.
    if (localText != text && qzStringUtils::convertCharset(localText, qzStringUtils::CharSetLocal,
                                                           qzStringUtils::CharSetUtf8) != text)
        return {};
    return localText;
}

/// A path or name of the system in UTF-8, for messages; as it is if it can't be converted.
inline std::string toUtf8(const std::string& localText)
{
    std::string text = qzStringUtils::convertCharset(localText, qzStringUtils::CharSetLocal,
                                                     qzStringUtils::CharSetUtf8);
    return text.empty() ? localText : text;
}

}  // namespace qz::ext
