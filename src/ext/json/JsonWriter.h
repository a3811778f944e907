// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <qz/ext/Json.h>

#include "JsonOutput.h"

namespace qz::ext {

/// Writes one value to an output.
class JsonWriter {
public:
    JsonWriter(const JsonWriteOptions& options, JsonOutput& output)
        : mOptions(options), mOutput(output)
    {
    }

    /// Writes a value, up to the first one that can't be written. A failure of the output ends it
    /// as well, though not always at once.
    /// @return the error of that value. The output reports its own.
    JsonError write(const qzVariant& value);

private:
    using Map = qzVariant::qzVariantMapImpl;
    using List = qzVariant::qzVariantListImpl;

    // A map or list whose end has not been written.
    struct Container {
        const Map* map = nullptr;    // null for a list
        const List* list = nullptr;  // null for a map
        std::size_t begun = 0;       // the number of entries or elements that have begun
        const Map::value_type* entry = nullptr;  // the current one
        Map::const_iterator nextEntry = {};
    };

    bool writeValue(const qzVariant& value);
    bool writeEntry(Container& container);
    bool writeElements(Container& container);
    bool writeReal(double value);
    bool writeReals(const double* values, std::size_t count);
    bool writeOtherType(const qzVariant& value);
    bool writeString(std::string_view text, const char* message, char before = '\0',
                     char after = '\0');
    bool writeLongString(std::string_view text, const char* message);
    void writeEscape(char32_t character);
    void writeUnit(char32_t unit);
    bool isDepthAllowed();
    bool openMap(const Map& map);
    bool openList(const List& list);
    bool close(char bracket);
    void startLine();

    [[gnu::cold]] bool failForDepth();
    [[gnu::cold]] bool fail(JsonError::Kind kind, std::string_view message);

    const JsonWriteOptions& mOptions;
    JsonOutput& mOutput;
    JsonError mError;
    std::vector<Container> mContainers;  // from the outermost to the innermost
};

}  // namespace qz::ext
