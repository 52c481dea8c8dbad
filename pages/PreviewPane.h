#pragma once

#include "engine/types.h"
#include "pages/PreviewType.h"
#include "pages/SoundPlayer.h"

#include <QPixmap>
#include <QStackedWidget>
#include <QTextDocument>

#include <memory>
#include <string>
#include <vector>

namespace Ui {
class PreviewPane;
} // namespace Ui

/// Shows the content of one file as a text, a picture or a sound, or says why it does not.
///
/// A file is shown before the call returns. Pictures and sounds are handed to the decoder process.
/// Nothing that is in the file leaves the pane unusable.
class PreviewPane : public QStackedWidget {
    Q_OBJECT

public:
    explicit PreviewPane(QWidget* parent = nullptr);
    PreviewPane(const PreviewPane&) = delete;
    PreviewPane& operator=(const PreviewPane&) = delete;
    ~PreviewPane() override;

    /// The program that decodes pictures; the one beside this program unless set.
    void setDecoderProgram(std::wstring path) { decoderProgram_ = std::move(path); }

    /// The file that is shown from now on, all of it; shows nothing yet.
    void setFile(std::vector<kova::uint8> bytes);

    /// Shows the file as what it is.
    void showAs(PreviewType::T type);
    void showText();
    void showPicture();
    void showSound();

    /// Shows no file but a sentence.
    void showMessage(const QString& message);

    /// Ends what plays and asks for a file.
    void clear();

    /// False while the splitter leaves no room for previews.
    [[nodiscard]] bool hasRoom() const { return width() != 0; }

    /// Makes the picture as large as there is room for it, at most as large as it is.
    void fitPicture();

    [[nodiscard]] SoundPlayer& player();

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    std::unique_ptr<Ui::PreviewPane> ui;
    std::wstring decoderProgram_;
    SoundPlayer::Bytes file_;
    QPixmap picture_; ///< The thumbnail shown last, in its own size.
    std::unique_ptr<QTextDocument> document_;
};
