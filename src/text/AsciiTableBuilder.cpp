// SPDX-License-Identifier: MIT
#include <qz/AsciiTableBuilder.h>

#include <algorithm>
#include <numeric>
#include <string_view>
#include <utility>
#include <vector>

#include <qz/qzStringUtils.h>

#include "BoxGlyphs.h"

namespace qz {

namespace {

using CellContent = AsciiTableBuilder::CellContent;
using Row = std::list<CellContent>;
using Rows = std::list<Row>;
using Widths = std::vector<std::size_t>;
using text::BoxGlyphs;

constexpr unsigned kLeftEdge = text::BoxRight | text::BoxUp | text::BoxDown;
constexpr unsigned kLine = text::BoxLeft | text::BoxRight;

// Iterates over the cells of a row; null after the last one.
class CellCursor {
public:
    explicit CellCursor(const Row& row) : mAt(row.begin()), mEnd(row.end()) {}

    const CellContent* takeNext() { return mAt != mEnd ? &*mAt++ : nullptr; }

private:
    Row::const_iterator mAt;
    Row::const_iterator mEnd;
};

bool isFused(const CellContent* cell)
{
    return cell != nullptr && cell->fused;
}

void appendRepeated(std::string& text, std::string_view glyph, std::size_t count)
{
    for (; count > 0; --count)
        text += glyph;
}

// The last cell of a row has no cell after it to be joined with.
void endFusing(Rows& rows)
{
    for (Row& row : rows) {
        if (!row.empty()) row.back().fused = false;
    }
}

void widen(Widths& widths, const Row& row)
{
    widths.resize(std::max(widths.size(), row.size()));
    std::size_t column = 0;
    std::size_t span = 0;
    for (const CellContent& cell : row) {
        ++column;
        ++span;
        if (cell.fused) continue;
        const std::size_t needed = qzStringUtils::CountUtf8Char(cell.content) + 2;
        const std::size_t share = (needed + span - 1) / span;
        for (; span > 0; --span)
            widths[column - span] = std::max(widths[column - span], share);
    }
}

Widths measureColumns(const Rows& rows)
{
    Widths widths;
    for (const Row& row : rows)
        widen(widths, row);
    return widths;
}

// The frame of the title without its lower line. A wide title widens the last column.
void appendTitle(std::string& text, const std::string& title, Widths& widths)
{
    const std::size_t length = qzStringUtils::CountUtf8Char(title);
    std::size_t lineLength = std::accumulate(widths.begin(), widths.end(), 1 + widths.size());
    if (lineLength < length + 2) {
        widths.back() += length + 2 - lineLength;
        lineLength = length + 2;
    }
    const std::size_t blanks = lineLength - 2 - length;
    const BoxGlyphs& glyphs = text::boxDouble;
    text += glyphs[text::BoxRight | text::BoxDown];
    appendRepeated(text, glyphs[kLine], lineLength - 2);
    text.append(glyphs[text::BoxLeft | text::BoxDown]).append("\n│");
    text.append(blanks / 2, ' ').append(title).append(blanks - blanks / 2, ' ').append("│");
}

// The line above `row`; `previous` is null for the first one.
void appendSeparator(std::string& text, const Widths& widths, const Row& row, const Row* previous,
                     const BoxGlyphs& glyphs)
{
    static const Row kNoCells;
    CellCursor below(row);
    CellCursor above(previous != nullptr ? *previous : kNoCells);
    text.append("\n").append(glyphs[kLeftEdge]);
    for (std::size_t column = 0; column < widths.size(); ++column) {
        appendRepeated(text, glyphs[kLine], widths[column]);
        unsigned junction = text::BoxLeft;
        if (!isFused(above.takeNext()) && previous != nullptr) junction |= text::BoxUp;
        if (!isFused(below.takeNext())) junction |= text::BoxDown;
        if (column + 1 != widths.size()) junction |= text::BoxRight;
        text += glyphs[junction];
    }
}

void appendCells(std::string& text, const Widths& widths, const Row& row)
{
    CellCursor cells(row);
    std::size_t extra = 0;
    text += "\n│";
    for (const std::size_t width : widths) {
        const CellContent* const cell = cells.takeNext();
        if (isFused(cell)) {
            extra += width + 1;
            continue;
        }
        if (cell == nullptr) {
            text.append(width, ' ').append("│");
            continue;
        }
        const std::size_t blanks = width + extra - qzStringUtils::CountUtf8Char(cell->content);
        const std::size_t left = extra == 0 ? 1 : blanks / 2;
        text.append(left, ' ').append(cell->content).append(blanks - left, ' ').append("│");
        extra = 0;
    }
}

void appendBottom(std::string& text, const Widths& widths, const Row& lastRow)
{
    const BoxGlyphs& glyphs = text::boxMiddle;
    CellCursor above(lastRow);
    text.append("\n").append(glyphs[text::BoxRight | text::BoxUp]);
    for (std::size_t column = 0; column < widths.size(); ++column) {
        appendRepeated(text, glyphs[kLine], widths[column]);
        const bool isLast = column + 1 == widths.size();
        unsigned junction = text::BoxLeft;
        if (!isFused(above.takeNext()) || isLast) junction |= text::BoxUp;
        if (!isLast) junction |= text::BoxRight;
        text += glyphs[junction];
    }
}

// `toString` may have removed the only row.
Row& editLastRow(Rows& rows)
{
    return rows.empty() ? rows.emplace_back() : rows.back();
}

const BoxGlyphs& getGlyphsAbove(bool isFirst, bool hasTitle)
{
    if (!isFirst) return text::boxMiddle;
    return hasTitle ? text::boxTitleJoin : text::boxTop;
}

}  // namespace

AsciiTableBuilder::CellContent::CellContent(const std::string& text) : content(text) {}

AsciiTableBuilder::CellContent::CellContent(const FuseWithNextCell& /*tag*/) : fused(true) {}

AsciiTableBuilder::AsciiTableBuilder(const std::string& title)
{
    resetTableBuilder(title);
}

void AsciiTableBuilder::resetTableBuilder(const std::string& title)
{
    mRows.assign(1, Row());
    mTitle = title;
}

void AsciiTableBuilder::setTitle(const std::string& title)
{
    mTitle = title;
}

std::size_t AsciiTableBuilder::getRowCount() const
{
    return mRows.empty() ? 0 : mRows.size() - 1;
}

AsciiTableBuilder& AsciiTableBuilder::addCell(const std::string& text)
{
    editLastRow(mRows).emplace_back(text);
    return *this;
}

template <>
AsciiTableBuilder& AsciiTableBuilder::operator<<(const std::string& value)
{
    return addCell(value);
}

template AsciiTableBuilder& AsciiTableBuilder::operator<<(const char (&)[2]);
template AsciiTableBuilder& AsciiTableBuilder::operator<<(const char (&)[3]);
template AsciiTableBuilder& AsciiTableBuilder::operator<<(const char (&)[4]);
template AsciiTableBuilder& AsciiTableBuilder::operator<<(const char (&)[5]);

AsciiTableBuilder& AsciiTableBuilder::operator<<(const FuseWithNextCell& tag)
{
    for (unsigned i = 0; i < tag.count; ++i)
        editLastRow(mRows).emplace_back(tag);
    return *this;
}

AsciiTableBuilder& AsciiTableBuilder::operator<<(const EndOfRow& /*tag*/)
{
    mRows.emplace_back();
    return *this;
}

std::string AsciiTableBuilder::toString()
{
    if (!mRows.empty() && mRows.back().empty()) mRows.pop_back();
    endFusing(mRows);
    Widths widths = measureColumns(mRows);
    if (widths.empty()) {
        return mTitle.empty() ? "## Empty Table ##" : "## Empty Table : " + mTitle + " ##";
    }

    std::string text;
    if (!mTitle.empty()) appendTitle(text, mTitle, widths);
    const Row* previous = nullptr;
    for (const Row& row : mRows) {
        const BoxGlyphs& glyphs = getGlyphsAbove(previous == nullptr, !mTitle.empty());
        appendSeparator(text, widths, row, previous, glyphs);
        appendCells(text, widths, row);
        previous = &row;
    }
    appendBottom(text, widths, mRows.back());
    return text;
}

}  // namespace qz
