// SPDX-License-Identifier: MIT
// Reads a text of chance. What is read is written in each way, and read again as the same.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <qz/ext/Json.h>

#include "support/FuzzInput.h"

namespace {

using qz::qzVariant;
using qz::ext::JsonReadOptions;
using qz::ext::JsonReadResult;
using qz::ext::JsonWriteOptions;
using qz::ext::readJson;
using qz::ext::writeJson;
using qz::fuzz::expectSame;

void checkWritten(const qzVariant& value, const JsonWriteOptions& options)
{
    std::string text;
    const auto error = writeJson(value, text, options);
    expectSame(!error, "written: " + error.toString());
    const JsonReadResult again = readJson(text);
    expectSame(again.isSuccess(), "read again: " + again.error.toString());
    expectSame(again.value == value, "value of " + text);
    std::string textAgain;
    expectSame(!writeJson(again.value, textAgain, options), "written again");
    expectSame(textAgain == text, "text of " + text);
}

void checkError(const JsonReadResult& result, std::size_t size)
{
    expectSame(result.value.isNull(), "no value");
    expectSame(result.error.place.offset <= size, "offset");
    expectSame(result.error.place.line >= 1 && result.error.place.column >= 1, "place");
    expectSame(result.error.place.line + result.error.place.column <= size + 2, "small place");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const JsonReadResult result = readJson(text);
    if (result.isSuccess()) {
        JsonWriteOptions options;
        checkWritten(result.value, options);
        options.indentation = 1;
        options.asciiOnly = true;
        checkWritten(result.value, options);
    } else {
        checkError(result, size);
    }
    JsonReadOptions options;
    options.duplicateKeys = JsonReadOptions::DuplicateKeys::LastWins;
    options.largeIntegers = JsonReadOptions::LargeIntegers::Nearest;
    options.allowsTrailingText = true;
    options.maxValues = 1000;
    options.maxDepth = 1000;
    const JsonReadResult lenient = readJson(text, options);
    if (!lenient.isSuccess()) checkError(lenient, size);
    return 0;
}
