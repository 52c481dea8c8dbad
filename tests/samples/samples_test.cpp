#include "engine/ZMemoryStream.h"
#include "engine/ZTreeListing.h"
#include "engine/openVolume.h"
#include "model/texts.h"
#include "platform/Drives.h"
#include "platform/WideText.h"
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

#include <cstdlib>
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

        const std::string image = (temporary / GetParam()).string();
        const std::string unpack =
            "xz -dc '" ORVANE_SOURCE_DIR "/samples/" + std::string(GetParam()) + ".xz' > " + image;
        ASSERT_EQ(std::system(unpack.c_str()), 0); // NOLINT(cert-env33-c): a test's own words
        const auto attached = platform::attachImage(platform::wideFromUtf8(image));
        ASSERT_EQ(attached.drives.size(), 1U);
        letter = attached.drives.front().letter;
    }

    void scan(const ScanOptions& options) {
        media = std::make_unique<ZCustomMedia>();
        ASSERT_TRUE(media->openDrive(letter));
        volume.reset(openVolume(media.get()));
        ASSERT_NE(volume, nullptr);
        volume->setScanOptions(options);
        ASSERT_TRUE(volume->init());
        tree = std::make_unique<ZFileTree>();
        volume->scan(tree.get());
    }

    /// Paths by id, of files only.
    [[nodiscard]] std::map<int64, QString> found() const {
        std::map<int64, QString> paths;
        const ZTreeListing listing(*tree);
        for (std::size_t i = 0; i < listing.entries().size(); ++i) {
            const ZFileTreeNode& node = *listing.entries()[i].node;
            if (!node.isDirectory)
                paths[node.id] = toQString(listing.path(i));
        }
        return paths;
    }

    /// What the manifest says can be found under `options`.
    [[nodiscard]] std::map<int64, QJsonObject> expected(bool posixNames) const {
        std::map<int64, QJsonObject> byId;
        for (const QJsonValueConstRef file : files) {
            const QJsonObject object = file.toObject();
            const bool listed = object[QStringLiteral("recovery")] != QLatin1String("not listed");
            const bool posix = object[QStringLiteral("nameSpace")] == QLatin1String("posix");
            if (listed && (posixNames || !posix))
                byId[object[QStringLiteral("id")].toInteger()] = object;
        }
        return byId;
    }

    TempDir temporary;
    QJsonArray files;
    char letter = 0;
    std::unique_ptr<ZCustomMedia> media;
    std::unique_ptr<ZVolume> volume;
    std::unique_ptr<ZFileTree> tree;
};

TEST_P(Samples, EveryFileIsFoundAndExtractedAsTheManifestSays) {
    scan(ScanOptions::today());
    const auto paths = found();
    const auto wanted = expected(true);
    for (const auto& [id, path] : paths)
        EXPECT_TRUE(wanted.contains(id)) << "not in the manifest: " << path.toStdString();
    for (const auto& [id, file] : wanted) {
        const QString path = file[QStringLiteral("path")].toString();
        SCOPED_TRACE(path.toStdString());
        ASSERT_TRUE(paths.contains(id));
        EXPECT_EQ(paths.at(id), path);
        const ZFileTreeNode* node = tree->find(id);
        EXPECT_EQ(node->size, file[QStringLiteral("size")].toInteger());

        ZMemoryStream content;
        const bool extracted = volume->extract(*node, &content);
        const bool fails = file[QStringLiteral("recovery")] == QLatin1String("fails");
        EXPECT_EQ(extracted, !fails);
        if (fails)
            continue;
        const QByteArray bytes(reinterpret_cast<const char*>(content.bytes().data()),
                               static_cast<qsizetype>(content.bytes().size()));
        EXPECT_EQ(bytes.size(), file[QStringLiteral("recoveredSize")].toInteger());
        EXPECT_EQ(sha256(bytes), file[QStringLiteral("recoveredSha256")].toString());
        if (file[QStringLiteral("recovery")] == QLatin1String("full")) {
            EXPECT_EQ(sha256(bytes), file[QStringLiteral("sha256")].toString());
        }
    }
}

TEST_P(Samples, ClassicRulesFindNoPosixNames) {
    scan({});
    const auto paths = found();
    for (const auto& [id, file] : expected(false)) {
        // An unset date hides a file, too.
        bool unset = false;
        for (const QJsonValueConstRef kind : file[QStringLiteral("kinds")].toArray())
            unset = unset || kind.toString().contains(QLatin1String("unset"));
        EXPECT_EQ(paths.contains(id), !unset)
            << file[QStringLiteral("path")].toString().toStdString();
    }
    for (const auto& [id, file] : expected(true)) {
        if (file[QStringLiteral("nameSpace")] == QLatin1String("posix")) {
            EXPECT_FALSE(paths.contains(id));
        }
    }
}

TEST_P(Samples, RecoveryWritesEveryFile) {
    scan(ScanOptions::today());
    TempDir output;
    QSet<int64> ids;
    for (const auto& [id, path] : found())
        ids.insert(id);
    RecoveryWorker worker;
    worker.setExistingFile(RecoveryWorker::ExistingFile::KeepBoth);
    std::multiset<QString> failed;
    std::multiset<QString> written;
    QObject::connect(&worker, &RecoveryWorker::fileFinished, &worker,
                     [&](const QString& path, bool extracted) {
                         if (!extracted) {
                             failed.insert(path);
                             return;
                         }
                         QFile file(path);
                         ASSERT_TRUE(file.open(QIODevice::ReadOnly));
                         written.insert(sha256(file.readAll()));
                     });
    worker.init(QString::fromStdString(output.path().string()), volume.get(), tree.get(), ids);
    worker.start();

    std::multiset<QString> wanted;
    std::size_t fails = 0;
    for (const auto& [id, file] : expected(true)) {
        if (file[QStringLiteral("recovery")] == QLatin1String("fails"))
            ++fails;
        else
            wanted.insert(file[QStringLiteral("recoveredSha256")].toString());
    }
    EXPECT_EQ(failed.size(), fails);
    EXPECT_EQ(written, wanted);
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
