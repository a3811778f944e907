#include <charconv>
#include <cstring>

#include <qz/qzSystemUtils.h>

#include "StandardFile.h"
#include "text/Characters.h"

namespace qz {

namespace {

constexpr int kLineSize = 128;

// Reads the number as C writes it, so that a leading 0 means octal and 0x hexadecimal.
unsigned long parseCNumber(const char* begin, const char* end)
{
    int base = 10;
    if (*begin == '0') {
        const bool hexadecimal = end - begin > 2 && (begin[1] == 'x' || begin[1] == 'X');
        base = hexadecimal ? 16 : 8;
        if (hexadecimal) begin += 2;
    }
    unsigned long value = 0;
    std::from_chars(begin, end, value, base);
    return value;
}

// A line such as "VmRSS:      5132 kB".
unsigned long parseKilobytes(const char* line)
{
    const char* const end = line + std::strlen(line);
    const char* number = line;
    while (number != end && !text::isDigit(*number))
        ++number;
    return number == end ? 0 : parseCNumber(number, end) * 1024;
}

}  // namespace

unsigned long qzSystemUtils::GetUsedRamQuantityInBytes(RamMetric metric)
{
    if (metric == RamReserved) return 0;
    const StandardFile status(std::fopen("/proc/self/status", "r"));
    if (status == nullptr) return 0;
    char line[kLineSize];
    while (std::fgets(line, sizeof line, status.get()) != nullptr) {
        if (std::strncmp(line, "VmRSS:", 6) == 0) return parseKilobytes(line);
    }
    return 0;
}

}  // namespace qz
