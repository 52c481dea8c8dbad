#pragma once

#include "platform/File.h"

#include <cstddef>
#include <string>
#include <string_view>

/// Makes names from a volume into names that the output drive takes and that stay in their
/// folder.
class OutputName {
public:
    enum class Kind { File, Folder };

    explicit OutputName(const platform::NameRules& rules) : rules_(rules) {}

    /// One path component for `name`: what could lead out of the folder or is refused there is
    /// replaced by "_", and so is "?" everywhere. A name too long is shortened, a file's suffix
    /// being kept. Any other name is returned unchanged.
    [[nodiscard]] std::wstring safe(std::wstring_view name, Kind kind) const;

    /// "name (number).ext", or "name (number)" for a folder, for a name that `safe` has made;
    /// shortened to fit in.
    [[nodiscard]] std::wstring numbered(std::wstring_view name, Kind kind, unsigned number) const;

private:
    /// Where the suffix with its dot begins; the end of the name when it has none. A folder has
    /// none, nor has ".profile"; nor one so long that little room would be left for the name.
    [[nodiscard]] std::size_t suffixStart(std::wstring_view name, Kind kind) const;

    /// `stem` + `tail`, as much being cut off the end of `stem` as is too long. The tail fits.
    [[nodiscard]] std::wstring join(std::wstring_view stem, std::wstring_view tail) const;

    platform::NameRules rules_;
};
