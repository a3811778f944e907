#include <qz/qzDirUtils.h>

#include "PathText.h"

namespace qz {

namespace {

// Collects names, each kind where there is a vector for it.
class GlobFileAndFolderFunctor : public qzDirUtils::FileSystemVisitor {
public:
    GlobFileAndFolderFunctor(std::vector<std::string>* folders, std::vector<std::string>* files,
                             bool fullPath)
        : mFolders(folders), mFiles(files), mFullPath(fullPath)
    {
    }

    bool enterFolder(const std::string& /*folder*/) override { return true; }
    bool visitFile(const std::string& folder, const std::string& name) override
    {
        return add(mFiles, folder, name);
    }
    bool visitFolder(const std::string& folder, const std::string& name) override
    {
        return add(mFolders, folder, name);
    }
    bool leaveFolder(const std::string& /*folder*/) override { return true; }

private:
    bool add(std::vector<std::string>* names, const std::string& folder,
             const std::string& name) const
    {
        if (names == nullptr) return true;
        if (!mFullPath) {
            names->push_back(name);
            return true;
        }
        const filesystem::PathJoint joint(folder, name);
        joint.write(names->emplace_back(joint.size(), '/'));
        return true;
    }

    std::vector<std::string>* mFolders;
    std::vector<std::string>* mFiles;
    bool mFullPath;
};

}  // namespace

void qzDirUtils::GlobFileAndFolderUtf8(const std::string& root, std::vector<std::string>* folders,
                                       std::vector<std::string>* files,
                                       const std::vector<std::string>* extensions, int flags)
{
    if ((flags & GlobAppend) == 0) {
        if (folders != nullptr) folders->clear();
        if (files != nullptr) files->clear();
    }
    GlobFileAndFolderFunctor functor(folders, files, (flags & GlobBareNames) == 0);
    functor.visit(root, (flags & GlobRecursive) != 0, extensions, (flags & GlobIgnoreCase) != 0,
                  nullptr);
}

}  // namespace qz
