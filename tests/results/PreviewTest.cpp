#include "tests/results/ResultPage.h"

#include "tests/support/TestMedia.h"

#include <QAction>
#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QSlider>
#include <QSplitter>
#include <QTextEdit>
#include <QToolButton>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include <unistd.h>

namespace {

using kova::ZFileTree;
using kova::ZFileTreeNode;

constexpr kova::int64 kRoot = 5;
constexpr int kMostPreviewedBytes = 20971520;

/// A drive whose files are made up, in a flat folder.
class MadeUpVolume : public kova::ZVolume {
public:
    struct File {
        QByteArray content;
        bool extracted = true;
        bool throws = false;
    };

    MadeUpVolume() : ZVolume(new kova::test::TestMedia) { media()->open(L"\\\\.\\Q:"); }

    bool init() override { return true; }

    void scan(ZFileTree* tree) override {
        ZFileTreeNode node;
        node.id = tree->rootId = kRoot;
        node.parentId = kova::kNoParent;
        node.isDirectory = true;
        tree->insert(node);
        node.parentId = kRoot;
        node.id = kFolder;
        node.name = L"folder";
        tree->insert(node);
        node.isDirectory = false;
        for (const auto& [name, file] : files) {
            ++node.id;
            node.name = name.toStdWString();
            node.size = file.content.size();
            tree->insert(node);
        }
    }

    bool extract(const ZFileTreeNode& node, kova::ZStream* out) override {
        ++extractions;
        const File& file = files.at(QString::fromStdWString(node.name));
        if (file.throws)
            throw 0;
        out->write(file.content.data(), static_cast<kova::uint32>(file.content.size()));
        return file.extracted;
    }

    std::map<QString, File> files;
    int extractions = 0;

private:
    static constexpr kova::int64 kFolder = 10;
};

QByteArray encoded(const QImage& image, const char* format) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    EXPECT_TRUE(image.save(&buffer, format));
    return bytes;
}

QImage colours(int width, int height) {
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            image.setPixel(x, y, qRgb(x * 255 / width, y * 255 / height, 128));
    }
    return image;
}

/// The process that this one has started and not yet waited for; 0 when there is none.
pid_t childOfThis() {
    QFile children(QStringLiteral("/proc/self/task/%1/children").arg(getpid()));
    return children.open(QIODevice::ReadOnly) ? children.readAll().trimmed().toInt() : 0;
}

class PreviewTest : public ResultPage {
protected:
    void open(std::map<QString, MadeUpVolume::File> files) {
        volume = new MadeUpVolume;
        volume->files = std::move(files);
        auto* tree = new ZFileTree;
        volume->scan(tree);
        page->init(volume, tree);
    }

    void clickName(const QString& name) { click(rowNamed(name)); }

    /// What the pane says instead of a preview; the name of its page when it says nothing.
    QString message() {
        return shownPreview() == QLatin1String("pageNoPreview") ? label("whyNoPreview")
                                                                : shownPreview();
    }

    void force(const char* kind) {
        for (QAction* action : page->findChildren<QAction*>()) {
            if (action->text() == QLatin1String(kind))
                action->trigger();
        }
    }

    QString text() { return child<QTextEdit>("textPreview")->toPlainText(); }

    QSize pictureSize() { return child<QLabel>("imagePreview")->pixmap(Qt::ReturnByValue).size(); }

    MadeUpVolume* volume = nullptr; ///< Belongs to the page.
};

TEST_F(PreviewTest, SaysWhyThereIsNone) {
    page->resize(900, 480);
    open({{"big.txt", {QByteArray(kMostPreviewedBytes + 1, 'x')}},
          {"limit.txt", {QByteArray(kMostPreviewedBytes, 'x')}},
          {"lost.txt", {"some", false}},
          {"empty.txt", {""}},
          {"thrown.txt", {"", true, true}},
          {"archive.zip", {"PK"}},
          {"broken.JPG", {"no picture"}},
          {"codec.png", {QByteArray::fromHex("1a45dfa39f")}},
          {"broken.mp3", {"no sound"}}});
    for (const auto& [name, expected] : std::initializer_list<std::pair<QString, QString>>{
             {"limit.txt", "pageText"},
             {"folder", "Please, select a file"},
             {"big.txt", "Preview system doesn't support files larger than 20.00 MB"},
             {"lost.txt", "Can't recover file for preview"},
             {"empty.txt", "The file is empty"},
             {"thrown.txt", "An error has occurred while trying to preview the file"},
             {"archive.zip", "The file format is not supported"},
             {"broken.JPG", "It seems the image is corrupted"},
             {"codec.png", "Image preview is unavailable"},
             {"broken.mp3", "Sound player is unavailable for this file"}}) {
        clickName(name);
        EXPECT_EQ(message(), expected) << name.toStdString();
    }
    EXPECT_EQ(text().size(), 2048 + QStringLiteral("\n...[skipped]").size());

    page->setDecoderProgram(L"/no/such/program");
    force("as image");
    EXPECT_EQ(message(), QStringLiteral("Image preview is unavailable"));
    page->setDecoderProgram(L"/bin/true");
    force("as image");
    EXPECT_EQ(message(), QStringLiteral("Image preview is unavailable"));
}

