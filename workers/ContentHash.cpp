#include "workers/ContentHash.h"

#include <QByteArrayView>

#include <algorithm>
#include <vector>

namespace {

constexpr std::size_t kPiece = std::size_t{1} << 20;

} // namespace

void ContentHash::add(const void* bytes, std::size_t count) {
    const auto* const begin = static_cast<const char*>(bytes);
    for (std::size_t done = 0; done < count;) {
        const std::size_t now = std::min(count - done, kPiece);
        beforeEachPiece_();
        hash_.addData(QByteArrayView(begin + done, static_cast<qsizetype>(now)));
        done += now;
    }
    length_ += static_cast<kova::int64>(count);
}

void ContentHash::addFill(kova::uint8 value, kova::int64 count) {
    const auto most = static_cast<kova::int64>(kPiece);
    const std::vector<kova::uint8> piece(static_cast<std::size_t>(std::min(count, most)), value);
    for (kova::int64 left = count; left > 0; left -= most)
        add(piece.data(), static_cast<std::size_t>(std::min(left, most)));
}

bool ContentHash::addFile(platform::File& file) {
    std::vector<kova::uint8> piece(kPiece);
    for (kova::int64 at = 0;;) {
        const kova::int64 got = file.readAt(at, piece.data(), piece.size());
        if (got < 0)
            return false;
        add(piece.data(), static_cast<std::size_t>(got));
        at += got;
        if (got == 0)
            return at == file.size();
    }
}
