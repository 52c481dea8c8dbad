#include "workers/writeTrial.h"

std::optional<WriteRefusal> tryWriting(const std::wstring& directory) {
    constexpr int kMostAttempts = 100;
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        const std::wstring trial = directory + L"/.orvane-write-test-" + std::to_wstring(attempt);
        platform::File file;
        const bool created =
            file.open(trial, static_cast<std::uint32_t>(platform::Disposition::CreateNew),
                      platform::kGenericRead | platform::kGenericWrite);
        if (!created && file.error() == platform::Error::Exists)
            continue;
        const char byte = 0;
        const bool written = created && file.writeAt(0, &byte, sizeof byte) && file.close() &&
                             file.error() == platform::Error::None;
        const WriteRefusal refusal{file.error(), file.errorText()};
        file.close();
        if (created)
            platform::removeFile(trial);
        if (written)
            return std::nullopt;
        return refusal;
    }
    return WriteRefusal{platform::Error::Exists, L"every name tried exists"};
}
