#pragma once

#include "engine/types.h"
#include "platform/File.h"

#include <QByteArray>
#include <QCryptographicHash>

#include <cstddef>
#include <functional>

/// The SHA-256 of a file's bytes, which are given in their order.
class ContentHash {
public:
    /// `beforeEachPiece` is called before every mebibyte, and may throw to get out.
    explicit ContentHash(std::function<void()> beforeEachPiece)
        : beforeEachPiece_(std::move(beforeEachPiece)) {}

    void add(const void* bytes, std::size_t count);
    void addFill(kova::uint8 value, kova::int64 count);

    /// Adds a file from its start to its end. False when it cannot be read; see its `failure`.
    bool addFile(platform::File& file);

    /// Bytes given so far.
    [[nodiscard]] kova::int64 length() const { return length_; }

    /// 32 bytes.
    [[nodiscard]] QByteArray result() const { return hash_.result(); }

private:
    std::function<void()> beforeEachPiece_;
    QCryptographicHash hash_{QCryptographicHash::Sha256};
    kova::int64 length_ = 0;
};
