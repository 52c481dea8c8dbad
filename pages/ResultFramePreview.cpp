// The preview pane of the results page: what was clicked, as a text, a picture or a sound.

#include "pages/ResultFrame.h"

#include "engine/ZMemoryStream.h"
#include "model/FileModel.h"
#include "model/documentText.h"
#include "model/texts.h"
#include "ui_ResultFrame.h"
#include "workers/picture/decodeApart.h"

#include <QDebug>
#include <QFileInfo>
#include <QGuiApplication>
#include <QProxyStyle>
#include <QResizeEvent>
#include <QSignalBlocker>
#include <QStringList>

#include <chrono>
#include <cmath>
#include <utility>

namespace {

/// The largest file that is previewed, in bytes.
constexpr kova::uint64 MAX_PREVIEW_SIZE = 20971520;

/// A drive that fails may take forever over a file; the window waits no longer.
constexpr auto kMostReadingTime = std::chrono::seconds(10);

constexpr QSize kPlayerButton{24, 24};
constexpr int PLAYER_TICK_MS = 500;
constexpr auto kPlayingProperty = "play";

QStringList split(const char* suffixes) {
    return QString::fromLatin1(suffixes).split(QLatin1Char('|'));
}

const QStringList& soundSuffixes() {
    static const QStringList suffixes = split("mp3|ogg|wma|flac|aac|m4a|wav|mid|midi");
    return suffixes;
}

const QStringList& imageSuffixes() {
    static const QStringList suffixes =
        split("bmp|cut|dds|exr|g3|gif|hdr|ico|iff|lbm|j2k|j2c|jng|jp2|jpg|jpeg|jif|jpe|koa|mng|"
              "pbm|pcd|pcx|pfm|pgm|pct|pict|pic|png|ppm|psd|ras|sgi|tga|targa|tif|tiff|wbmp|xbm|"
              "xpm");
    return suffixes;
}

/// The last, empty one is that of a name without a suffix, such as README.
const QStringList& textSuffixes() {
    static const QStringList suffixes = split("txt|cpp|h|xml|sh|html|css|pl|");
    return suffixes;
}

/// While the window does not answer.
class BusyCursor {
public:
    BusyCursor() { QGuiApplication::setOverrideCursor(Qt::WaitCursor); }

    BusyCursor(const BusyCursor&) = delete;
    BusyCursor& operator=(const BusyCursor&) = delete;

    ~BusyCursor() { QGuiApplication::restoreOverrideCursor(); }
};

/// Lets nobody wait for a drive for long: reading from `media` throws from some time on.
class ReadingTime {
public:
    explicit ReadingTime(kova::ZCustomMedia& media) : media_(media) {
        media_.setReadHook([end = std::chrono::steady_clock::now() + kMostReadingTime] {
            if (std::chrono::steady_clock::now() > end)
                throw 0;
        });
    }

    ReadingTime(const ReadingTime&) = delete;
    ReadingTime& operator=(const ReadingTime&) = delete;

    ~ReadingTime() { media_.setReadHook({}); }

private:
    kova::ZCustomMedia& media_;
};

/// A click beside the handle of a slider moves it there, as players have it.
class JumpingSliderStyle : public QProxyStyle {
public:
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* returned) const override {
        if (hint == SH_Slider_AbsoluteSetButtons)
            return Qt::LeftButton;
        return QProxyStyle::styleHint(hint, option, widget, returned);
    }
};

} // namespace

void ResultFrame::setUpPlayer() {
    ui->btnPlay->setFixedSize(kPlayerButton);
    ui->btnStop->setFixedSize(kPlayerButton);
    auto* style = new JumpingSliderStyle;
    style->setParent(ui->playerSlider);
    ui->playerSlider->setStyle(style);
    playerTimer->setInterval(PLAYER_TICK_MS);
    connect(playerTimer, &QTimer::timeout, this, &ResultFrame::playerOnTimer);
    connect(ui->playerSlider, &QSlider::valueChanged, this, &ResultFrame::playerSetPos);
    connect(ui->btnPlay, &QToolButton::clicked, this, &ResultFrame::playerPlay);
    connect(ui->btnStop, &QToolButton::clicked, this, &ResultFrame::playerStop);
    connect(ui->playerSlider, &QSlider::sliderPressed, playerTimer, &QTimer::stop);
    connect(ui->playerSlider, &QSlider::sliderReleased, playerTimer, qOverload<>(&QTimer::start));
    playerSetState(false);
    soundLibrary_.loadPlugins();
}

