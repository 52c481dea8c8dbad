#include "pages/SoundPlayer.h"

#include "ui_SoundPlayer.h"

#include <QProxyStyle>
#include <QSignalBlocker>

#include <cmath>
#include <utility>

namespace {

constexpr QSize kButtonSize{24, 24};
constexpr int kFollowIntervalMs = 500;
constexpr auto kPlayingProperty = "play";

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

SoundPlayer::SoundPlayer(QWidget* parent)
    : QWidget(parent), ui(std::make_unique<Ui::SoundPlayer>()), timer_(new QTimer(this)) {
    ui->setupUi(this);
    ui->btnPlay->setFixedSize(kButtonSize);
    ui->btnStop->setFixedSize(kButtonSize);
    auto* style = new JumpingSliderStyle;
    style->setParent(ui->playerSlider);
    ui->playerSlider->setStyle(style);
    timer_->setInterval(kFollowIntervalMs);
    connect(timer_, &QTimer::timeout, this, &SoundPlayer::follow);
    connect(ui->playerSlider, &QSlider::valueChanged, this, &SoundPlayer::seek);
    connect(ui->btnPlay, &QToolButton::clicked, this, &SoundPlayer::play);
    connect(ui->btnStop, &QToolButton::clicked, this, &SoundPlayer::stop);
    connect(ui->playerSlider, &QSlider::sliderPressed, timer_, &QTimer::stop);
    connect(ui->playerSlider, &QSlider::sliderReleased, timer_, qOverload<>(&QTimer::start));
    setPlaying(false);
    library_.loadPlugins();
}

SoundPlayer::~SoundPlayer() = default;

bool SoundPlayer::open(Bytes file) {
    stop();
    stream_.replace(BASS_StreamCreateFile(1, file->data(), 0, file->size(), 0));
    file_ = std::move(file);
    return stream_.get() != 0;
}

void SoundPlayer::play() {
    const bool wasPlaying = ui->btnPlay->property(kPlayingProperty).toBool();
    setPlaying(!wasPlaying);
    if (wasPlaying)
        BASS_ChannelPause(stream_.get());
    else
        BASS_ChannelPlay(stream_.get(), 0);
}

void SoundPlayer::stop() {
    rewind();
    ui->playerSlider->setValue(0);
    setPlaying(false);
}

void SoundPlayer::rewind() {
    if (BASS_ChannelStop(stream_.get()) != 0)
        BASS_ChannelSetPosition(stream_.get(), 0, BASS_POS_BYTE);
}

void SoundPlayer::setPlaying(bool playing) {
    ui->btnPlay->setProperty(kPlayingProperty, playing);
    if (playing) {
        ui->btnPlay->setIcon(QIcon(QStringLiteral(":/icons/16/pause")));
        timer_->start();
    } else {
        ui->btnPlay->setIcon(QIcon(QStringLiteral(":/icons/16/play")));
        timer_->stop();
    }
    if (ui->btnStop->icon().isNull())
        ui->btnStop->setIcon(QIcon(QStringLiteral(":/icons/16/stop")));
}

void SoundPlayer::follow() {
    const auto position =
        static_cast<double>(BASS_ChannelGetPosition(stream_.get(), BASS_POS_BYTE));
    const auto length = static_cast<double>(BASS_ChannelGetLength(stream_.get(), BASS_POS_BYTE));
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
        stop();
}

void SoundPlayer::seek() {
    const std::uint64_t length = BASS_ChannelGetLength(stream_.get(), BASS_POS_BYTE);
    if (length == BASS_NO_POSITION)
        return;
    const auto fraction = static_cast<float>(
        static_cast<double>(ui->playerSlider->sliderPosition()) / ui->playerSlider->maximum());
    BASS_ChannelSetPosition(stream_.get(),
                            static_cast<std::uint64_t>(static_cast<double>(length) * fraction),
                            BASS_POS_BYTE);
}
