// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The documents of the JSON rows, and the work that is timed on them.

#include <cstdint>
#include <string>

#include "../support.h"

namespace bench {

/// Documents of about 1 MB without white space, with the keys of each object in order and all reals
/// in the shortest form; the same in each run.
struct Documents {
    std::string records;  ///< Objects of ten fields, as services exchange them.
    std::string numbers;  ///< Arrays of reals of up to 17 digits, and of integers.
    std::string strings;  ///< Texts of some 1,000 characters, some with escapes or accents, or CJK.
    std::string nesting;  ///< Arrays and objects in one another, 90 levels deep.
};

const Documents& getDocuments();

/// Whether two documents have the same values. The texts of reals may differ: not every contender
/// finds the shortest one each time.
bool isSameDocument(const std::string& text, const std::string& expected);

/// The rows of one contender. `Format` has `parse(text)`, which gives a tree, and `write(tree)`,
/// which gives its text, both static.
template <typename Format>
class JsonRows {
public:
    explicit JsonRows(const char* name)
        : mCheck(name, writesWhatItRead),
          mParseRecords("parse records", name, measureParse<&Documents::records>),
          mParseNumbers("parse numbers", name, measureParse<&Documents::numbers>),
          mParseStrings("parse long strings", name, measureParse<&Documents::strings>),
          mParseNesting("parse deep nesting", name, measureParse<&Documents::nesting>),
          mWriteRecords("write records", name, measureWrite<&Documents::records>),
          mWriteNumbers("write numbers", name, measureWrite<&Documents::numbers>),
          mWriteStrings("write long strings", name, measureWrite<&Documents::strings>),
          mWriteNesting("write deep nesting", name, measureWrite<&Documents::nesting>)
    {
    }

private:
    using Document = std::string Documents::*;

    static bool writesWhatItRead()
    {
        bool isSame = true;
        for (const Document document :
             {&Documents::records, &Documents::numbers, &Documents::strings, &Documents::nesting}) {
            const std::string& text = getDocuments().*document;
            isSame = isSame && isSameDocument(Format::write(Format::parse(text)), text);
        }
        return isSame;
    }

    static void setProcessed(benchmark::State& state, const std::string& text)
    {
        state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
    }

    template <Document document>
    static void measureParse(benchmark::State& state)
    {
        const std::string& text = getDocuments().*document;
        for (auto _ : state) {
            auto tree = Format::parse(text);
            keep(tree);
        }
        setProcessed(state, text);
    }

    template <Document document>
    static void measureWrite(benchmark::State& state)
    {
        const std::string& text = getDocuments().*document;
        const auto tree = Format::parse(text);
        for (auto _ : state) {
            auto written = Format::write(tree);
            keep(written);
        }
        setProcessed(state, text);
    }

    Check mCheck;
    Case mParseRecords;
    Case mParseNumbers;
    Case mParseStrings;
    Case mParseNesting;
    Case mWriteRecords;
    Case mWriteNumbers;
    Case mWriteStrings;
    Case mWriteNesting;
};

}  // namespace bench
