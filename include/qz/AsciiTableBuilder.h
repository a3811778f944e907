// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <list>
#include <sstream>
#include <string>

#include <qz/qzExport.h>

namespace qz {

/// Collects cells row by row, and draws them as a framed table for logs and consoles.
///
/// The table is UTF-8 in spite of the name: its frame consists of box-drawing characters. The width
/// of a cell with malformed UTF-8 counts as 0.
///
/// @code
/// AsciiTableBuilder table("Files");
/// table << "Name" << "Bytes" << AsciiTableBuilder::EndOfRow{};
/// table << "backup" << 1536 << AsciiTableBuilder::EndOfRow{};
/// logInfo() << '\n' << table.toString();
/// @endcode
///
/// Threads: one at a time for each object.
class QZ_API AsciiTableBuilder {
public:
    /// Adds `count` cells that are joined with the cell after them, which has the text of all:
    /// `table << FuseWithNextCell{2} << "over three columns"`. Without a cell after them the last
    /// one becomes an ordinary empty cell. A count of 0 adds nothing.
    struct FuseWithNextCell {
        unsigned char count;  ///< The number of cells to join.
    };

    /// Ends the row.
    struct EndOfRow {};

    /// One cell.
    struct QZ_API CellContent {
        /// Makes an empty cell.
        CellContent() = default;
        /// Makes a cell with a text.
        explicit CellContent(const std::string& text);
        /// Makes an empty cell that is joined with the next one.
        explicit CellContent(const FuseWithNextCell& tag);

        std::string content;  ///< The text, UTF-8, on one line.
        bool fused = false;   ///< Whether the cell is joined with the next one in its row.
    };

    /// Starts a table. A title that isn't empty is drawn above it in a frame of its own.
    explicit AsciiTableBuilder(const std::string& title);

    /// Removes all rows and replaces the title.
    void resetTableBuilder(const std::string& title);
    /// Replaces the title; an empty one removes it.
    void setTitle(const std::string& title);

    /// The number of ended rows. It is one less after `toString` has dropped an empty last row.
    std::size_t getRowCount() const;

    /// Adds a cell with the text that a standard stream in the global locale writes for `value`.
    template <typename T>
    AsciiTableBuilder& operator<<(const T& value)
    {
        std::ostringstream stream;
        stream << value;
        return addCell(stream.str());
    }
    /// Adds cells that are joined with the one after them.
    AsciiTableBuilder& operator<<(const FuseWithNextCell& tag);
    /// Ends the row and begins the next one.
    AsciiTableBuilder& operator<<(const EndOfRow& tag);

    /// Draws the table, without a line feed at the end. A table without a title begins with a line
    /// feed, so that it can follow a text; one with a title doesn't.
    ///
    /// Columns are as wide as their widest cell in code points; the columns of a joined cell share
    /// its width. Texts are aligned to the left, those over several columns are centred. A table
    /// without a cell gives "## Empty Table ##" or "## Empty Table : TITLE ##".
    ///
    /// An empty last row is dropped: further cells are then added to the row before it.
    std::string toString();

private:
    using Row = std::list<CellContent>;

    AsciiTableBuilder& addCell(const std::string& text);

    std::list<Row> mRows;
    std::string mTitle;
};

/// Adds a cell with the text; the stream would write the same.
template <>
QZ_API AsciiTableBuilder& AsciiTableBuilder::operator<<(const std::string& value);

extern template QZ_API AsciiTableBuilder& AsciiTableBuilder::operator<<(const char (&)[2]);
extern template QZ_API AsciiTableBuilder& AsciiTableBuilder::operator<<(const char (&)[3]);
extern template QZ_API AsciiTableBuilder& AsciiTableBuilder::operator<<(const char (&)[4]);
extern template QZ_API AsciiTableBuilder& AsciiTableBuilder::operator<<(const char (&)[5]);

}  // namespace qz
