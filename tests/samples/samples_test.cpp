#include "engine/ZMemoryStream.h"
#include "engine/ZTreeListing.h"
#include "engine/openVolume.h"
#include "model/texts.h"
#include "platform/Drives.h"
#include "tests/support/Shell.h"
#include "tests/support/TempDir.h"
#include "workers/RecoveryWorker.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>

namespace kova::test {
namespace {

QString sha256(const QByteArray& bytes) {
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
}

/// One sample volume, attached, scanned and compared with what the manifest says of it.
class Samples : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        const QString folder = QStringLiteral(ORVANE_SOURCE_DIR "/samples/");
        QFile file(folder + QStringLiteral("manifest.json"));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const QJsonObject manifest = QJsonDocument::fromJson(file.readAll()).object();
        for (const QJsonValueConstRef volumeOf : manifest[QStringLiteral("volumes")].toArray()) {
            if (volumeOf[QStringLiteral("image")].toString() == QLatin1String(GetParam()))
                files = volumeOf[QStringLiteral("files")].toArray();
        }
        ASSERT_FALSE(files.isEmpty());

        const auto image = temporary / GetParam();
        ASSERT_EQ(runInShell("xz -dc '" ORVANE_SOURCE_DIR "/samples/" + std::string(GetParam()) +
                             ".xz' > " + forShell(image)),
                  0);
        const auto attached = platform::attachImage(image.wstring());
        ASSERT_EQ(attached.drives.size(), 1U);
        media = std::make_unique<ZCustomMedia>();
        ASSERT_TRUE(media->openDrive(attached.drives.front().letter));
        volume.reset(openVolume(media.get()));
        ASSERT_NE(volume, nullptr);
        volume->setScanOptions(ScanOptions::today());
        ASSERT_TRUE(volume->init());
        tree = std::make_unique<ZFileTree>();
        volume->scan(tree.get());
    }

    TempDir temporary;
    QJsonArray files;
    std::unique_ptr<ZCustomMedia> media;
    std::unique_ptr<ZVolume> volume;
    std::unique_ptr<ZFileTree> tree;
};

TEST_P(Samples, EveryFileIsFoundAndRecoveredAsTheManifestSays) {
    std::map<int64, QString> paths; // of files only
    const ZTreeListing listing(*tree);
    for (std::size_t i = 0; i < listing.entries().size(); ++i) {
        const ZFileTreeNode& node = *listing.entries()[i].node;
        if (!node.isDirectory)
            paths[node.id] = toQString(listing.path(i));
    }
    QSet<int64> ids;
    std::multiset<QString> expected; // hashes of contents
    std::size_t fails = 0;
    for (const QJsonValueConstRef value : files) {
        const QJsonObject file = value.toObject();
        const QString recovery = file[QStringLiteral("recovery")].toString();
        if (recovery == QLatin1String("not listed"))
            continue;
        const QString path = file[QStringLiteral("path")].toString();
        SCOPED_TRACE(path.toStdString());
        // On FAT the manifest has first clusters, which several entries may share.
        auto found = paths.find(file[QStringLiteral("id")].toInteger());
        if (found == paths.end() || found->second != path)
            found = std::find_if(paths.begin(), paths.end(),
                                 [&](const auto& entry) { return entry.second == path; });
        ASSERT_NE(found, paths.end());
        const int64 id = found->first;
        const ZFileTreeNode& node = *tree->find(id);
        EXPECT_EQ(node.size, file[QStringLiteral("size")].toInteger());
        ids.insert(id);
        ZMemoryStream content;
        const bool extracted = volume->extract(node, &content);
        EXPECT_EQ(extracted, recovery != QLatin1String("fails"));
        if (!extracted) {
            ++fails;
            continue;
        }
        const QString hash = file[QStringLiteral("recoveredSha256")].toString();
        EXPECT_EQ(sha256({reinterpret_cast<const char*>(content.bytes().data()),
                          static_cast<qsizetype>(content.bytes().size())}),
                  hash);
        // What other files have been written over comes out, and counts as incomplete.
        const bool isPartly = volume->assess(node).kind == FileState::Kind::Partly;
        EXPECT_LE(isPartly, recovery == QLatin1String("other content"));
        if (isPartly)
            ++fails;
        else
            expected.insert(hash);
        if (recovery == QLatin1String("full")) {
            EXPECT_EQ(hash, file[QStringLiteral("sha256")].toString());
        }
    }
    EXPECT_EQ(paths.size(), static_cast<std::size_t>(ids.size())) << "not in the manifest";

    RecoveryWorker worker;
    worker.setExistingFile(RecoveryWorker::ExistingFile::KeepBoth);
    std::size_t failed = 0;
    std::multiset<QString> written;
    QObject::connect(&worker, &RecoveryWorker::fileFinished, &worker,
                     [&](const QString& path, bool extracted) {
                         if (!extracted) {
                             ++failed;
                             return;
                         }
                         QFile file(path);
                         ASSERT_TRUE(file.open(QIODevice::ReadOnly));
                         written.insert(sha256(file.readAll()));
                     });
    const TempDir output;
    worker.init(QString::fromStdString(output.path().string()), volume.get(), tree.get(), ids);
    worker.start();
    EXPECT_EQ(failed, fails);
    EXPECT_EQ(written, expected);
}

INSTANTIATE_TEST_SUITE_P(Volumes, Samples, testing::Values("ntfs.img", "fat.img"),
                         [](const auto& parameter) {
                             return std::string(parameter.param).starts_with("ntfs") ? "Ntfs"
                                                                                     : "Fat";
                         });

} // namespace
} // namespace kova::test

int main(int count, char** arguments) {
    testing::InitGoogleTest(&count, arguments);
    const QCoreApplication application(count, arguments);
    return RUN_ALL_TESTS();
}
