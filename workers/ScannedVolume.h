#pragma once

#include "engine/ZCustomMedia.h"
#include "engine/ZFileTree.h"
#include "engine/ZVolume.h"

#include <memory>
#include <utility>

/// A volume, its media and what was found on it; freed in the order tree, media, volume.
class ScannedVolume {
public:
    ScannedVolume() = default;

    /// Takes both over, with the volume's media. Either may be null.
    ScannedVolume(kova::ZVolume* volume, kova::ZFileTree* tree);

    ScannedVolume(const ScannedVolume&) = delete;
    ScannedVolume& operator=(const ScannedVolume&) = delete;
    ScannedVolume(ScannedVolume&& other) noexcept = default;
    ScannedVolume& operator=(ScannedVolume&& other) noexcept;
    ~ScannedVolume();

    /// Puts the volume, which is made for the media, in the place of the one before.
    void setMedia(std::unique_ptr<kova::ZCustomMedia> media);
    void setVolume(std::unique_ptr<kova::ZVolume> volume);

    /// Gives the volume away, which still needs the media that stays here.
    [[nodiscard]] std::unique_ptr<kova::ZVolume> takeVolume() { return std::move(volume_); }

    void setTree(std::unique_ptr<kova::ZFileTree> tree) { tree_ = std::move(tree); }

    /// Null where there is none; a volume has a media.
    [[nodiscard]] kova::ZVolume* volume() const { return volume_.get(); }

    [[nodiscard]] kova::ZCustomMedia* media() const { return media_.get(); }

    [[nodiscard]] kova::ZFileTree* tree() const { return tree_.get(); }

    /// Gives volume and tree away, to whoever makes a `ScannedVolume` of them again. The media
    /// goes with its volume; without one it is freed.
    [[nodiscard]] std::pair<kova::ZVolume*, kova::ZFileTree*> release();

    void reset();

private:
    std::unique_ptr<kova::ZVolume> volume_;
    std::unique_ptr<kova::ZCustomMedia> media_;
    std::unique_ptr<kova::ZFileTree> tree_;
};
