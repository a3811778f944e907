// SPDX-License-Identifier: MIT
#include "rows.h"

#include <cmath>
#include <cstdio>
#include <random>

namespace bench {

namespace {

template <typename Number, typename Make>
std::vector<Number> make(const Make& makeNumber)
{
    std::mt19937_64 random(42);
    std::vector<Number> numbers(kNumberCount);
    for (Number& number : numbers)
        number = static_cast<Number>(makeNumber(random));
    return numbers;
}

// Between two powers of ten, all orders of magnitude alike.
double pickMagnitude(std::mt19937_64& random, double least, double most)
{
    return std::pow(10.0, std::uniform_real_distribution<>(least, most)(random));
}

template <typename Number>
std::string print(const char* format, Number number)
{
    char text[400];
    std::snprintf(text, sizeof text, format, number);
    return text;
}

}  // namespace

const std::vector<int>& PaddedRow::getNumbers()
{
    static const auto numbers = make<int>([](auto& random) { return pickMagnitude(random, 0, 8); });
    return numbers;
}

std::string PaddedRow::getExpected(int number)
{
    return print("%08d", number);
}

const std::vector<unsigned long>& SeparatorRow::getNumbers()
{
    static const auto numbers = make<unsigned long>(
        [](auto& random) { return 100'000'000'000UL + random() % 900'000'000'000UL; });
    return numbers;
}

std::string SeparatorRow::getExpected(unsigned long number)
{
    std::string text = std::to_string(number);
    for (std::size_t at = text.size(); at > 3;)
        text.insert(at -= 3, 1, ',');
    return text;
}

const std::vector<unsigned long>& SizeRow::getNumbers()
{
    static const auto numbers =
        make<unsigned long>([](auto& random) { return pickMagnitude(random, 0, 14); });
    return numbers;
}

const std::vector<double>& DecimalsRow::getNumbers()
{
    static const auto numbers = make<double>(
        [](auto& random) { return pickMagnitude(random, -2, 6) * (random() % 4 == 0 ? -1 : 1); });
    return numbers;
}

std::string DecimalsRow::getExpected(double number)
{
    return print("%.2f", number);
}

const std::vector<long>& DurationRow::getNumbers()
{
    static const auto numbers =
        make<long>([](auto& random) { return pickMagnitude(random, 0, 9.5); });
    return numbers;
}

const std::vector<double>& RealRow::getNumbers()
{
    static const auto numbers =
        make<double>([](auto& random) { return pickMagnitude(random, -6, 9); });
    return numbers;
}

std::string RealRow::getExpected(double number)
{
    return print("%g", number);
}

}  // namespace bench
