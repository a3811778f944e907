// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzVariant.h>

namespace config {

/// A tree of named values, read from ini files and from the command line.
class Configuration {
public:
    /// Adds the values of a file, which replace those of the same keys.
    /// @param error receives the reason of a failure.
    /// @return false when the file can't be opened.
    bool load(const std::string& path, std::string& error);
    /// Sets one value, whose type is guessed from its text.
    void set(const std::string& key, const std::string& text);
    /// The value of a key, or null.
    const qz::qzVariant* find(const std::string& key) const;
    /// Writes all values. The file changes as a whole or not at all, and keeps its permissions; a
    /// link at the path is replaced.
    /// @return false, with the reason in `error`, when it can't be written.
    bool save(const std::string& path, std::string& error) const;
    /// Type, key and value of each entry as a framed table.
    std::string toTable() const;

private:
    qz::qzVariant::qzVariantMapImpl flatten() const;

    qz::qzVariant::qzVariantMapImpl mTree;
};

}  // namespace config
