// SPDX-License-Identifier: MIT
#include "JsonWriter.h"

#include <cmath>
#include <utility>

#include "JsonCharacters.h"
#include "JsonPath.h"

namespace qz::ext {

namespace {

// What stands for a character after a backslash; 0 if only its number does.
char getShortEscape(char32_t character)
{
    switch (character) {
        case '"':
            return '"';
        case '\\':
            return '\\';
        case '\b':
            return 'b';
        case '\f':
            return 'f';
        case '\n':
            return 'n';
        case '\r':
            return 'r';
        case '\t':
            return 't';
        default:
            return '\0';
    }
}

// Strings up to this size, without anything to escape, are written in one step.
constexpr std::size_t kMaxShortBytes = 256;

// Loads what a value owns into the cache while the one before it is written. The parts of a tree
// are all over the memory if it was made late in the life of a program.
void prefetch(const qzVariant& value)
{
    switch (value.getType()) {
        case qzVariant::STRING:
            return __builtin_prefetch(value.getString());
        case qzVariant::LIST:
            return __builtin_prefetch(value.getList());
        case qzVariant::MAP:
            return __builtin_prefetch(value.getMap());
        default:
            return;
    }
}

}  // namespace

JsonError JsonWriter::write(const qzVariant& value)
{
    bool isGood = writeValue(value);
    while (isGood && !mContainers.empty() && !mOutput.hasFailed()) {
        Container& container = mContainers.back();
        isGood = container.map != nullptr ? writeEntry(container) : writeElements(container);
    }
    if (isGood) mOutput.flush();
    return std::move(mError);
}

// Writes a value, or the begin of a map or list.
bool JsonWriter::writeValue(const qzVariant& value)
{
    switch (value.getType()) {
        case qzVariant::UNKNOWN:
            mOutput.put("null");
            return true;
        case qzVariant::BOOL:
            mOutput.put(value.toBool() ? "true" : "false");
            return true;
        case qzVariant::INTEGER:
            mOutput.putInteger(value.toInteger());
            return true;
        case qzVariant::REAL:
            return writeReal(value.toReal());
        case qzVariant::STRING:
            return writeString(*value.getString(), "The string isn't UTF-8");
        case qzVariant::LIST:
            return openList(*value.getList());
        case qzVariant::MAP:
            return openMap(*value.getMap());
        default:
            return writeOtherType(value);
    }
}

// Writes the next entry, or the end of the map.
bool JsonWriter::writeEntry(Container& container)
{
    const std::size_t size = container.map->size();
    if (container.begun == size) return close('}');
    char comma = container.begun++ != 0 ? ',' : '\0';
    container.entry = &*container.nextEntry;
    if (container.begun != size) prefetch((++container.nextEntry)->second);
    if (mOptions.indentation != 0) {
        if (comma != '\0') mOutput.put(std::exchange(comma, '\0'));
        startLine();
    }
    const auto& [key, value] = *container.entry;
    if (!writeString(key, "The key isn't UTF-8", comma, ':')) return false;
    if (mOptions.indentation != 0) mOutput.put(' ');
    return writeValue(value);
}

// Writes the next elements, up to one that is a map or list, or the end of the list.
bool JsonWriter::writeElements(Container& container)
{
    const List& list = *container.list;
    const std::size_t depth = mContainers.size();
    while (mContainers.size() == depth) {
        if (container.begun == list.size()) return close(']');
        if (container.begun++ != 0) mOutput.put(',');
        if (container.begun != list.size()) prefetch(list[container.begun]);
        if (mOptions.indentation != 0) startLine();
        if (!writeValue(list[container.begun - 1])) return false;
    }
    return true;
}

bool JsonWriter::writeReal(double value)
{
    if (std::isfinite(value)) {
        mOutput.putReal(value);
        return true;
    }
    return fail(JsonError::Kind::Value, std::isnan(value) ? "A NaN has no form in JSON"
                                                          : "An infinity has no form in JSON");
}

bool JsonWriter::writeReals(const double* values, std::size_t count)
{
    if (!isDepthAllowed()) return false;
    mOutput.put('[');
    for (std::size_t i = 0; i != count; ++i) {
        if (i != 0) mOutput.put(',');
        if (!writeReal(values[i])) return false;
    }
    mOutput.put(']');
    return true;
}

bool JsonWriter::writeOtherType(const qzVariant& value)
{
    if (mOptions.otherTypes == JsonWriteOptions::OtherTypes::Plain) {
        if (value.arraySize() != 0) return writeReals(value.getArray(), value.arraySize());
        if (value.getType() == qzVariant::DATETIME) {
            mOutput.putInteger(value.toInteger());
            return true;
        }
    }
    if (value.getType() == qzVariant::DATETIME)
        return fail(JsonError::Kind::Value, "A date has no form in JSON");
    if (value.getType() == qzVariant::USERDATA)
        return fail(JsonError::Kind::Value, "An object has no form in JSON");
    if (value.getType() == qzVariant::DESTROYED)
        return fail(JsonError::Kind::Value, "A destroyed value has no form in JSON");
    return fail(JsonError::Kind::Value, "A vector or matrix has no form in JSON");
}

// Writes a string between two other bytes, which are left out if they are 0.
bool JsonWriter::writeString(std::string_view text, const char* message, char before, char after)
{
    if (text.size() <= kMaxShortBytes) {
        char* out = mOutput.reserve(kMaxShortBytes + 4);
        *out = before;
        if (before != '\0') ++out;
        *out++ = '"';
        if (copyPlain(text.data(), text.size(), out)) {
            out += text.size();
            *out++ = '"';
            *out = after;
            mOutput.commit(after != '\0' ? out + 1 : out);
            return true;
        }
    }
    if (before != '\0') mOutput.put(before);
    if (!writeLongString(text, message)) return false;
    if (after != '\0') mOutput.put(after);
    return true;
}

bool JsonWriter::writeLongString(std::string_view text, const char* message)
{
    const char* const end = text.data() + text.size();
    const char* run = text.data();  // the bytes that have not been written
    mOutput.put('"');
    for (const char* at = findSpecial(run, end); at != end; at = findSpecial(at, end)) {
        const Utf8Character character = decodeCharacter(at, end);
        if (character.size == 0) return fail(JsonError::Kind::Encoding, message);
        if (character.size == 1 || mOptions.asciiOnly) {
            mOutput.put(std::string_view(run, static_cast<std::size_t>(at - run)));
            writeEscape(character.value);
            run = at + character.size;
        }
        at += character.size;
    }
    mOutput.put(std::string_view(run, static_cast<std::size_t>(end - run)));
    mOutput.put('"');
    return true;
}

void JsonWriter::writeEscape(char32_t character)
{
    if (const char letter = getShortEscape(character)) {
        mOutput.put('\\');
        mOutput.put(letter);
    } else if (character < 0x10000) {
        writeUnit(character);
    } else {
        writeUnit(0xD800 + ((character - 0x10000) >> 10U));
        writeUnit(0xDC00 + (character & 0x3FFU));
    }
}

void JsonWriter::writeUnit(char32_t unit)
{
    constexpr std::string_view digits = "0123456789abcdef";
    const char escape[] = {'\\',
                           'u',
                           digits[unit >> 12U],
                           digits[unit >> 8U & 0xFU],
                           digits[unit >> 4U & 0xFU],
                           digits[unit & 0xFU]};
    mOutput.put(std::string_view(escape, sizeof escape));
}

bool JsonWriter::openMap(const Map& map)
{
    if (!isDepthAllowed()) return false;
    mOutput.put('{');
    Container& container = mContainers.emplace_back();
    container.map = &map;
    container.nextEntry = map.begin();
    return true;
}

bool JsonWriter::openList(const List& list)
{
    if (!isDepthAllowed()) return false;
    mOutput.put('[');
    mContainers.emplace_back().list = &list;
    return true;
}

bool JsonWriter::isDepthAllowed()
{
    return mContainers.size() < mOptions.maxDepth || failForDepth();
}

bool JsonWriter::close(char bracket)
{
    const bool isEmpty = mContainers.back().begun == 0;
    mContainers.pop_back();
    if (mOptions.indentation != 0 && !isEmpty) startLine();
    mOutput.put(bracket);
    return true;
}

void JsonWriter::startLine()
{
    mOutput.put('\n');
    mOutput.put(mContainers.size() * mOptions.indentation, ' ');
}

bool JsonWriter::failForDepth()
{
    return fail(JsonError::Kind::Limit,
                "There are more than " + std::to_string(mOptions.maxDepth) + " levels");
}

bool JsonWriter::fail(JsonError::Kind kind, std::string_view message)
{
    mError.kind = kind;
    mError.message = message;
    for (const Container& container : mContainers) {
        if (container.map != nullptr)
            appendKey(mError.path, container.entry->first);
        else
            appendIndex(mError.path, container.begun - 1);
    }
    return false;
}

}  // namespace qz::ext
