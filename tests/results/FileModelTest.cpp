#include "model/FileModel.h"
#include "model/NameDelegate.h"
#include "model/texts.h"

#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QImage>
#include <QLocale>

namespace {

using kova::int64;
using kova::ZFileTree;
using kova::ZFileTreeNode;

constexpr int64 kRoot = 5;
constexpr int64 kFileTimeOf1970 = 116444736000000000;

ZFileTreeNode node(int64 id, int64 parentId, std::wstring name, bool isDirectory = false) {
    ZFileTreeNode made;
    made.id = id;
    made.parentId = parentId;
    made.name = std::move(name);
    made.isDirectory = isDirectory;
    return made;
}

class FileModelTest : public testing::Test {
protected:
    FileModelTest() { tree.rootId = kRoot; }

    void addRoot() { tree.insert(node(kRoot, kova::kNoParent, L"", true)); }

    static QString textAt(const FileModel& model, int row, int column,
                          const QModelIndex& parent = {}) {
        return model.index(row, column, parent).data(Qt::DisplayRole).toString();
    }

    static QImage iconAt(const FileModel& model, int row) {
        return model.index(row, 0).data(Qt::DecorationRole).value<QPixmap>().toImage();
    }

    /// All rows from the top, counted up to `most`.
    static int countRows(const FileModel& model, int most, const QModelIndex& parent = {}) {
        int count = 0;
        for (int row = 0; row < model.rowCount(parent) && count < most; ++row)
            count += 1 + countRows(model, most - count - 1, model.index(row, 0, parent));
        return count;
    }

