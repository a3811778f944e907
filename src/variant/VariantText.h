#pragma once

#include <optional>
#include <sstream>
#include <string>

#include "VariantAccess.h"

namespace qz::variant {

/// Writes leaves as a default stream does, and without one where the global locale is the classic
/// one.
class LeafText {
public:
    LeafText();

    /// Appends the text of anything but a map and a list.
    void append(const qzVariant& leaf, std::string& out);
    void append(long value, std::string& out);
    void append(double value, std::string& out);

private:
    template <typename T>
    void appendByStream(T value, std::string& out);

    const bool mIsClassic;
    std::optional<std::ostringstream> mStream;
};

/// The text of a real with `precision` significant digits, in the classic locale.
std::string toClassicText(double value, int precision);
/// The text of an integer in the classic locale.
std::string toClassicText(long value);

/// What `toString` gives of a tree.
std::string toText(const qzVariant& value);
std::string toText(const Map& map);
std::string toText(const List& list, const std::string& separator);

}  // namespace qz::variant
