// SPDX-License-Identifier: MIT
#include <cstring>
#include <string_view>

#include "rows.h"

namespace bench {

namespace {

/// The standard library of C++.
struct Std {
    using Text = std::string;

    static std::size_t find(const std::string& text, const std::string& needle)
    {
        return std::string_view(text).find(needle);
    }
    static void replace(Text& text, const std::string& from, const std::string& to)
    {
        for (std::size_t place = text.find(from); place != std::string::npos;
             place = text.find(from, place + to.size())) {
            text.replace(place, from.size(), to);
        }
    }
};

/// That of C, with the extensions of glibc.
struct Glibc {
    static std::size_t find(const std::string& text, const std::string& needle)
    {
        return getPlace(text, ::memmem(text.data(), text.size(), needle.data(), needle.size()));
    }
    static std::size_t findCaseless(const std::string& text, const std::string& needle)
    {
        return getPlace(text, ::strcasestr(text.c_str(), needle.c_str()));
    }

private:
    static std::size_t getPlace(const std::string& text, const void* found)
    {
        if (found == nullptr) return std::string::npos;
        return static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
    }
};

const FindRows<Std> kFind("std");
const ReplaceRows<Std> kReplace("std");
const FindRows<Glibc> kFindGlibc("glibc");
const FindCaselessRows<Glibc> kFindCaseless("glibc");

}  // namespace

}  // namespace bench
