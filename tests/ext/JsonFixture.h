// SPDX-License-Identifier: MIT
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

#include <qz/ext/Json.h>
#include <qz/qzVariant.h>

namespace qz::ext {

using Kind = JsonError::Kind;
using List = qzVariant::qzVariantListImpl;
using Map = qzVariant::qzVariantMapImpl;

inline constexpr double kThree[] = {1.0, 2.0, 3.0};
inline constexpr const char* kEndsTooEarly = "The text ends too early";

inline void PrintTo(Kind kind, std::ostream* stream)
{
    *stream << "kind " << static_cast<int>(kind);
}

/// The text of a value that can be written.
inline std::string write(const qzVariant& value, const JsonWriteOptions& options = {})
{
    std::string text;
    const JsonError error = writeJson(value, text, options);
    EXPECT_EQ(error.toString(), "");
    return text;
}

/// The value of a text that can be read.
inline qzVariant read(std::string_view text, const JsonReadOptions& options = {})
{
    JsonReadResult result = readJson(text, options);
    EXPECT_EQ(result.error.toString(), "") << text;
    return std::move(result.value);
}

inline std::string repeat(std::string_view text, std::size_t count)
{
    std::string repeated;
    for (; count != 0; --count)
        repeated += text;
    return repeated;
}

template <typename Row>
std::string getRowName(const ::testing::TestParamInfo<Row>& row)
{
    return row.param.name;
}

}  // namespace qz::ext
