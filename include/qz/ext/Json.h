// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <qz/qzExport.h>
#include <qz/qzVariant.h>

namespace qz {
class qzIoDevice;
}  // namespace qz

/// @file
/// Variants to JSON (RFC 8259) and back.
///
/// @code
/// qz::ext::JsonReadResult read = qz::ext::readJson(settings);  // {"name": "north"}
/// if (!read.isSuccess()) return fail(read.error.toString());   // "line 1, column 9: ..."
/// qz::qzVariant::qzVariantMapImpl* const map = read.value.editMap();
/// if (map == nullptr) return fail("no settings");
/// (*map)["port"] = 8080;
/// std::string text;
/// const qz::ext::JsonError error = qz::ext::writeJson(read.value, text);
/// if (error) return fail(error.toString());  // "name: The string isn't UTF-8"
/// @endcode
///
/// | JSON                                    | Variant                                            |
/// | --------------------------------------- | -------------------------------------------------- |
/// | null                                    | the empty variant                                  |
/// | true, false                             | `BOOL`                                             |
/// | a number without a point and exponent   | `INTEGER`; see `JsonReadOptions::largeIntegers`    |
/// | any other number, and -0                | `REAL`, the nearest double                         |
/// | a string                                | `STRING`, in UTF-8                                 |
/// | an array                                | `LIST`                                             |
/// | an object                               | `MAP`; its entries are written in key order        |
///
/// What is written reads back equal: a `REAL` always has a point or an exponent, and as many digits
/// as its value needs. Neither direction depends on the locale or on how the thread rounds, and
/// neither recurses; writing takes some 20 KB of stack. The library need not be started. When
/// memory runs out, `std::bad_alloc` is thrown.
/// Threads: any. Several may convert one text or one variant at the same time; a device is for one.

namespace qz::ext {

/// A place in a text.
struct JsonPlace {
    std::size_t offset = 0;  ///< The number of bytes before it.
    std::size_t line = 0;    ///< From 1; 0 for no place. A line ends with its line feed.
    /// In characters of Unicode, from 1. A byte order mark doesn't count, nor does a byte from 0x80
    /// to 0xBF, which in UTF-8 continues a character.
    std::size_t column = 0;
};

/// Why a text could not be read, or a value not be written. Made without arguments it stands for
/// success.
struct QZ_API JsonError {
    /// The kinds of reason.
    enum class Kind {
        None,          ///< No error.
        Syntax,        ///< The text isn't JSON, or it ends too early.
        Encoding,      ///< A string isn't UTF-8, or has half of a surrogate pair.
        DuplicateKey,  ///< An object has a key twice.
        Number,        ///< A number has no exact `INTEGER` or no finite `REAL`.
        Limit,         ///< A limit of the options is exceeded.
        Value,         ///< A variant is of a type, or has a number, that JSON doesn't have.
        Device,        ///< The device failed.
    };

    Kind kind = Kind::None;  ///< The kind of reason.
    std::string message;     ///< The reason as a sentence; the device's own text for `Device`.
    JsonPlace place;         ///< Where in the text, when reading.
    /// Which value, when writing, as in `a.b[3]`; empty for the whole. A key that isn't a word is
    /// in brackets and quotes, as in `a["b c"]`, and a long one is cut. A key is shown as `escaped`
    /// of `qz/ext/PrintableText.h` does it, here and in `message`.
    std::string path;

    /// Whether there is an error.
    explicit operator bool() const { return kind != Kind::None; }
    /// Place or path, and the reason, for example "line 2, column 5: A value is missing"; empty for
    /// success.
    std::string toString() const;
};

/// How `readJson` reads.
struct JsonReadOptions {
    /// What happens if an object has a key twice.
    enum class DuplicateKeys {
        Refused,   ///< It is an error.
        LastWins,  ///< The last value stays, and the result lists the keys.
    };
    /// What happens to an integer that isn't in the range of `INTEGER`, from -2^63 to 2^63 - 1.
    enum class LargeIntegers {
        ExactOnly,  ///< It becomes a `REAL` if no digit changes, as 2^63 does; else it is an error.
        Nearest,    ///< It becomes the nearest `REAL`.
    };

