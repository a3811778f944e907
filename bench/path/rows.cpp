// SPDX-License-Identifier: MIT
#include "rows.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace bench {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kPathCount = 1000;

// Of what ends in a number, as volumes do, each library takes another part for the extension.
bool endsInNumber(const std::string& path)
{
    return path.find_first_not_of("0123456789", path.rfind('.') + 1) == std::string::npos;
}

std::vector<std::string> collectFiles()
{
    std::vector<std::string> files;
    const auto options = fs::directory_options::skip_permission_denied;
    for (const char* folder : {"/include", "/share"}) {
        for (const auto& entry : fs::recursive_directory_iterator(kRoot + folder, options)) {
            if (entry.is_regular_file() && !endsInNumber(entry.path()))
                files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

// The same number of files from all over the folders.
std::vector<std::string> chooseFiles()
{
    const std::vector<std::string> files = collectFiles();
    const std::size_t count = sized(kPathCount, 30);
    if (files.size() < count) throw std::runtime_error("Not enough files below " + kRoot);
    std::vector<std::string> chosen;
    for (std::size_t i = 0; i != count; ++i)
        chosen.push_back(files[i * files.size() / count]);
    return chosen;
}

// Most paths of programs are simple; what is not has one flaw as a rule.
std::string roughen(const std::string& path, std::size_t number)
{
    if (number % 3 != 0) return path;
    static const char* const kFlaws[] = {"/", "/.", "/include/.."};
    const std::string flaw = kFlaws[number / 3 % 3];
    const std::size_t place = flaw.size() > 2 ? kRoot.size() : path.rfind('/');
    return std::string(path).insert(place, flaw);
}

std::string resolve(const std::string& path)
{
    return fs::weakly_canonical(path);
}

std::string getExtension(const std::string& fileName)
{
    const std::string extension = fs::path(fileName).extension();
    return extension.empty() ? extension : extension.substr(1);
}

PathForms makeForms(const std::string& file, std::size_t number)
{
    PathForms forms;
    forms.simple = file;
    forms.path = roughen(file, number);
    forms.fileName = file.substr(file.rfind('/') + 1);
    forms.folder = file.substr(0, file.rfind('/'));
    forms.extension = getExtension(forms.fileName);
    forms.relative = forms.path.substr(kRoot.size() + 1);
    forms.missing = forms.relative;
    if (number % 2 == 0) forms.missing = fs::path(forms.relative).parent_path() / "new" / "file";
    forms.resolved = resolve(kRoot + '/' + forms.missing);
    return forms;
}

}  // namespace

const std::string kRoot = "/usr";

const std::vector<PathForms>& getPathForms()
{
    static const std::vector<PathForms> all = [] {
        std::vector<PathForms> forms;
        for (const std::string& file : chooseFiles())
            forms.push_back(makeForms(file, forms.size()));
        return forms;
    }();
    return all;
}

void ResolveRow::prepare()
{
    fs::current_path(kRoot);
}

}  // namespace bench
