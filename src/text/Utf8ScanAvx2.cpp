#include "Utf8Levels.h"

#include "Utf8Blocks.h"

std::size_t qz::text::countUtf8Avx2(const char* begin, const char* end)
{
    return countUtf8ByBlocks<Vector32>(begin, end);
}
