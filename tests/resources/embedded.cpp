// SPDX-License-Identifier: MIT
// Looks its own resources up, and those of a module that comes and goes. embedded MODULE

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include <dlfcn.h>

#include <qz/qzLog.h>
#include <qz/qzResources.h>
#include <qz/qzSystem.h>

namespace {

int sFailures = 0;

void expect(bool holds, const char* what)
{
    if (holds) return;
    std::printf("not so: %s\n", what);
    ++sFailures;
}

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string getDigest(const char* name)
{
    std::string digest;
    qz::rc::GetResourceSha256Hex(name, digest);
    return digest;
}

void expectOwnResources()
{
    std::string bytes;
    expect(qz::rc::GetResource("own/data/bytes.bin", bytes), "the binary file is there");
    expect(bytes == readFile(QZ_TEST_DATA "/bytes.bin"), "it is what the file holds");
    expect(getDigest("own/data/bytes.bin") == QZ_TEST_BYTES_DIGEST, "it has the file's digest");

    const char* data = nullptr;
    unsigned long size = 1;
    expect(qz::rc::GetResource("own/data/empty.txt", data, size), "the empty file is there");
    expect(data != nullptr && size == 0, "it is empty");
    expect(getDigest("own/data/empty.txt") ==
               "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855",
           "it has the digest of nothing");

    std::string text;
    expect(qz::rc::GetResource("own/data/a name with \"quotes\".txt", text) && text == "text\n",
           "a name may have quotes");
}

bool hasModuleResource()
{
    std::string text;
    return qz::rc::GetResource("data/empty.txt", text);
}

void loadAndUnload(const char* path)
{
    expect(!hasModuleResource(), "the module isn't loaded");
    void* const module = ::dlopen(path, RTLD_NOW);
    expect(module != nullptr, "the module can be loaded");
    if (module == nullptr) return;
    expect(hasModuleResource(), "loading registers");
    ::dlclose(module);
    expect(!hasModuleResource(), "unloading takes the name back");
}

}  // namespace

int main(int /*argumentCount*/, char** arguments)
{
    for (const qz::InitType type : {qz::LightInit, qz::FullInit}) {
        qz::initializeQzSystem(type, /*probeMainDisk=*/false);
        qz::qzLog::msInstance->setEchoToConsole(false);
        expectOwnResources();
        loadAndUnload(arguments[1]);
        qz::terminateQzSystem();
    }
    return sFailures == 0 ? 0 : 1;
}