TEST_F(PreviewTest, PreparesOncePerCell) {
    open({{"README", {"one"}}, {"b.txt", {"two"}}});
    auto* splitter = child<QSplitter>("horSplitter");
    splitter->setSizes({1, 0});
    clickName("README");
    EXPECT_EQ(volume->extractions, 0);

    splitter->setSizes({1, 1});
    clickName("README");
    EXPECT_EQ(text(), QStringLiteral("one"));
    child<QTextEdit>("textPreview")->setPlainText("typed");
    clickName("README");
    EXPECT_EQ(text(), QStringLiteral("typed"));
    EXPECT_EQ(volume->extractions, 1);
    click(rowNamed("README").siblingAtColumn(1));
    EXPECT_EQ(volume->extractions, 2);
    QTest::keyClick(view(), Qt::Key_Down);
    EXPECT_EQ(text(), QStringLiteral("one"));

    // Another model is another file, even where the last one lay in memory.
    for (int times = 0; times < 3; ++times) {
        page->cleanup();
        EXPECT_EQ(message(), QStringLiteral("Please, select a file"));
        open({{"README", {"new"}}});
        clickName("README");
        EXPECT_EQ(text(), QStringLiteral("new"));
    }
}

TEST_F(PreviewTest, ForcedOnesShowTheFileThatWasRead) {
    force("as image");
    EXPECT_EQ(message(), QStringLiteral("It seems the image is corrupted"));
    force("as text");
    EXPECT_EQ(text(), QString());
    open({{"photo.bin", {encoded(colours(40, 30), "png")}},
          {"nothing.txt", {""}},
          {"nul.txt",
           {QByteArray("a\0b\x1b[0m\xe2\x80\xae"
                       "c\r\nd",
                       14)}}});
    clickName("photo.bin");
    EXPECT_EQ(message(), QStringLiteral("The file format is not supported"));
    clickName("nothing.txt");
    force("as image");
    EXPECT_EQ(message(), QStringLiteral("pageImage"));
    force("as sound");
    EXPECT_EQ(message(), QStringLiteral("Sound player is unavailable for this file"));
    force("as text");
    EXPECT_TRUE(text().contains(QStringLiteral("PNG")));
    clickName("nul.txt");
    EXPECT_EQ(text(), QStringLiteral("a\uFFFDb\uFFFD[0m\uFFFDc\nd"));
}

TEST_F(PreviewTest, PicturesFitThePane) {
    page->resize(1200, 700);
    open({{"a.jpg", {encoded(colours(4000, 3000), "jpg")}},
          {"b.png", {encoded(colours(30, 600), "jpg")}},
          {"c.gif", {encoded(colours(20, 10), "bmp")}}});
    clickName("a.jpg");
    EXPECT_EQ(pictureSize(), QSize(320, 240));
    child<QSplitter>("horSplitter")->setSizes({980, 220});
    emit child<QSplitter>("horSplitter")->splitterMoved(0, 1);
    const int width = child<QLabel>("imagePreview")->width();
    EXPECT_LT(width, 221);
    EXPECT_EQ(pictureSize(), QSize(width, width * 3 / 4));
    page->resize(1200, 200);
    EXPECT_EQ(pictureSize().height(),
              std::min(width * 3 / 4, child<QLabel>("imagePreview")->height()));
    page->resize(1200, 700);
    clickName("b.png");
    EXPECT_EQ(pictureSize(), QSize(16, 320));
    clickName("c.gif");
    EXPECT_EQ(pictureSize(), QSize(20, 10));
}

