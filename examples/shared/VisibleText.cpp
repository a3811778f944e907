#include "VisibleText.h"

#include <algorithm>

#include <qz/qzStringUtils.h>

namespace shared {

std::string makeVisible(std::string text)
{
    const bool isUtf8 = qz::qzStringUtils::IsUtf8String(text);
    const auto isHidden = [isUtf8](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 || byte == 0x7F || (byte >= 0x80 && !isUtf8);
    };
    std::replace_if(text.begin(), text.end(), isHidden, '?');
    return text;
}

}  // namespace shared