    /// The deepest nesting of objects and arrays. A number has depth 0, and [[1]] depth 2. Each
    /// open level takes some 100 bytes, but no stack.
    std::size_t maxDepth = 100;
    /// The longest text. From a device, no more than that and one block of 64 KiB is read.
    std::size_t maxTextBytes = SIZE_MAX;
    /// The longest string or key, in UTF-8.
    std::size_t maxStringBytes = SIZE_MAX;
    /// The most values, the outermost one and all objects and arrays included. The tree takes at
    /// most some 300 bytes for each, besides its strings and keys; a text has at least 2.
    std::size_t maxValues = SIZE_MAX;
    /// What happens if an object has a key twice.
    DuplicateKeys duplicateKeys = DuplicateKeys::Refused;
    /// What happens to an integer that isn't in the range of `INTEGER`.
    LargeIntegers largeIntegers = LargeIntegers::ExactOnly;
    /// Whether other text may follow the value, such as the next one. The result says where.
    bool allowsTrailingText = false;
};

/// How `writeJson` writes.
struct JsonWriteOptions {
    /// What happens to values that would not read back as what they are.
    enum class OtherTypes {
        Refused,  ///< They are errors.
        Plain,    ///< A vector or matrix is an array of reals, and a date its count.
    };

    /// The deepest nesting of maps and lists, as for `JsonReadOptions`.
    std::size_t maxDepth = 100;
    /// 0 for a text without white space; else each entry and element is on a line of its own, which
    /// begins with this many spaces a level; a vector or matrix takes one line. There is no line
    /// feed at the end.
    unsigned int indentation = 0;
    /// Whether all characters beyond ASCII are escaped.
    bool asciiOnly = false;
    /// What happens to vectors, matrices and dates.
    OtherTypes otherTypes = OtherTypes::Refused;
};

/// A key that an object has had before.
struct JsonDuplicateKey {
    std::string key;  ///< The key.
    JsonPlace place;  ///< The quote before it.
};

/// What a text has been read as.
struct JsonReadResult {
    qzVariant value = {};  ///< The value; empty after an error.
    JsonError error = {};  ///< The reason of a failure.
    /// With `LastWins`, the keys whose earlier values were dropped, in the order of the text.
    std::vector<JsonDuplicateKey> duplicateKeys = {};
    /// The number of bytes up to the end of the value; 0 after an error.
    std::size_t endOffset = 0;

    /// Whether there is a value.
    bool isSuccess() const { return !error; }
};

/// Reads a text.
///
/// It must be UTF-8 with at most one byte order mark, at its start, which is skipped. Refused are
/// overlong and incomplete sequences, surrogates, and escapes of one half of a pair. Comments,
/// commas before a closing bracket and other extensions are refused as well. A real below the range
/// of a double is 0, as its nearest one; one above it is refused.
QZ_API JsonReadResult readJson(std::string_view text, const JsonReadOptions& options = {});

/// Reads a device to its end, and the text then. With `allowsTrailingText`, the device is read to
/// its end as well.
///
/// Memory grows with what the device returns. A device that returns no bytes before its end, as one
/// that doesn't wait may do, is an error.
QZ_API JsonReadResult readJson(qzIoDevice& device, const JsonReadOptions& options = {});

/// Writes a value to a text.
///
/// Refused are NaN and infinities, objects of the caller's class, destroyed variants, and strings
/// and keys that aren't UTF-8. A map or list that isn't in a variant converts to one by a copy,
/// unless it is moved.
/// @param text is replaced; it stays as it is after an error.
[[nodiscard]] QZ_API JsonError writeJson(const qzVariant& value, std::string& text,
                                         const JsonWriteOptions& options = {});

/// Writes a value to a device, in blocks and without a flush of the device. After an error, the
/// device may have received a part of the text.
[[nodiscard]] QZ_API JsonError writeJson(const qzVariant& value, qzIoDevice& device,
                                         const JsonWriteOptions& options = {});

}  // namespace qz::ext