TEST_F(PreviewTest, HostilePicturesEndInAMessage) {
    const QByteArray jpeg = encoded(colours(300, 200), "jpg");
    QByteArray huge = encoded(colours(8, 8), "bmp");
    const QByteArray side = QByteArray::fromHex("a0860100"); // 100,000
    huge.replace(18, 8, side + side);
    // A black picture as large as the format allows, in 35 bytes.
    const QByteArray bomb = QByteArray::fromHex("474946383961fffffffff00000"
                                                "000000000000"
                                                "2c00000000ffffffff00"
                                                "020244010000"
                                                "3b");
    QByteArray garbled = encoded(colours(300, 200), "png");
    for (int i = 60; i < garbled.size(); i += 61)
        garbled[i] = static_cast<char>(garbled[i] ^ 0x55);
    open({{"huge.bmp", {huge}},
          {"bomb.gif", {bomb}},
          {"garbled.png", {garbled}},
          {"head.jpg", {jpeg.left(30)}},
          {"good.jpg", {encoded(colours(30, 20), "jpg")}}});
    for (const char* name : {"huge.bmp", "bomb.gif", "garbled.png", "head.jpg"}) {
        clickName(name);
        EXPECT_EQ(message(), QStringLiteral("It seems the image is corrupted")) << name;
    }
    clickName("good.jpg");
    EXPECT_EQ(pictureSize(), QSize(30, 20));
}

TEST_F(PreviewTest, OutlivesADecoderThatIsKilledOrHangs) {
    open({{"a.jpg", {encoded(colours(300, 200), "jpg")}}, {"b.txt", {"text"}}});
    clickName("b.txt");
    const std::string program = (temporary / "decoder").string();
    for (const auto& [script, expected] :
         {std::pair{"kill -9 $$", "It seems the image is corrupted"},
          std::pair{"exec sleep 1000", "Image preview is unavailable"},
          std::pair{"exec cat", "It seems the image is corrupted"}}) {
        std::ofstream(program) << "#!/bin/sh\nprintf 'RO\\0\\0\\0\\0\\0\\0'\n" << script;
        std::filesystem::permissions(program, std::filesystem::perms::owner_all);
        page->setDecoderProgram(format::wideFromUtf8(program));
        clickName("a.jpg");
        EXPECT_EQ(message(), QLatin1String(expected)) << script;
        EXPECT_EQ(childOfThis(), 0);
        clickName("b.txt");
        EXPECT_EQ(text(), QStringLiteral("text"));
    }
}

TEST_F(PreviewTest, ShowsEveryFormatOfPicture) {
    std::map<QString, MadeUpVolume::File> files;
    for (const QFileInfo& file :
         QDir(QStringLiteral(ORVANE_SOURCE_DIR "/tests/pictures")).entryInfoList(QDir::Files)) {
        QFile picture(file.filePath());
        ASSERT_TRUE(picture.open(QIODevice::ReadOnly));
        files[file.fileName()] = {picture.readAll()};
    }
    ASSERT_FALSE(files.empty());
    open(files);
    for (const auto& [name, file] : files) {
        clickName(name);
        if (QStringList{"avif", "dng", "heic", "mp4", "mpg", "webp"}.contains(
                QFileInfo(name).suffix()))
            force("as image");
        EXPECT_EQ(message(), QStringLiteral("pageImage")) << name.toStdString();
    }
    clickName("small.png");
    EXPECT_EQ(child<QLabel>("imagePreview")->pixmap(Qt::ReturnByValue).toImage().pixelColor(2, 2),
              QColor(0x3B, 0x43, 0x77));
}

/// The volumes that come with the program.
class SamplePreviews : public PreviewTest, public testing::WithParamInterface<const char*> {
protected:
    void clickFilesBelow(const QModelIndex& folder) {
        const QAbstractItemModel& model = *view()->model();
        for (int row = 0; row < model.rowCount(folder); ++row) {
            const QModelIndex index = model.index(row, 0, folder);
            if (model.rowCount(index) > 0) {
                view()->expand(index);
                clickFilesBelow(index);
                continue;
            }
            click(index);
            seen.emplace(QFileInfo(index.data().toString()).suffix().toLower(), message());
        }
    }

    std::set<std::pair<QString, QString>> seen; ///< Suffixes, and what a click led to.
};

