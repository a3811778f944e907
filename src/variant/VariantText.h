// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <sstream>
#include <string>

#include "VariantAccess.h"

namespace qz::variant {

/// Writes leaves as a default stream does. If the global locale is the classic one, no stream is
/// used.
class LeafText {
public:
    LeafText();

    /// Appends the text of a value that is neither map nor list.
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

/// The text of a tree, for `toString`.
std::string toText(const qzVariant& value);
std::string toText(const Map& map);
std::string toText(const List& list, const std::string& separator);

}  // namespace qz::variant
