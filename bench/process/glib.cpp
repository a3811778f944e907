// SPDX-License-Identifier: MIT
#include <glib.h>

#include "parents.h"

namespace bench {

namespace {

bool spawn(const Command& command, char** output, gsize flags)
{
    std::vector<char*> arguments;
    for (const std::string& text : command)
        arguments.push_back(const_cast<char*>(text.c_str()));
    arguments.push_back(nullptr);
    int status = -1;
    return g_spawn_sync(nullptr, arguments.data(), nullptr, static_cast<GSpawnFlags>(flags),
                        nullptr, nullptr, output, nullptr, &status, nullptr) != 0 &&
           status == 0;
}

bool run(const Command& command)
{
    return spawn(command, nullptr, G_SPAWN_DEFAULT);
}

// The output is a text with a zero byte at its end for GLib, which does not report its size.
std::string capture(const Command& command)
{
    char* output = nullptr;
    const bool isGood = spawn(command, &output, G_SPAWN_DEFAULT);
    std::string result = isGood ? std::string(output, kWrittenBytes) : std::string();
    g_free(output);
    return result;
}

const Peer<run, capture> kGlib("GLib");

}  // namespace

}  // namespace bench
