// SPDX-License-Identifier: MIT
#pragma once

#include <iconv.h>

#include <map>
#include <string>
#include <utility>

namespace qz {

/// The conversions of `qzStringUtils` in their plain form: one call of the system's converter with
/// just the input and room that callers know the library to give it.
class PlainCharset {
public:
    /// @param localSet the system's name of the local character set.
    explicit PlainCharset(std::string localSet);
    ~PlainCharset();
    PlainCharset(const PlainCharset&) = delete;
    PlainCharset& operator=(const PlainCharset&) = delete;

    std::string convertCharset(const std::string& text, int from, int to);
    std::string convertTo8Bits(const std::wstring& text, int to);
    std::wstring convertToUnicode(const std::string& text, int from);

private:
    iconv_t getDescriptor(const std::string& to, const std::string& from);
    std::string getName(int set) const;

    std::string mLocalSet;
    std::map<std::pair<std::string, std::string>, iconv_t> mDescriptors;
};

}  // namespace qz
