#pragma once

#include <cstddef>
#include <list>
#include <sstream>
#include <string>

#include <qz/qzExport.h>

namespace qz {

/// Collects cells row by row, and draws them as a framed table for logs and consoles.
///
/// The table is UTF-8 in spite of the name: its frame consists of box-drawing characters. A row is
/// written as `table << cell << cell << AsciiTableBuilder::EndOfRow{}`. A cell of malformed UTF-8
/// counts as one without text.
///
/// Threads: one at a time for each object.
class QZ_API AsciiTableBuilder {
public:
    /// Joins the next `count` cells with the one behind them, which gives the text for all:
    /// `table << FuseWithNextCell{2} << "over three columns"`. With nothing behind them the last
    /// one becomes an ordinary empty cell. A count of 0 adds nothing.
    struct FuseWithNextCell {
        unsigned char count;  ///< How many cells to join.
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

    /// Starts a table, with a title in a frame of its own above it unless that is empty.
    explicit AsciiTableBuilder(const std::string& title);

    /// Starts anew with another title; all rows are gone.
    void resetTableBuilder(const std::string& title);
    /// Replaces the title; an empty one takes it away.
    void setTitle(const std::string& title);

    /// The number of ended rows. After `toString` has dropped the row that an end of row had begun,
    /// the last ended row counts as not ended: one less.
    std::size_t getRowCount() const;

    /// Adds a cell with what a standard stream in the global locale writes for `value`.
    template <typename T>
    AsciiTableBuilder& operator<<(const T& value)
    {
        std::ostringstream stream;
        stream << value;
        return addCell(stream.str());
    }
    /// Adds cells that are joined with the one behind them.
    AsciiTableBuilder& operator<<(const FuseWithNextCell& tag);
    /// Ends the row and begins the next one.
    AsciiTableBuilder& operator<<(const EndOfRow& tag);

    /// Draws the table, without a line feed at its end. Without a title it begins with one, so that
    /// a report may put it behind a text; stream one ahead of a table with a title.
    ///
    /// Columns are as wide as their widest cell, in code points, and the columns under a joined
    /// cell share its width. Texts stand on the left, those over several columns in the middle.
    /// A table without a cell gives "## Empty Table ##" or "## Empty Table : TITLE ##".
    ///
    /// Drops the last row when it has no cell: cells that are added afterwards go on with the row
    /// above.
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
