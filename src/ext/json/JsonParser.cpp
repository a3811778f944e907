// SPDX-License-Identifier: MIT
#include "JsonParser.h"

#include <utility>

#include "JsonNumber.h"
#include "JsonPath.h"
#include "JsonString.h"
#include "UsualRounding.h"

namespace qz::ext {

namespace {

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

const char* skipByteOrderMark(std::string_view text)
{
    const bool hasMark = text.substr(0, kByteOrderMark.size()) == kByteOrderMark;
    return text.data() + (hasMark ? kByteOrderMark.size() : 0);
}

bool skipWord(JsonText& text, std::string_view word)
{
    const std::string_view rest(text.at, static_cast<std::size_t>(text.end - text.at));
    if (rest.substr(0, word.size()) != word) return false;
    text.at += word.size();
    return true;
}

}  // namespace

JsonParser::JsonParser(std::string_view text, const JsonReadOptions& options,
                       JsonReadResult& result)
    : mWhole(text),
      mOptions(options),
      mResult(result),
      mText{skipByteOrderMark(text), text.data() + text.size()},
      mPlaces(text, mText.at),
      mPlace(&result.value)
{
}

void JsonParser::run()
{
    if (mWhole.size() > mOptions.maxTextBytes) {
        mResult.error.kind = JsonError::Kind::Limit;
        mResult.error.message =
            "The text has more than " + std::to_string(mOptions.maxTextBytes) + " bytes";
        return;
    }
    const UsualRounding rounding;
    mText.skipSpace();
    for (Step step = Step::Value; step != Step::Stop;)
        step = step == Step::Value ? beginValue() : continueContainer();
    if (mResult.error) return mResult.value.clear();
    mResult.endOffset = static_cast<std::size_t>(mText.at - mWhole.data());
}

JsonParser::Step JsonParser::beginValue()
{
    if (++mValueCount > mOptions.maxValues)
        return fail(JsonError::Kind::Limit, mText.at,
                    "There are more than " + std::to_string(mOptions.maxValues) + " values");
    switch (mText.peek()) {
        case '[':
            return openArray();
        case '{':
            return openObject();
        case '"':
            return readString();
        case '-':
        case '0':
        case '1':
        case '2':
        case '3':
        case '4':
        case '5':
        case '6':
        case '7':
        case '8':
        case '9':
            return readNumber();
        default:
            return readWord();
    }
}

// After a value: the next one, or the end of what it is in.
JsonParser::Step JsonParser::continueContainer()
{
    if (mContainers.empty()) {
        const char* const end = mText.at;
        mText.skipSpace();
        if (!mText.isAtEnd() && !mOptions.allowsTrailingText)
            return failSyntax("There is text after the value");
        mText.at = end;
        return Step::Stop;
    }
    const bool isObject = mContainers.back().map != nullptr;
    mText.skipSpace();
    if (mText.peek() == ',') {
        ++mText.at;
        mText.skipSpace();
        return isObject ? readKey() : Step::Value;
    }
    if (mText.peek() == (isObject ? '}' : ']')) return closeContainer();
    return failSyntax(isObject ? "A comma or } is missing" : "A comma or ] is missing");
}

JsonParser::Step JsonParser::openArray()
{
    if (!isDepthAllowed()) return Step::Stop;
    List* const list = add(List()).editList();
    mContainers.push_back({nullptr, list});
    mPlace = nullptr;
    ++mText.at;
    mText.skipSpace();
    return mText.peek() == ']' ? closeContainer() : Step::Value;
}

JsonParser::Step JsonParser::openObject()
{
    if (!isDepthAllowed()) return Step::Stop;
    Map* const map = add(Map()).editMap();
    mContainers.push_back({map, nullptr});
    ++mText.at;
    mText.skipSpace();
    return mText.peek() == '}' ? closeContainer() : readKey();
}

JsonParser::Step JsonParser::closeContainer()
{
    mPlace = nullptr;
    mContainers.pop_back();
    ++mText.at;
    return Step::AfterValue;
}

JsonParser::Step JsonParser::readKey()
{
    const char* const begin = mText.at;
    if (mText.peek() != '"') return failSyntax("A key in quotes is missing");
    std::string_view key;
    if (const JsonFault fault = parseString(mText, mBuffer, key)) return fail(fault);
    if (!isStringAllowed(begin, key)) return Step::Stop;
    Map& map = *mContainers.back().map;
    const std::size_t sizeBefore = map.size();
    mPlace = &map[key];
    if (map.size() == sizeBefore && !isKeyAllowed(begin, key)) return Step::Stop;
    mText.skipSpace();
    if (mText.peek() != ':') return failSyntax("A colon is missing");
    ++mText.at;
    mText.skipSpace();
    return Step::Value;
}

JsonParser::Step JsonParser::readString()
{
    const char* const begin = mText.at;
    std::string_view content;
    if (const JsonFault fault = parseString(mText, mBuffer, content)) return fail(fault);
    if (!isStringAllowed(begin, content)) return Step::Stop;
    add(content);
    return Step::AfterValue;
}

JsonParser::Step JsonParser::readNumber()
{
    qzVariant number;
    if (const JsonFault fault = parseNumber(mText, mOptions.largeIntegers, number))
        return fail(fault);
    add(std::move(number));
    return Step::AfterValue;
}

JsonParser::Step JsonParser::readWord()
{
    if (skipWord(mText, "null"))
        add(qzVariant());
    else if (skipWord(mText, "true"))
        add(true);
    else if (skipWord(mText, "false"))
        add(false);
    else
        return failSyntax("A value is missing");
    return Step::AfterValue;
}

bool JsonParser::isDepthAllowed()
{
    if (mContainers.size() < mOptions.maxDepth) return true;
    fail(JsonError::Kind::Limit, mText.at,
         "There are more than " + std::to_string(mOptions.maxDepth) + " levels");
    return false;
}

bool JsonParser::isStringAllowed(const char* begin, std::string_view content)
{
    if (content.size() <= mOptions.maxStringBytes) return true;
    fail(JsonError::Kind::Limit, begin,
         "The string has more than " + std::to_string(mOptions.maxStringBytes) + " bytes");
    return false;
}

// Whether a key may occur a second time.
bool JsonParser::isKeyAllowed(const char* begin, std::string_view key)
{
    if (mOptions.duplicateKeys == JsonReadOptions::DuplicateKeys::LastWins) {
        mResult.duplicateKeys.push_back({std::string(key), mPlaces.get(begin)});
        return true;
    }
    fail(JsonError::Kind::DuplicateKey, begin, "The key " + quoteKey(key) + " is there twice");
    return false;
}

template <typename Value>
qzVariant& JsonParser::add(Value&& value)
{
    if (mPlace == nullptr) return mContainers.back().list->emplace_back(std::forward<Value>(value));
    qzVariant made(std::forward<Value>(value));
    mPlace->swap(made);
    return *mPlace;
}

JsonParser::Step JsonParser::fail(const JsonFault& fault)
{
    return fail(fault.kind, fault.at, fault.message);
}

JsonParser::Step JsonParser::fail(JsonError::Kind kind, const char* at, std::string message)
{
    mResult.error = {kind, std::move(message), mPlaces.get(at), /*path=*/{}};
    return Step::Stop;
}

}  // namespace qz::ext
