#pragma once

#include <array>
#include <cstdint>

namespace qz::text {

/// 10^0 to 10^19, which are all that fit.
constexpr std::array<std::uint64_t, 20> kPowersOfTen = [] {
    std::array<std::uint64_t, 20> powers = {1};
    for (std::size_t i = 1; i < powers.size(); ++i)
        powers[i] = powers[i - 1] * 10;
    return powers;
}();

/// 10^0 to 10^22: those that a double holds exactly, and `pow` therefore gives exactly.
constexpr std::array<double, 23> kExactRealPowersOfTen = [] {
    std::array<double, 23> powers = {1};
    for (std::size_t i = 1; i < powers.size(); ++i)
        powers[i] = powers[i - 1] * 10;
    return powers;
}();

}  // namespace qz::text
