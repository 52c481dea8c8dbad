#include "pages/PreviewPane.h"

#include "decoder/Client.h"
#include "decoder/picture/decodeApart.h"
#include "model/documentText.h"
#include "pages/BusyCursor.h"
#include "pages/resultText.h"

#include "ui_PreviewPane.h"

#include <QImage>
#include <QResizeEvent>

#include <iterator>
#include <utility>

namespace {

/// Pixels of its own: the thumbnail's do not last.
QPixmap pixmapOf(const picture::Thumbnail& thumbnail) {
    const auto width = static_cast<int>(thumbnail.width);
    const auto height = static_cast<int>(thumbnail.height);
    const qsizetype row = qsizetype{width} * qsizetype{picture::kPixelBytes};
    const QImage image(thumbnail.pixels.data(), width, height, row, QImage::Format_ARGB32);
    return QPixmap::fromImage(image.copy());
}

} // namespace

PreviewPane::PreviewPane(QWidget* parent)
    : QStackedWidget(parent), ui(std::make_unique<Ui::PreviewPane>()),
      decoderProgram_(decoder::program()),
      file_(std::make_shared<const std::vector<kova::uint8>>()) {
    ui->setupUi(this);
}

PreviewPane::~PreviewPane() {
    ui->textPreview->setDocument(nullptr); // Back to one of its own.
}

void PreviewPane::setFile(std::vector<kova::uint8> bytes) {
    file_ = std::make_shared<const std::vector<kova::uint8>>(std::move(bytes));
}

void PreviewPane::showAs(PreviewType::T type) {
    switch (type) {
    case PreviewType::Text:
        showText();
        break;
    case PreviewType::Image:
        showPicture();
        break;
    case PreviewType::Sound:
        showSound();
        break;
    default:
        showMessage(resultText("The file format is not supported"));
    }
}

void PreviewPane::showText() {
    setCurrentWidget(ui->pageText);
    auto document = std::make_unique<QTextDocument>();
    document->setDefaultFont(ui->textPreview->font());
    document->setPlainText(documentText({file_->data(), std::ssize(*file_)}));
    ui->textPreview->setDocument(document.get());
    document_ = std::move(document);
}

void PreviewPane::showPicture() {
    setCurrentWidget(ui->pageImage);
    const BusyCursor busy;
    const picture::Thumbnail thumbnail = picture::decodeApart(decoderProgram_, *file_);
    if (thumbnail.outcome == picture::Outcome::Corrupted) {
        showMessage(resultText("It seems the image is corrupted"));
        return;
    }
    if (thumbnail.outcome != picture::Outcome::Decoded) {
        showMessage(resultText("Image preview is unavailable"));
        return;
    }
    picture_ = pixmapOf(thumbnail);
    // The page may never have been shown before.
    layout()->activate();
    ui->pageImage->layout()->activate();
    fitPicture();
}

void PreviewPane::showSound() {
    setCurrentWidget(ui->pagePlayer);
    const BusyCursor busy;
    if (!player().open(file_))
        showMessage(resultText("Sound player is unavailable for this file"));
}

void PreviewPane::showMessage(const QString& message) {
    setCurrentWidget(ui->pageNoPreview);
    ui->whyNoPreview->setText(message);
}

void PreviewPane::clear() {
    player().stop();
    showMessage(resultText("Please, select a file"));
}

void PreviewPane::fitPicture() {
    if (currentWidget() != ui->pageImage || picture_.isNull())
        return;
    const QSize room = picture_.size().boundedTo(ui->imagePreview->size());
    const qreal ratio = devicePixelRatio(); // The screen's own pixels, where it is scaled.
    QPixmap shown = picture_.scaled(room * ratio, Qt::KeepAspectRatio, Qt::FastTransformation);
    shown.setDevicePixelRatio(ratio);
    ui->imagePreview->setPixmap(shown);
}

SoundPlayer& PreviewPane::player() {
    return *ui->pagePlayer;
}

void PreviewPane::resizeEvent(QResizeEvent* event) {
    QStackedWidget::resizeEvent(event);
    fitPicture();
}
