// SPDX-License-Identifier: MIT
#include "text/PlainTable.h"

#include <algorithm>
#include <map>

namespace qz {

namespace {

using Cells = std::vector<PlainTable::Cell>;
using Glyphs = std::map<unsigned, std::string>;

const Glyphs kMiddle = {{3, "─"},  {5, "┘"},  {6, "└"},  {7, "┴"}, {11, "┬"},
                        {12, "│"}, {13, "┤"}, {14, "├"}, {15, "┼"}};
const Glyphs kTop = {{3, "─"},  {5, "┘"},  {6, "└"},  {7, "┴"},  {9, "┐"},
                     {11, "┬"}, {12, "│"}, {13, "┤"}, {14, "┌"}, {15, "┼"}};
const Glyphs kTitleJoin = {{3, "═"}, {9, "╡"}, {11, "╤"}, {14, "╞"}};

std::string repeat(const std::string& text, std::size_t count)
{
    std::string result;
    for (std::size_t i = 0; i < count; ++i)
        result += text;
    return result;
}

bool isFusedAt(const Cells& row, std::size_t column)
{
    return column < row.size() && row[column].isFused;
}

std::vector<std::size_t> measure(std::vector<Cells>& rows)
{
    std::vector<std::size_t> widths;
    for (Cells& row : rows) {
        if (row.empty()) continue;
        row.back().isFused = false;
        std::size_t span = 1;
        for (std::size_t i = 0; i < row.size(); ++i) {
            if (widths.size() <= i) widths.push_back(0);
            if (row[i].isFused) {
                ++span;
                continue;
            }
            const std::size_t needed = PlainTable::count(row[i].text) + 2;
            for (std::size_t back = 0; back < span; ++back) {
                std::size_t& width = widths[i - back];
                width = std::max(width, needed / span + (needed % span != 0 ? 1 : 0));
            }
            span = 1;
        }
    }
    return widths;
}

}  // namespace

std::size_t PlainTable::count(const std::string& text)
{
    const auto isFirst = [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xc0) != 0x80;
    };
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), isFirst));
}

std::string PlainTable::draw(std::vector<Cells> rows, const std::string& title)
{
    if (!rows.empty() && rows.back().empty()) rows.pop_back();
    std::vector<std::size_t> widths = measure(rows);
    if (widths.empty()) {
        return title.empty() ? "## Empty Table ##" : "## Empty Table : " + title + " ##";
    }
    std::string text;
    if (!title.empty()) {
        std::size_t lineLength = 1;
        for (const std::size_t width : widths)
            lineLength += width + 1;
        const std::size_t length = count(title);
        if (lineLength < length + 2) {
            widths.back() += length + 2 - lineLength;
            lineLength = length + 2;
        }
        const std::size_t left = (lineLength - 2 - length) / 2;
        text = "╒" + repeat("═", lineLength - 2) + "╕\n│" + std::string(left, ' ') + title +
               std::string(lineLength - 2 - length - left, ' ') + "│";
    }
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const Glyphs& glyphs = i > 0 ? kMiddle : title.empty() ? kTop : kTitleJoin;
        text += "\n" + glyphs.at(14);
        for (std::size_t c = 0; c < widths.size(); ++c) {
            unsigned mask = 1;
            if (i > 0 && !isFusedAt(rows[i - 1], c)) mask += 4;
            if (!isFusedAt(rows[i], c)) mask += 8;
            if (c + 1 < widths.size()) mask += 2;
            text += repeat(glyphs.at(3), widths[c]) + glyphs.at(mask);
        }
        text += "\n│";
        std::size_t extra = 0;
        for (std::size_t c = 0; c < widths.size(); ++c) {
            if (c >= rows[i].size()) {
                text += std::string(widths[c], ' ') + "│";
            } else if (rows[i][c].isFused) {
                extra += widths[c] + 1;
            } else {
                const std::size_t pad = widths[c] + extra - count(rows[i][c].text);
                const std::size_t left = extra == 0 ? 1 : pad / 2;
                text += std::string(left, ' ') + rows[i][c].text + std::string(pad - left, ' ');
                text += "│";
                extra = 0;
            }
        }
    }
    text += "\n└";
    for (std::size_t c = 0; c < widths.size(); ++c) {
        text += repeat("─", widths[c]);
        text += c + 1 == widths.size() ? "┘" : isFusedAt(rows.back(), c) ? "─" : "┴";
    }
    return text;
}

}  // namespace qz
