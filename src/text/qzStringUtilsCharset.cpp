// SPDX-License-Identifier: MIT
#include <memory>

#include <qz/qzStringUtils.h>

#include "TextServices.h"
#include "ThreadContent.h"

namespace qz {

namespace {

// Log lines and paths fit in, so that they need no allocation.
constexpr std::size_t kStackSize = 1024;

// Runs the converter once with a buffer of `outputSize` bytes. The last byte of the output is
// removed: it is the terminator, if the input has one.
std::string convertOnce(const text::Converter& converter, const void* input, std::size_t inputSize,
                        std::size_t outputSize)
{
    char onStack[kStackSize];
    std::unique_ptr<char[]> onHeap;
    if (outputSize > kStackSize) onHeap.reset(new char[outputSize]);
    char* const output = onHeap != nullptr ? onHeap.get() : onStack;
    std::size_t written = 0;
    if (!converter.convert(static_cast<const char*>(input), inputSize, output, outputSize,
                           written) ||
        written == 0) {
        return {};
    }
    return {output, written - 1};
}

}  // namespace

std::string qzStringUtils::convertCharset(const std::string& text, qzCharSet from, qzCharSet to)
{
    const text::ThreadContent* const content = text::getThreadContent();
    if (content == nullptr) return {};
    const text::ByteConverter* const between = content->getBetween(from, to);
    if (between == nullptr) return {};
    if (between->keeps(text)) return text;
    std::string latin1;
    if (between->tryLatin1(text, latin1)) return latin1;
    const std::size_t inputSize = text.size() + 1;
    return convertOnce(between->converter, text.c_str(), inputSize, inputSize * 2);
}

std::string qzStringUtils::convertTo8Bits(const std::wstring& text, qzCharSet to)
{
    const text::ThreadContent* const content = text::getThreadContent();
    const text::Converter* const fromWide = content != nullptr ? content->getFromWide(to) : nullptr;
    if (fromWide == nullptr) return {};
    // Compatibility: the input is counted in characters where the converter expects bytes.
    const std::size_t inputSize = text.size() + 1;
    return convertOnce(*fromWide, text.c_str(), inputSize, inputSize * 4);
}

std::wstring qzStringUtils::convertToUnicode(const std::string& /*text*/, qzCharSet /*from*/)
{
    // Compatibility: the buffer had as many bytes as the input, but each character takes four. So
    // the conversion failed for every text, even for the terminator of the empty one.
    return {};
}

std::string qzStringUtils::UnknownEncodingToUtf8(const std::string& text, char replacement)
{
    if (IsUtf8String(text)) return text;
    // Compatibility: a failed conversion gives an empty text, which is the result then.
    std::string converted = convertCharset(text, CharSetLocal, CharSetUtf8);
    if (IsUtf8String(converted)) return converted;
    std::string ascii = text;
    for (char& byte : ascii) {
        if (static_cast<unsigned char>(byte) >= 0x80) byte = replacement;
    }
    return ascii;
}

}  // namespace qz
