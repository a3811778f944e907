#include "JsonWriter.h"

#include <cmath>

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

}  // namespace

JsonError JsonWriter::write(const qzVariant& value)
{
    bool isGood = writeValue(value);
    while (isGood && !mContainers.empty() && !mOutput.hasFailed())
        isGood = writeNext(mContainers.back());
    if (isGood) mOutput.flush();
    return std::move(mError);
}

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
            return open({nullptr, value.getList(), {}, 0}, value.getList()->size());
        case qzVariant::MAP:
            return open({value.getMap(), nullptr, value.getMap()->begin(), 0},
                        value.getMap()->size());
        default:
            return writeOtherType(value);
    }
}

// Writes the next entry or element, or the end.
bool JsonWriter::writeNext(Container& container)
{
    const std::size_t size =
        container.map != nullptr ? container.map->size() : container.list->size();
    if (container.begun == size) {
        close();
        return true;
    }
    if (container.begun++ != 0) {
        mOutput.put(',');
        if (container.map != nullptr) ++container.entry;
    }
    if (mOptions.indentation != 0) startLine();
    if (container.map == nullptr) return writeValue((*container.list)[container.begun - 1]);
    if (!writeString(container.entry->first, "The key isn't UTF-8")) return false;
    mOutput.put(':');
    if (mOptions.indentation != 0) mOutput.put(' ');
    return writeValue(container.entry->second);
}

bool JsonWriter::writeReal(double value)
{
    if (std::isnan(value)) return fail(JsonError::Kind::Value, "A NaN has no form in JSON");
    if (std::isinf(value)) return fail(JsonError::Kind::Value, "An infinity has no form in JSON");
    mOutput.putReal(value);
    return true;
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

bool JsonWriter::writeString(std::string_view text, const char* message)
{
    const char* const end = text.data() + text.size();
    const char* run = text.data();  // the bytes that have not been written
    mOutput.put('"');
    for (const char* at = findSpecial(run, end); at != end; at = findSpecial(at, end)) {
        const JsonCharacter character = decodeCharacter(at, end);
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

bool JsonWriter::open(const Container& container, std::size_t size)
{
    if (!isDepthAllowed()) return false;
    if (size == 0) {
        mOutput.put(container.map != nullptr ? "{}" : "[]");
        return true;
    }
    mOutput.put(container.map != nullptr ? '{' : '[');
    mContainers.push_back(container);
    return true;
}

bool JsonWriter::isDepthAllowed()
{
    return mContainers.size() < mOptions.maxDepth ||
           fail(JsonError::Kind::Limit,
                "There are more than " + std::to_string(mOptions.maxDepth) + " levels");
}

void JsonWriter::close()
{
    const bool isMap = mContainers.back().map != nullptr;
    mContainers.pop_back();
    if (mOptions.indentation != 0) startLine();
    mOutput.put(isMap ? '}' : ']');
}

void JsonWriter::startLine()
{
    mOutput.put('\n');
    mOutput.put(mContainers.size() * mOptions.indentation, ' ');
}

bool JsonWriter::fail(JsonError::Kind kind, std::string message)
{
    mError.kind = kind;
    mError.message = std::move(message);
    for (const Container& container : mContainers) {
        if (container.map != nullptr)
            appendKey(mError.path, container.entry->first);
        else
            appendIndex(mError.path, container.begun - 1);
    }
    return false;
}

}  // namespace qz::ext
