// SPDX-License-Identifier: MIT
#include "ThreadContent.h"

#include <cstring>
#include <memory>
#include <utility>

#include <langinfo.h>
#include <locale.h>

#include "Utf8Scan.h"

namespace qz::text {

namespace {

const char* const kIgnore = "//TRANSLIT//IGNORE";
const char* const kWide = "WCHAR_T";

struct FreeLocale {
    void operator()(__locale_struct* locale) const { ::freelocale(locale); }
};
using OwnLocale = std::unique_ptr<__locale_struct, FreeLocale>;

// The data of a locale stay in memory as long as one object uses them. Without this one, the
// system would read its 13 files again for each thread, which takes 400 us. The caller holds the
// lock of the contents.
void keepInMemory(OwnLocale locale)
{
    static __locale_struct* kept = nullptr;  // never freed: threads may outlive static objects
    const OwnLocale previous(std::exchange(kept, locale.release()));
}

// The character set that `nl_langinfo` would return after `setlocale(LC_ALL, "")`. A locale object
// gives the same answer without a change of the process's locale, which other threads would see.
// For a thread with a locale of its own it is the set of that locale. If the environment names an
// unknown locale, it is the set of the process's locale.
std::string nameOfLocalSet()
{
    if (::uselocale(nullptr) != LC_GLOBAL_LOCALE) return ::nl_langinfo(CODESET);
    OwnLocale environment(::newlocale(LC_ALL_MASK, "", nullptr));
    if (environment == nullptr) return ::nl_langinfo(CODESET);
    std::string name = ::nl_langinfo_l(CODESET, environment.get());
    keepInMemory(std::move(environment));
    return name;
}

// If the text of all 128 ASCII characters is not changed, no ASCII text is.
bool keepsAscii(const Converter& converter)
{
    char ascii[128];
    for (int i = 0; i < 128; ++i) {
        ascii[i] = static_cast<char>(i);
    }
    char output[2 * sizeof ascii];
    std::size_t written = 0;
    return converter.convert(ascii, sizeof ascii, output, sizeof output, written) &&
           written == sizeof ascii && std::memcmp(ascii, output, sizeof ascii) == 0;
}

}  // namespace

Converter::Converter(const std::string& to, const std::string& from)
    : mDescriptor(::iconv_open((to + kIgnore).c_str(), from.c_str()))
{
}

Converter::~Converter()
{
    if (isOpen()) ::iconv_close(mDescriptor);
}

bool Converter::convert(const char* input, std::size_t inputSize, char* output,
                        std::size_t outputSize, std::size_t& written) const
{
    char* in = const_cast<char*>(input);  // iconv's signature is older than const
    std::size_t left = outputSize;
    const bool done = ::iconv(mDescriptor, &in, &inputSize, &output, &left) != std::size_t(-1);
    written = outputSize - left;
    return done;
}

bool ByteConverter::keeps(const std::string& text) const
{
    // The system's converter changes some ill-formed texts, so only well-formed ones may skip it.
    return keepsAscii && (keepsUtf8 ? isUtf8(text) : isAscii(text));
}

bool ByteConverter::tryLatin1(const std::string& text, std::string& result) const
{
    if (!isLatin1) return false;
    result.resize(text.size());
    char* out = result.data();
    const char* const end = text.data() + text.size();
    for (const char* in = text.data(); in != end; ++in, ++out) {
        const auto byte = static_cast<unsigned char>(*in);
        *out = static_cast<char>(byte);
        if (byte < 0x80) continue;
        // U+0080 to U+00FF are two bytes each, and the first of them has their two high bits.
        if ((byte != 0xC2 && byte != 0xC3) || ++in == end || (*in & 0xC0) != 0x80) return false;
        *out = static_cast<char>((byte & 3U) << 6U | (static_cast<unsigned>(*in) & 0x3FU));
    }
    result.resize(static_cast<std::size_t>(out - result.data()));
    return true;
}

ThreadContent::ThreadContent(ThreadContent*& ownerVariable) : owner(&ownerVariable)
{
    const std::string names[kSetCount] = {nameOfLocalSet(), "UTF-8", "US-ASCII"};
    for (int set = 0; set < kSetCount; ++set) {
        mToWide[set] = Converter(kWide, names[set]);
    }
    for (int set = 0; set < kSetCount; ++set) {
        mFromWide[set] = Converter(names[set], kWide);
    }
    for (int from = 0; from < kSetCount; ++from) {
        for (int to = 0; to < kSetCount; ++to) {
            if (from == to) continue;
            ByteConverter& between = mBetween[from][to];
            between.converter = Converter(names[to], names[from]);
            between.keepsAscii = between.converter.isOpen() && keepsAscii(between.converter);
            between.isLatin1 = names[from] == "UTF-8" && names[to] == "ISO-8859-1";
            between.keepsUtf8 = names[from] == "UTF-8" && names[to] == "UTF-8";
        }
    }
}

const Converter* ThreadContent::getFromWide(int to) const
{
    if (to < 0 || to >= kSetCount) return nullptr;
    return mFromWide[to].isOpen() ? &mFromWide[to] : nullptr;
}

}  // namespace qz::text