    ZFileTree tree;
};

TEST_F(FileModelTest, SaysWhatTheTreeHoldsInItsOrder) {
    addRoot();
    ZFileTreeNode folder = node(20, kRoot, L"Zoo", true);
    folder.modificationTime = kFileTimeOf1970;
    folder.size = 4096;
    ZFileTreeNode file = node(10, kRoot, L"a\u202E\nb.txt");
    file.size = 1536;
    tree.insert(folder);
    tree.insert(file);
    tree.insert(node(30, 20, L"inner"));
    tree.insert(node(31, 20, L"other"));
    FileModel model(&tree);
    const QAbstractItemModelTester tester(&model,
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);

    EXPECT_EQ(model.rowCount(), 2);
    EXPECT_EQ(textAt(model, 0, 0), QStringLiteral("Zoo"));
    EXPECT_EQ(textAt(model, 0, 1), QString());
    EXPECT_EQ(textAt(model, 0, 2), formatFileTime(kFileTimeOf1970));
    EXPECT_EQ(textAt(model, 1, 0), toQString(file.name));
    EXPECT_EQ(textAt(model, 1, 1), QStringLiteral("1.50 KB"));
    EXPECT_EQ(textAt(model, 1, 2), QString());

    const QModelIndex zoo = model.index(0, 0);
    const QModelIndex other = model.index(1, 1, zoo);
    EXPECT_EQ(model.nodeFromIndex(other), tree.find(31));
    EXPECT_EQ(model.parent(other), zoo);
    EXPECT_FALSE(model.parent(zoo).isValid());
    EXPECT_EQ(model.rowCount(model.index(0, 1)), 0);
    EXPECT_EQ(model.nodeFromIndex({}), tree.find(kRoot));
    EXPECT_EQ(model.flags(zoo), Qt::ItemIsSelectable | Qt::ItemIsEnabled);

    EXPECT_EQ(model.headerData(1, Qt::Horizontal, Qt::DisplayRole), QStringLiteral("Size"));
    EXPECT_FALSE(model.headerData(3, Qt::Horizontal, Qt::DisplayRole).isValid());
    EXPECT_FALSE(model.headerData(0, Qt::Vertical, Qt::DisplayRole).isValid());

    const NameDelegate delegate;
    EXPECT_EQ(delegate.displayText(model.index(1, 0).data(), QLocale()),
              QStringLiteral("a\uFFFD\uFFFDb.txt"));
}

TEST_F(FileModelTest, RemovedIconsAreTheLiveOnesAtHalfOpacity) {
    addRoot();
    for (const auto& [id, name, isDirectory, exists] :
         std::initializer_list<std::tuple<int64, const wchar_t*, bool, bool>>{
             {10, L"folder", true, true},
             {11, L"gone folder", true, false},
             {12, L"b.jpg", false, true},
             {13, L"a.jpg", false, false},
             {14, L"c.jpg", false, false},
             {15, L"none", false, true}}) {
        ZFileTreeNode made = node(id, kRoot, name, isDirectory);
        made.exists = exists;
        tree.insert(made);
    }
    tree.insert(node(kova::kLostFolder, kRoot, L"Files with unknown path", true));
    const FileModel model(&tree);

    const auto expectHalf = [](const QImage& live, const QImage& removed) {
        ASSERT_FALSE(live.isNull());
        ASSERT_EQ(live.size(), removed.size());
        int opaque = 0;
        for (int y = 0; y < live.height(); ++y) {
            for (int x = 0; x < live.width(); ++x) {
                const QColor before = live.pixelColor(x, y);
                const QColor after = removed.pixelColor(x, y);
                EXPECT_NEAR(after.alpha(), before.alpha() * (128.0 / 255), 1);
                if (before.alpha() < 255)
                    continue;
                ++opaque;
                EXPECT_NEAR(after.red(), before.red(), 2);
                EXPECT_NEAR(after.green(), before.green(), 2);
                EXPECT_NEAR(after.blue(), before.blue(), 2);
            }
        }
        EXPECT_GT(opaque, 0);
    };
    expectHalf(iconAt(model, 0), iconAt(model, 1));
    expectHalf(iconAt(model, 2), iconAt(model, 3));
    EXPECT_FALSE(iconAt(model, 5).isNull());
    EXPECT_FALSE(model.index(0, 1).data(Qt::DecorationRole).isValid());

    const auto keyAt = [&](int row) {
        return model.index(row, 0).data(Qt::DecorationRole).value<QPixmap>().cacheKey();
    };
    EXPECT_EQ(keyAt(3), keyAt(4));
    EXPECT_NE(keyAt(2), keyAt(3));

    const QImage lost = iconAt(model, 6);
    ASSERT_FALSE(lost.isNull());
    EXPECT_EQ(lost, QPixmap(QStringLiteral(":/icons/16/lostFolder")).toImage());
}

TEST_F(FileModelTest, WithoutARootNodeThereAreNoRows) {
    tree.insert(node(20, kRoot, L"folder", true));
    const FileModel model(&tree);
    EXPECT_EQ(model.rowCount(), 0);
    EXPECT_FALSE(model.index(0, 0).isValid());
    EXPECT_EQ(model.nodeFromIndex({}), nullptr);
}

TEST_F(FileModelTest, TreesThatReferToThemselvesHaveAnEnd) {
    const auto expectRows = [this](int rows) {
        FileModel model(&tree);
        const QAbstractItemModelTester tester(
            &model, QAbstractItemModelTester::FailureReportingMode::Fatal);
        EXPECT_EQ(countRows(model, 100), rows);
    };
    addRoot();
    tree.insert(node(20, kRoot, L"folder", true));
    tree.insert(node(21, 20, L"inner", true));
    tree.insert(node(22, 21, L"file"));
    tree.insert(node(23, 22, L"below a file"));
    expectRows(4);

    // An empty file two folders down stands in the root's place.
    tree.insert(node(kRoot, 21, L"empty"));
    ASSERT_FALSE(tree.find(kRoot)->isDirectory);
    expectRows(5);

    // A folder does.
    tree.insert(node(kRoot, 20, L"root again", true));
    expectRows(5);

    // What holds itself, and a circle: no path leads there.
    tree.insert(node(kRoot, kRoot, L"own parent", true));
    tree.insert(node(30, 30, L"own parent", true));
    tree.insert(node(31, 32, L"circle", true));
    tree.insert(node(32, 31, L"circle", true));
    expectRows(4);

    // The lost folder holding what stands in the root's place.
    tree.insert(node(kRoot, kova::kLostFolder, L"empty"));
    tree.insert(node(kova::kLostFolder, kRoot, L"Files with unknown path", true));
    expectRows(6);
}

} // namespace
