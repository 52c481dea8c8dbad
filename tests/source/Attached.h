#pragma once

#include "engine/types.h"
#include "format/WideText.h"
#include "platform/Drives.h"
#include "tests/platform/Tools.h"
#include "tests/support/TempDir.h"

#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

/// A disk image of its own, attached as a drive.
class Attached {
public:
    explicit Attached(const std::vector<kova::uint8>& bytes) {
        std::ofstream(path(), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
        attach();
    }

    /// A sample volume: "ntfs.img" or "fat.img".
    explicit Attached(const std::string& sample) {
        platform::test::run("xz -dc '" ORVANE_SOURCE_DIR "/samples/" + sample + ".xz' > '" +
                            path().string() + "'");
        attach();
    }

    [[nodiscard]] char letter() const { return letter_; }

    [[nodiscard]] std::filesystem::path path() const { return folder_ / "volume.img"; }

    void remove() const { std::filesystem::remove(path()); }

private:
    void attach() {
        const auto attached = platform::attachImage(path().wstring());
        if (attached.drives.size() != 1)
            throw std::runtime_error(format::utf8FromWide(attached.error));
        letter_ = attached.drives.front().letter;
    }

    kova::test::TempDir folder_;
    char letter_ = 0;
};
