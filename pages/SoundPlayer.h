#pragma once

#include "engine/types.h"
#include "pages/SoundLibrary.h"
#include "pages/SoundStream.h"

#include <QTimer>
#include <QWidget>

#include <memory>
#include <vector>

namespace Ui {
class SoundPlayer;
} // namespace Ui

/// Plays one sound: a slider that follows it and seeks, and two buttons.
///
/// It holds the sound library; where there is no sound, no file can be opened.
class SoundPlayer : public QWidget {
    Q_OBJECT

public:
    using Bytes = std::shared_ptr<const std::vector<kova::uint8>>;

    explicit SoundPlayer(QWidget* parent = nullptr);
    SoundPlayer(const SoundPlayer&) = delete;
    SoundPlayer& operator=(const SoundPlayer&) = delete;
    ~SoundPlayer() override;

    /// Stops and takes `file`, which is decoded in a process of its own, in the place of the last
    /// sound. False when it is none that can be played; there is then nothing to play.
    bool open(Bytes file);

    /// Plays, or pauses what plays.
    void play();

    /// Silent and back at the start.
    void stop();

    /// What the play button shows, and whether the slider follows the sound.
    void setPlaying(bool playing);

    /// Puts the slider where the sound is, and stops at its end.
    void follow();

    /// Goes on from where the slider is.
    void seek();

private:
    void rewind();

    std::unique_ptr<Ui::SoundPlayer> ui;
    SoundLibrary library_;
    Bytes file_; ///< What the stream is read from, as long as there is one.
    SoundStream stream_;
    QTimer* timer_; ///< Runs while the slider follows the sound.
};