TEST_P(SamplePreviews, EveryFileLeadsToItsPage) {
    openSample(GetParam());
    clickFilesBelow({});
    const QString unsupported = QStringLiteral("The file format is not supported");
    const std::map<QString, QString> pages{
        {"txt", "pageText"},   {"html", "pageText"},  {"jpg", "pageImage"},  {"jpeg", "pageImage"},
        {"png", "pageImage"},  {"gif", "pageImage"},  {"wav", "pagePlayer"}, {"mp3", "pagePlayer"},
        {"ogg", "pagePlayer"}, {"flac", "pagePlayer"}};
    std::set<QString> kinds;
    for (const auto& [suffix, shown] : seen) {
        if (shown == QLatin1String("The file is empty") ||
            shown == QLatin1String("Can't recover file for preview"))
            continue;
        const auto expected = pages.find(suffix);
        EXPECT_EQ(shown, expected == pages.end() ? unsupported : expected->second)
            << suffix.toStdString();
        kinds.insert(shown);
    }
    EXPECT_EQ(kinds.size(), 4U);
}

INSTANTIATE_TEST_SUITE_P(Volumes, SamplePreviews, testing::Values("ntfs.img", "fat.img"),
                         [](const auto& parameter) {
                             return std::string(parameter.param).substr(0, 3);
                         });

/// Little-endian, as a WAV file has its numbers.
template <typename Number>
QByteArray numberBytes(Number number) {
    return {reinterpret_cast<const char*>(&number), sizeof number};
}

/// Twenty seconds of one channel.
QByteArray sound() {
    constexpr quint32 kRate = 8000;
    const QByteArray samples(kRate * 2 * 20, '\x10');
    return "RIFF" + numberBytes(quint32(36 + samples.size())) + "WAVEfmt " +
           numberBytes(quint32(16)) + numberBytes(quint16(1)) + numberBytes(quint16(1)) +
           numberBytes(kRate) + numberBytes(kRate * 2) + numberBytes(quint16(2)) +
           numberBytes(quint16(16)) + "data" + numberBytes(quint32(samples.size())) + samples;
}

class PlayerTest : public PreviewTest {
protected:
    PlayerTest() {
        open({{"a.wav", {sound()}}, {"b.txt", {"text"}}, {"c.mp3", {sound()}}});
        clickName("a.wav");
    }

    QSlider& slider() { return *child<QSlider>("playerSlider"); }

    void press(const char* button) {
        QTest::mouseClick(child<QToolButton>(button), Qt::LeftButton);
    }

    bool isPlaying() { return child<QToolButton>("btnPlay")->property("play").toBool(); }

    bool waitUntilPast(int value) {
        return QTest::qWaitFor([&] { return slider().value() > value; }, 30'000);
    }

    /// Where the slider has to be grabbed.
    QPoint handle(int value) {
        const QWidget& widget = slider();
        return {QStyle::sliderPositionFromValue(0, slider().maximum(), value, widget.width()),
                widget.height() / 2};
    }
};

TEST_F(PlayerTest, PlaysPausesResumesAndStops) {
    EXPECT_EQ(message(), QStringLiteral("pagePlayer"));
    EXPECT_FALSE(isPlaying());
    press("btnPlay");
    EXPECT_TRUE(isPlaying());
    ASSERT_TRUE(waitUntilPast(0));
    press("btnPlay");
    EXPECT_FALSE(isPlaying());
    const int paused = slider().value();
    press("btnPlay");
    ASSERT_TRUE(waitUntilPast(paused));
    press("btnStop");
    EXPECT_FALSE(isPlaying());
    EXPECT_EQ(slider().value(), 0);
    press("btnPlay");
    ASSERT_TRUE(waitUntilPast(0));
    clickName("b.txt");
    EXPECT_FALSE(isPlaying());
    EXPECT_EQ(slider().value(), 0);
    clickName("c.mp3");
    EXPECT_EQ(message(), QStringLiteral("pagePlayer"));
}

TEST_F(PlayerTest, SeeksAndStopsAtTheEnd) {
    QTest::mousePress(&slider(), Qt::LeftButton, {}, handle(100));
    QTest::mouseMove(&slider(), handle(500));
    QTest::mouseRelease(&slider(), Qt::LeftButton, {}, handle(500));
    const int dropped = slider().value();
    EXPECT_NEAR(dropped, 500, 20);
    // It says where the stream really is, which stands still.
    slider().blockSignals(true);
    slider().setValue(0);
    slider().blockSignals(false);
    ASSERT_TRUE(waitUntilPast(0));
    EXPECT_EQ(slider().value(), dropped);
    EXPECT_FALSE(isPlaying());

    slider().setValue(990);
    press("btnPlay");
    ASSERT_TRUE(QTest::qWaitFor([&] { return !isPlaying(); }, 30'000));
    EXPECT_EQ(slider().value(), 0);
}

} // namespace
