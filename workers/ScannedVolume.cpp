#include "workers/ScannedVolume.h"

ScannedVolume::ScannedVolume(kova::ZVolume* volume, kova::ZFileTree* tree)
    : volume_(volume), media_(volume == nullptr ? nullptr : volume->media()), tree_(tree) {}

ScannedVolume& ScannedVolume::operator=(ScannedVolume&& other) noexcept {
    reset();
    volume_ = std::move(other.volume_);
    media_ = std::move(other.media_);
    tree_ = std::move(other.tree_);
    return *this;
}

ScannedVolume::~ScannedVolume() {
    reset();
}

void ScannedVolume::setMedia(std::unique_ptr<kova::ZCustomMedia> media) {
    media_ = std::move(media);
}

void ScannedVolume::setVolume(std::unique_ptr<kova::ZVolume> volume) {
    volume_ = std::move(volume);
}

std::pair<kova::ZVolume*, kova::ZFileTree*> ScannedVolume::release() {
    if (volume_ != nullptr)
        static_cast<void>(media_.release());
    media_.reset();
    return {volume_.release(), tree_.release()};
}

void ScannedVolume::reset() {
    tree_.reset();
    media_.reset();
    if (volume_ != nullptr)
        volume_->setProgressCallback({});
    volume_.reset();
}
