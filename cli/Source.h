#pragma once

#include "engine/ZCustomMedia.h"
#include "engine/ZFileTree.h"
#include "engine/ZVolume.h"
#include "platform/Drives.h"

#include <QCommandLineParser>
#include <QString>

#include <memory>

/// The volume that a command reads: a drive by its letter, a device, or an image file.
class Source {
public:
    static void addOptions(QCommandLineParser& parser);

    /// Opens what the command's argument stands for. Throws `CommandError` when it cannot be
    /// opened, is neither NTFS nor FAT, or several partitions of an image would do.
    explicit Source(const QCommandLineParser& parser);
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;
    ~Source() = default;

    [[nodiscard]] const platform::Drive& drive() const { return drive_; }

    /// The image file's path; empty when it is no image.
    [[nodiscard]] QString imagePath() const;

    [[nodiscard]] kova::ZCustomMedia& media() { return media_; }

    [[nodiscard]] kova::ZVolume& volume() { return *volume_; }

    /// Fills `tree`, once. Throws `CommandError` when the volume cannot be used, or the user
    /// asked to stop.
    void scan(kova::ZFileTree& tree);

    /// True when the drive was removed while it was read.
    [[nodiscard]] bool isGone() const;

private:
    void open();
    void initialise();
    void watchedScan(kova::ZFileTree& tree);
    void warnOfGaps() const;

    QString name_; ///< As the user gave it, for messages.
    kova::ScanOptions options_;
    platform::Drive drive_;
    kova::ZCustomMedia media_;
    std::unique_ptr<kova::ZVolume> volume_;
};
