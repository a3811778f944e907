// SPDX-License-Identifier: MIT
// Prints the text of error 5 where the system's words for it are the first argument.

#include <iostream>

#include <qz/SystemError.h>

namespace {

char* gWords = nullptr;

}  // namespace

extern "C" char* strerror(int /*code*/) noexcept
{
    return gWords;
}

int main(int /*argumentCount*/, char** arguments)
{
    gWords = arguments[1];
    std::cout << qz::SystemError(5).toString();
    return 0;
}