void ResultFrame::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    onHorSplitterMoved();
}

void ResultFrame::onItemClicked(QModelIndex index) {
    if (prepareForPreview(index))
        previewFile(getPreviewType(previewName));
}

bool ResultFrame::prepareForPreview(QModelIndex index) {
    // A recovery reads the volume in another thread.
    if (isRecovering() || (index == lastPreviewedIndex && lastPreviewedModel_ != nullptr) ||
        !isPreviewEnabled())
        return false;
    lastPreviewedIndex = index;
    lastPreviewedModel_ = index.model();
    try {
        previewStop();
        std::vector<kova::uint8> bytes = readForPreview(index);
        previewData.swap(bytes);
        if (soundStream_.get() != 0 && streamData_.empty())
            streamData_ = std::move(bytes);
        return true;
    } catch (const QString& reason) {
        previewError(reason);
    } catch (...) {
        previewError(tr("An error has occurred while trying to preview the file"));
    }
    return false;
}

std::vector<kova::uint8> ResultFrame::readForPreview(const QModelIndex& index) {
    const auto* model = qobject_cast<const FileModel*>(ui->tree->model());
    const kova::ZFileTreeNode* node = model == nullptr ? nullptr : model->nodeFromIndex(index);
    if (node == nullptr || node->isDirectory || volume == nullptr)
        throw tr("Please, select a file");
    previewName = toQString(node->name);
    qDebug() << "Previewing:" << previewName;
    if (static_cast<kova::uint64>(node->size) > MAX_PREVIEW_SIZE)
        throw tr("Preview system doesn't support files larger than ") +
            formatSize(MAX_PREVIEW_SIZE);
    const BusyCursor busy;
    const ReadingTime limited(*media_);
    kova::ZMemoryStream stream;
    // What a drive that was removed no longer gave is zeros, and no content of the file.
    if (!volume->extract(*node, &stream) || media_->error() == platform::Error::DeviceGone)
        throw tr("Can't recover file for preview");
    if (stream.bytes().empty())
        throw tr("The file is empty");
    return std::move(stream.bytes());
}

PreviewType::T ResultFrame::getPreviewType(const QString& fileName) {
    const QString suffix = QFileInfo(fileName).suffix().toLower();
    if (soundSuffixes().contains(suffix))
        return PreviewType::Sound;
    if (imageSuffixes().contains(suffix))
        return PreviewType::Image;
    if (textSuffixes().contains(suffix))
        return PreviewType::Text;
    return PreviewType::None;
}

void ResultFrame::previewFile(PreviewType::T type) {
    switch (type) {
    case PreviewType::Text:
        previewText();
        break;
    case PreviewType::Image:
        previewImage();
        break;
    case PreviewType::Sound:
        previewSound();
        break;
    default:
        previewError(tr("The file format is not supported"));
    }
}

void ResultFrame::previewText() {
    ui->previewStack->setCurrentWidget(ui->pageText);
    auto document = std::make_unique<QTextDocument>();
    document->setDefaultFont(ui->textPreview->font());
    document->setPlainText(documentText({previewData.data(), std::ssize(previewData)}));
    ui->textPreview->setDocument(document.get());
    previewDocument_ = std::move(document);
}

void ResultFrame::previewImage() {
    ui->previewStack->setCurrentWidget(ui->pageImage);
    const BusyCursor busy;
    const picture::Thumbnail thumbnail = picture::decodeApart(decoderProgram_, previewData);
    if (thumbnail.outcome == picture::Outcome::Corrupted) {
        previewError(tr("It seems the image is corrupted"));
        return;
    }
    const auto& png = thumbnail.png;
    if (thumbnail.outcome != picture::Outcome::Decoded ||
        !previewPixmap.loadFromData(png.data(), static_cast<uint>(png.size()), "PNG")) {
        previewError(tr("Image preview is unavailable"));
        return;
    }
    // The page may never have been shown before.
    ui->previewStack->layout()->activate();
    ui->pageImage->layout()->activate();
    onHorSplitterMoved();
}

