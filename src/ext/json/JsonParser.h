// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "JsonText.h"

namespace qz::ext {

/// Reads one text into a result.
class JsonParser {
public:
    JsonParser(std::string_view text, const JsonReadOptions& options, JsonReadResult& result);

    /// Fills the result. To be called once.
    void run();

private:
    using Map = qzVariant::qzVariantMapImpl;
    using List = qzVariant::qzVariantListImpl;

    // What the text goes on with. After `Stop`, the value is complete or there is an error.
    enum class Step { Value, AfterValue, Stop };

    // An object or array whose end has not been read.
    struct Container {
        Map* map;    // null for an array
        List* list;  // null for an object
    };

    Step beginValue();
    Step continueContainer();
    Step openArray();
    Step openObject();
    Step closeContainer();
    Step readKey();
    Step readString();
    Step readNumber();
    Step readWord();
    bool isDepthAllowed();
    bool isStringAllowed(const char* begin, std::string_view content);
    bool isKeyAllowed(const char* begin, std::string_view key);

    template <typename Value>
    qzVariant& add(Value&& value);

    Step fail(const JsonFault& fault);
    Step fail(JsonError::Kind kind, const char* at, std::string message);
    Step failSyntax(const char* message) { return fail(makeSyntaxFault(mText, message)); }

    const std::string_view mWhole;
    const JsonReadOptions& mOptions;
    JsonReadResult& mResult;
    JsonText mText;
    JsonPlaces mPlaces;
    std::size_t mValueCount = 0;
    std::string mBuffer;  // the last string with escapes
    // The place of the next value; null in an array, and before a key. Entries of a map don't move.
    qzVariant* mPlace;
    std::vector<Container> mContainers;  // from the outermost to the innermost
};

}  // namespace qz::ext
