#include "workers/writeTrial.h"

#include "platform/File.h"

platform::Failure tryWriting(platform::Folder& folder) {
    constexpr int kMostAttempts = 100;
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        const std::wstring trial = L".orvane-write-test-" + std::to_wstring(attempt);
        platform::File file;
        const bool created =
            file.open(folder, trial, static_cast<std::uint32_t>(platform::Disposition::CreateNew),
                      platform::kGenericRead | platform::kGenericWrite);
        if (!created && file.failure().kind == platform::Error::Exists)
            continue;
        const char byte = 0;
        if (created && file.writeAt(0, &byte, sizeof byte))
            file.close();
        platform::Failure failure = file.failure();
        file.close();
        if (created)
            folder.remove(trial);
        return failure;
    }
    return {platform::Error::Exists, L"every name tried exists"};
}

platform::Failure tryWriting(const std::wstring& directory) {
    platform::Folder folder;
    return folder.open(directory) ? tryWriting(folder) : folder.failure();
}
