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
    // The control characters from U+0080 to U+009F: some terminals take U+009B for "ESC [".
    for (std::size_t at = 0; (at = text.find('\xC2', at)) != std::string::npos; ++at) {
        if (static_cast<unsigned char>(text[at + 1]) < 0xA0) text.replace(at, 2, "?");
    }
    return text;
}

}  // namespace shared