void ResultFrame::previewError(const QString& message) {
    ui->previewStack->setCurrentWidget(ui->pageNoPreview);
    ui->whyNoPreview->setText(message);
}

void ResultFrame::previewStop() {
    playerStop();
    previewError(tr("Please, select a file"));
}

bool ResultFrame::isPreviewEnabled() {
    return ui->previewStack->width() != 0;
}

void ResultFrame::onHorSplitterMoved() {
    if (ui->previewStack->currentWidget() != ui->pageImage || previewPixmap.isNull())
        return;
    const QSize room = previewPixmap.size().boundedTo(ui->imagePreview->size());
    ui->imagePreview->setPixmap(
        previewPixmap.scaled(room, Qt::KeepAspectRatio, Qt::FastTransformation));
}

void ResultFrame::previewSound() {
    ui->previewStack->setCurrentWidget(ui->pagePlayer);
    playerStop();
    const BusyCursor busy;
    soundStream_.replace(BASS_StreamCreateFile(1, previewData.data(), 0, previewData.size(), 0));
    streamData_ = {};
    if (soundStream_.get() == 0)
        previewError(tr("Sound player is unavailable for this file"));
}

void ResultFrame::playerPlay() {
    const bool wasPlaying = ui->btnPlay->property(kPlayingProperty).toBool();
    playerSetState(!wasPlaying);
    if (wasPlaying)
        BASS_ChannelPause(soundStream_.get());
    else
        BASS_ChannelPlay(soundStream_.get(), 0);
}

void ResultFrame::playerStop() {
    rewind();
    ui->playerSlider->setValue(0);
    playerSetState(false);
}

void ResultFrame::rewind() {
    if (BASS_ChannelStop(soundStream_.get()) != 0)
        BASS_ChannelSetPosition(soundStream_.get(), 0, BASS_POS_BYTE);
}

void ResultFrame::playerSetState(bool playing) {
    ui->btnPlay->setProperty(kPlayingProperty, playing);
    if (playing) {
        ui->btnPlay->setIcon(QIcon(QStringLiteral(":/icons/16/pause")));
        playerTimer->start();
    } else {
        ui->btnPlay->setIcon(QIcon(QStringLiteral(":/icons/16/play")));
        playerTimer->stop();
    }
    if (ui->btnStop->icon().isNull())
        ui->btnStop->setIcon(QIcon(QStringLiteral(":/icons/16/stop")));
}

void ResultFrame::playerOnTimer() {
    const auto position =
        static_cast<double>(BASS_ChannelGetPosition(soundStream_.get(), BASS_POS_BYTE));
    const auto length =
        static_cast<double>(BASS_ChannelGetLength(soundStream_.get(), BASS_POS_BYTE));
    const auto last = ui->playerSlider->maximum();
    const auto fraction = static_cast<float>(position / length);
    // Without a length there is nothing left to play. Any position past the start shows.
    const int value = length > 0 && fraction < 1
                          ? static_cast<int>(std::ceil(static_cast<float>(last) * fraction))
                          : last;
    {
        const QSignalBlocker blocker(ui->playerSlider);
        ui->playerSlider->setValue(value);
    }
    if (value >= last)
        playerStop();
}

void ResultFrame::playerSetPos() {
    const std::uint64_t length = BASS_ChannelGetLength(soundStream_.get(), BASS_POS_BYTE);
    if (length == BASS_NO_POSITION)
        return;
    const auto fraction = static_cast<float>(
        static_cast<double>(ui->playerSlider->sliderPosition()) / ui->playerSlider->maximum());
    BASS_ChannelSetPosition(soundStream_.get(),
                            static_cast<std::uint64_t>(static_cast<double>(length) * fraction),
                            BASS_POS_BYTE);
}
