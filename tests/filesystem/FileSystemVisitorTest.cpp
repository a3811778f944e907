// SPDX-License-Identifier: MIT
#include <qz/qzDirUtils.h>

#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "VisitorFixture.h"
#include "support/Files.h"

namespace qz {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using Visitor = qzDirUtils::FileSystemVisitor;
using Lines = std::vector<std::string>;

constexpr std::size_t kNever = ~std::size_t(0);

// --- The calls and their order

TEST_F(FileSystemVisitorTest, CallsBeforeAFolderWithinItAndAfterIt)
{
    makeFolder("a/b");
    write("a/b/file");
    const std::string a = mRoot + "/a";
    const std::string b = a + "/b";
    EXPECT_THAT(walk(mRoot),
                ElementsAre("enter " + mRoot, "folder " + mRoot + " | a", "enter " + a,
                            "folder " + a + " | b", "enter " + b, "file " + b + " | file",
                            "leave " + b, "leave " + a, "leave " + mRoot));
}

TEST_F(FileSystemVisitorTest, MeetsEntriesInTheOrderOfTheFolder)
{
    makeTree();
    EXPECT_EQ(walk(mRoot), walkPlainly(mRoot));
    EXPECT_EQ(walk(mRoot).size(), 4U + 3U + 6U + 4U);
}

TEST_F(FileSystemVisitorTest, StaysInTheFolderUnlessRecursive)
{
    makeTree();
    WalkRecorder recorder;
    EXPECT_TRUE(recorder.walk(mRoot, /*recursive=*/false));
    EXPECT_THAT(recorder.getLines(),
                UnorderedElementsAre("enter " + mRoot, "folder " + mRoot + " | a",
                                     "folder " + mRoot + " | c", "file " + mRoot + " | x",
                                     "file " + mRoot + " | y", "leave " + mRoot));
    EXPECT_EQ(recorder.getLines().back(), "leave " + mRoot);
}

TEST_F(FileSystemVisitorTest, MeetsNothingWhereNoFolderIs)
{
    write("file");
    for (const std::string& root : {getPath("missing"), mRoot + "/file", std::string(),
                                    mRoot + "/\xff", std::string(5000, 'x')})
        EXPECT_THAT(walk(root), IsEmpty()) << root;
}

TEST_F(FileSystemVisitorTest, HoldsItsOperationsInTheirSlots)
{
    WalkRecorder recorder;
    Visitor* const visitor = &recorder;
    using OneText = bool (*)(Visitor*, const std::string&);
    using TwoTexts = bool (*)(Visitor*, const std::string&, const std::string&);
    void** const slots = *reinterpret_cast<void***>(visitor);
    reinterpret_cast<OneText>(slots[2])(visitor, "f");  // after the two of the destructor
    reinterpret_cast<TwoTexts>(slots[3])(visitor, "f", "n");
    reinterpret_cast<TwoTexts>(slots[4])(visitor, "f", "n");
    reinterpret_cast<OneText>(slots[5])(visitor, "f");
    EXPECT_THAT(recorder.getLines(),
                ElementsAre("enter f", "file f | n", "folder f | n", "leave f"));
    EXPECT_TRUE(std::is_abstract_v<Visitor>);
    EXPECT_EQ(sizeof(Visitor),
              sizeof(void*) + 8 + sizeof(void*) + sizeof(Lines) + sizeof(std::string));
}

// Looks at the visitor's own fields, where nobody but their order leads to them.
class FieldReader : public WalkRecorder {
public:
    bool visitFile(const std::string& /*folder*/, const std::string& /*name*/) override
    {
        isRecursive = at<bool>(8);
        isCaseIgnored = at<bool>(9);
        filter = at<const Lines*>(16);
        if (filter != nullptr) extensions = *filter;
        isFilterOwn = filter == &at<Lines>(24);
        workName = at<std::string>(24 + sizeof(Lines));
        return true;
    }

