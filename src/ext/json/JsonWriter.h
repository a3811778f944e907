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

    /// Writes a value, up to the first one that can't be written or to the failure of the output.
    /// @return the error of that value. The output reports its own.
    JsonError write(const qzVariant& value);

private:
    using Map = qzVariant::qzVariantMapImpl;
    using List = qzVariant::qzVariantListImpl;

    // A map or list whose end has not been written.
    struct Container {
        const Map* map;  // null for a list
        const List* list;
        Map::const_iterator entry;  // the current one, once the first has begun
        std::size_t begun;          // the number of entries or elements that have begun
    };

    bool writeValue(const qzVariant& value);
    bool writeNext(Container& container);
    bool writeReal(double value);
    bool writeReals(const double* values, std::size_t count);
    bool writeOtherType(const qzVariant& value);
    bool writeString(std::string_view text, const char* message);
    void writeEscape(char32_t character);
    void writeUnit(char32_t unit);
    bool isDepthAllowed();
    bool open(const Container& container, std::size_t size);
    void close();
    void startLine();

    bool fail(JsonError::Kind kind, std::string message);

    const JsonWriteOptions& mOptions;
    JsonOutput& mOutput;
    JsonError mError;
    std::vector<Container> mContainers;  // from the outermost to the innermost
};

}  // namespace qz::ext
