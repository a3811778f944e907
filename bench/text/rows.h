// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The texts of these rows, and for each group of rows a class that measures one contender in it. A
/// contender is a class of static functions, which do the work in the form that suits them best.

#include <cstddef>
#include <string>

#include "../support.h"

namespace bench {

/// 1 MB, unless a row says otherwise. The code points of `Mixed` have one to four bytes in no
/// order, and those of `Cjk` three.
enum class TextKind { Ascii, Mixed, Cjk };

/// A text of whole code points and at most `size` bytes; made once.
const std::string& getText(TextKind kind, std::size_t size);
/// The code points of such a text.
std::size_t getCodePoints(TextKind kind, std::size_t size);
std::size_t getMegabyte();

/// A text to search in, with the needle at its very end only.
struct Haystack {
    std::string text;
    std::string needle;
};

const Haystack& getRareHaystack();
const Haystack& getCommonHaystack(std::size_t size);
/// The text is one run of the byte that the needle begins with.
const Haystack& getRunHaystack();
/// The needle is in another case than at the end of the text.
const Haystack& getCaselessHaystack();

/// Lines in which a word is to be replaced once each 55 bytes, 19,000 times in 1 MB.
const std::string& getLines(std::size_t size);
extern const std::string kWord;
extern const std::string kLongerWord;
extern const std::string kOtherWord;
/// The lines with the word replaced, byte by byte.
std::string replaceWord(const std::string& lines, const std::string& by);

/// A text as of a data file, with a byte that needs an entity once in 20.
const std::string& getXmlText();

namespace impl {

template <typename Work>
void measure(benchmark::State& state, std::size_t bytes, const Work& work)
{
    for (auto _ : state) {
        auto result = work();
        keep(result);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

}  // namespace impl

/// For `bool isValid(const std::string&)`.
template <typename Contender>
class ValidateRows {
public:
    explicit ValidateRows(const char* name)
        : mCheck(name, answersRightly),
          mAscii("validate 1 MB, ASCII", name, large<TextKind::Ascii>),
          mMixed("validate 1 MB, mixed", name, large<TextKind::Mixed>),
          mCjk("validate 1 MB, CJK", name, large<TextKind::Cjk>),
          mShortAscii("validate 60 bytes, ASCII", name, sixty<TextKind::Ascii>),
          mShortMixed("validate 60 bytes, mixed", name, sixty<TextKind::Mixed>)
    {
    }

private:
    static bool answersRightly()
    {
        for (const TextKind kind : {TextKind::Ascii, TextKind::Mixed, TextKind::Cjk}) {
            const std::string& text = getText(kind, 1000);
            if (!Contender::isValid(text) || Contender::isValid(text + "\xc3")) return false;
        }
        return true;
    }
    static void validate(benchmark::State& state, const std::string& text)
    {
        impl::measure(state, text.size(), [&text] { return Contender::isValid(text); });
    }
    template <TextKind Kind>
    static void large(benchmark::State& state)
    {
        validate(state, getText(Kind, getMegabyte()));
    }
    template <TextKind Kind>
    static void sixty(benchmark::State& state)
    {
        validate(state, getText(Kind, 60));
    }

    Check mCheck;
    Case mAscii;
    Case mMixed;
    Case mCjk;
    Case mShortAscii;
    Case mShortMixed;
};

/// For `std::size_t count(const std::string&)`.
template <typename Contender>
class CountRows {
public:
    explicit CountRows(const char* name)
        : mCheck(name, answersRightly),
          mAscii("count 1 MB, ASCII", name, measure<TextKind::Ascii>),
          mMixed("count 1 MB, mixed", name, measure<TextKind::Mixed>),
          mCjk("count 1 MB, CJK", name, measure<TextKind::Cjk>)
    {
    }

private:
    static bool answersRightly()
    {
        for (const TextKind kind : {TextKind::Ascii, TextKind::Mixed, TextKind::Cjk}) {
            if (Contender::count(getText(kind, 1000)) != getCodePoints(kind, 1000)) return false;
        }
        return true;
    }
    template <TextKind Kind>
    static void measure(benchmark::State& state)
    {
        const std::string& text = getText(Kind, getMegabyte());
        impl::measure(state, text.size(), [&text] { return Contender::count(text); });
    }

    Check mCheck;
    Case mAscii;
    Case mMixed;
    Case mCjk;
};

/// For `std::size_t find(const std::string& text, const std::string& needle)`.
template <typename Contender>
class FindRows {
public:
    explicit FindRows(const char* name)
        : mCheck(name, answersRightly),
          mRare("find, rare first byte", name, rare),
          mCommon("find, common first byte", name, common<1>),
          mRun("find, long run of the first byte", name, run)
    {
    }

private:
    static bool answersRightly()
    {
        const Haystack& rareOne = getRareHaystack();
        return Contender::find(rareOne.text, rareOne.needle) ==
                   rareOne.text.size() - rareOne.needle.size() &&
               Contender::find("abcab", "ab") == 0;
    }
    static void find(benchmark::State& state, const Haystack& haystack)
    {
        impl::measure(state, haystack.text.size(),
                      [&] { return Contender::find(haystack.text, haystack.needle); });
    }
    static void rare(benchmark::State& state) { find(state, getRareHaystack()); }
    template <std::size_t Times>
    static void common(benchmark::State& state)
    {
        find(state, getCommonHaystack(Times * getMegabyte()));
    }
    static void run(benchmark::State& state) { find(state, getRunHaystack()); }

    Check mCheck;
    Case mRare;
    Case mCommon;
    Case mRun;
};

/// For `std::size_t findCaseless(const std::string& text, const std::string& needle)`.
template <typename Contender>
class FindCaselessRows {
public:
    explicit FindCaselessRows(const char* name)
        : mCheck(name, answersRightly), mCase("find without case", name, measure)
    {
    }

private:
    static bool answersRightly()
    {
        const Haystack& haystack = getCaselessHaystack();
        return Contender::findCaseless(haystack.text, haystack.needle) ==
               haystack.text.size() - haystack.needle.size();
    }
    static void measure(benchmark::State& state)
    {
        const Haystack& haystack = getCaselessHaystack();
        impl::measure(state, haystack.text.size(),
                      [&] { return Contender::findCaseless(haystack.text, haystack.needle); });
    }

    Check mCheck;
    Case mCase;
};

/// For a type `Text` with a constructor from `std::string`, and `void replace(Text&, const
/// std::string& from, const std::string& to)`. Every pass begins with a copy of the text, since the
/// work is done in place.
template <typename Contender>
class ReplaceRows {
public:
    explicit ReplaceRows(const char* name)
        : mCheck(name, answersRightly),
          mGrowing("replace, growing", name, growing),
          mSameSize("replace, same size", name, sameSize)
    {
    }

private:
    using Text = typename Contender::Text;

    static bool answersRightly()
    {
        for (const std::string& word : {kLongerWord, kOtherWord}) {
            Text text(getLines(1000));
            Contender::replace(text, kWord, word);
            if (!isSameText(std::string(text.data(), static_cast<std::size_t>(text.size())),
                            replaceWord(getLines(1000), word))) {
                return false;
            }
        }
        return true;
    }
    static void replace(benchmark::State& state, const std::string& by)
    {
        const Text lines(getLines(getMegabyte()));
        impl::measure(state, static_cast<std::size_t>(lines.size()), [&] {
            Text text(lines.data(), lines.size());
            Contender::replace(text, kWord, by);
            return text;
        });
    }
    static void growing(benchmark::State& state) { replace(state, kLongerWord); }
    static void sameSize(benchmark::State& state) { replace(state, kOtherWord); }

    Check mCheck;
    Case mGrowing;
    Case mSameSize;
};

/// For `std::size_t escape(const std::string&)`, which returns the size of what it made.
template <typename Contender>
class EscapeRows {
public:
    explicit EscapeRows(const char* name)
        : mCheck(name, answersRightly), mCase("escape XML", name, measure)
    {
    }

private:
    static bool answersRightly()
    {
        return Contender::escape("<a b=\"&\">") ==
               std::string("&lt;a b=&quot;&amp;&quot;&gt;").size();
    }
    static void measure(benchmark::State& state)
    {
        const std::string& text = getXmlText();
        impl::measure(state, text.size(), [&text] { return Contender::escape(text); });
    }

    Check mCheck;
    Case mCase;
};

}  // namespace bench