    bool isRecursive = false;
    bool isCaseIgnored = false;
    const Lines* filter = nullptr;
    bool isFilterOwn = false;
    Lines extensions;
    std::string workName;

private:
    template <typename Field>
    const Field& at(std::size_t place) const
    {
        const Visitor* const visitor = this;
        return *reinterpret_cast<const Field*>(reinterpret_cast<const char*>(visitor) + place);
    }
};

TEST_F(FileSystemVisitorTest, KeepsItsFieldsInOrder)
{
    write("A.Txt");
    const Lines extensions = {"", "TXT", ".b"};
    FieldReader reader;
    EXPECT_TRUE(reader.visit(mRoot, false, &extensions, true, nullptr));
    EXPECT_FALSE(reader.isRecursive);
    EXPECT_TRUE(reader.isCaseIgnored);
    EXPECT_TRUE(reader.isFilterOwn);
    EXPECT_THAT(reader.extensions, ElementsAre(".txt", ".b"));
    EXPECT_EQ(reader.workName, "a.txt");
    EXPECT_TRUE(reader.visit(mRoot, true, nullptr, false, nullptr));
    EXPECT_TRUE(reader.isRecursive);
    EXPECT_FALSE(reader.isCaseIgnored);
    EXPECT_EQ(reader.filter, nullptr);
}

// --- Early ends

TEST_F(FileSystemVisitorTest, EndsAtEachCallThatReturnsFalse)
{
    makeTree();
    const Lines all = walk(mRoot);
    for (std::size_t stop = 1; stop <= all.size(); ++stop) {
        WalkRecorder recorder(stop);
        EXPECT_FALSE(recorder.walk(mRoot)) << stop;
        EXPECT_EQ(recorder.getLines(), Lines(all.begin(), all.begin() + static_cast<long>(stop)));
    }
}

TEST_F(FileSystemVisitorTest, ChecksTheCancellationBeforeEachEntry)
{
    makeTree();
    const CancelFrom never(kNever);
    WalkRecorder recorder;
    EXPECT_TRUE(recorder.visit(mRoot, true, nullptr, false, &never));
    EXPECT_EQ(never.getAsked(), kEntriesOfTree);
}

TEST_F(FileSystemVisitorTest, EndsAtEachCheckOfTheCancellationThatIsTrue)
{
    makeTree();
    for (std::size_t question = 1; question <= kEntriesOfTree; ++question) {
        const CancelFrom cancel(question);
        const CancelFrom plainCancel(question);
        WalkRecorder recorder;
        WalkRecorder plainRecorder;
        EXPECT_FALSE(recorder.visit(mRoot, true, nullptr, false, &cancel)) << question;
        EXPECT_FALSE(plain::Walk(plainRecorder, true, {}, false, &plainCancel).run(mRoot));
        EXPECT_EQ(recorder.getLines(), plainRecorder.getLines()) << question;
        EXPECT_EQ(cancel.getAsked(), question);
        EXPECT_THAT(recorder.getLines("leave " + mRoot + '\n'), IsEmpty());
    }
}

TEST_F(FileSystemVisitorTest, KeepsNoDescriptorAtAnyEnd)
{
    makeTree();
    const std::size_t openBefore = support::countOpenDescriptors();
    for (std::size_t stop = 0; stop <= 17; ++stop) {
        WalkRecorder recorder(stop);
        recorder.walk(mRoot);
        EXPECT_EQ(support::countOpenDescriptors(), openBefore) << stop;
    }
}

TEST_F(FileSystemVisitorTest, LetsAnExceptionOutAndIsReadyForTheNextWalk)
{
    makeTree();
    const std::size_t openBefore = support::countOpenDescriptors();
    WalkRecorder recorder;
    recorder.setReaction([this](const std::string& line) {
        if (line == "enter " + mRoot + "/a/b") throw std::runtime_error("enough");
    });
    const Lines extensions = {"none"};
    EXPECT_THROW(recorder.visit(mRoot, true, &extensions, false, nullptr), std::runtime_error);
    EXPECT_EQ(support::countOpenDescriptors(), openBefore);
    recorder.setReaction({});
    recorder.clear();
    EXPECT_TRUE(recorder.walk(mRoot));
    EXPECT_EQ(recorder.getLines(), walkPlainly(mRoot)) << "the filter is still there";
}

}  // namespace

}  // namespace qz
