// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The paths of the charset rows. A program run has one local character set, that of its
/// environment, and so the rows of that set only.

#include <string>

#include "../support.h"

namespace bench {

/// A path of 60 bytes, ASCII.
extern const std::string kAsciiPath;
/// A path of 60 bytes in UTF-8 with six accented letters, which Latin-1 has too.
extern const std::string kAccentPath;

/// Tells whether the environment's character set is UTF-8; otherwise it is Latin-1.
bool isLocalUtf8();

/// Gives the name of the environment's character set.
const std::string& getLocalCharset();

/// What the path is in the local set.
std::string getExpected(const std::string& path);

/// The two rows of one contender for the local set of this run. `Converter` makes a text from a
/// path in UTF-8: `convert(const std::string&)`, in the kind of text that it gives its callers, and
/// `toString` copies such a text.
template <typename Converter>
class CharsetRows {
public:
    explicit CharsetRows(const char* name)
        : mCheck(name, convertsRightly),
          mAscii(isLocalUtf8() ? "ASCII, local set UTF-8" : "ASCII, local set Latin-1", name,
                 measureAscii),
          mAccents(isLocalUtf8() ? "accents, local set UTF-8" : "accents, local set Latin-1", name,
                   measureAccents)
    {
    }

private:
    static bool convertsRightly()
    {
        Converter converter;
        return isSameText(Converter::toString(converter.convert(kAsciiPath)),
                          getExpected(kAsciiPath)) &&
               isSameText(Converter::toString(converter.convert(kAccentPath)),
                          getExpected(kAccentPath));
    }

    static void measure(benchmark::State& state, const std::string& path)
    {
        Converter converter;
        for (auto _ : state) {
            const auto text = converter.convert(path);
            keep(text);
        }
        state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(path.size()));
    }
    static void measureAscii(benchmark::State& state) { measure(state, kAsciiPath); }
    static void measureAccents(benchmark::State& state) { measure(state, kAccentPath); }

    Check mCheck;
    Case mAscii;
    Case mAccents;
};

}  // namespace bench
