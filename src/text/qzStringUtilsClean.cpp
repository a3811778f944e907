#include <algorithm>

#include <qz/qzStringUtils.h>

namespace qz {

namespace {

bool isNonPrintable(char byte)
{
    return static_cast<unsigned char>(byte) < 0x20 && byte != '\t' && byte != '\n' && byte != '\r';
}

}  // namespace

bool qzStringUtils::ContainsAsciiNonPrintableChar(const char* data, std::size_t length)
{
    return std::any_of(data, data + length, isNonPrintable);
}

bool qzStringUtils::ContainsAsciiNonPrintableChar(const std::string& text)
{
    return ContainsAsciiNonPrintableChar(text.data(), text.size());
}

void qzStringUtils::RemoveAsciiNonPrintableChar(const char* data, std::size_t length,
                                                std::string& out)
{
    out.reserve(out.size() + length);
    const char* const end = data + length;
    while (data != end) {
        const char* const runEnd = std::find_if(data, end, isNonPrintable);
        out.append(data, runEnd);
        data = std::find_if_not(runEnd, end, isNonPrintable);
    }
}

}  // namespace qz
