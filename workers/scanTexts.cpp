#include "workers/scanTexts.h"

#include "model/counted.h"

QString textOf(kova::VolumeNote note) {
    using Note = kova::VolumeNote;
    switch (note) {
    case Note::BackupBootSector:
        return QStringLiteral("the boot sector is damaged; its copy was used");
    case Note::MftMirror:
        return QStringLiteral("the start of the file table is damaged; its copy was used");
    case Note::NoVolumeBitmap:
        return QStringLiteral("which clusters are in use cannot be read; files that others have "
                              "been written over are not recognised");
    case Note::SecondFat:
        return QStringLiteral("the file allocation table is damaged; its copy was used");
    case Note::NoFat:
        return QStringLiteral("the file allocation table is damaged; files that lay in several "
                              "pieces may come out wrong");
    case Note::EndsEarly:
        return QStringLiteral("the drive or image is shorter than its file system; what lay "
                              "beyond its end is missing");
    }
    return {};
}

QString durationText(std::chrono::seconds duration) {
    using std::chrono::minutes;
    if (duration.count() <= 0)
        return {};
    if (duration < minutes(1))
        return QStringLiteral("less than a minute");
    const auto about = std::chrono::ceil<minutes>(duration);
    constexpr int kTold = 10; // From there on in steps of 5.
    const auto told = about.count() <= kTold ? about.count() : (about.count() + 4) / 5 * 5;
    constexpr int kMinutesPerHour = 60;
    if (told < kMinutesPerHour)
        return QStringLiteral("about %1").arg(counted(told, "minute"));
    const auto halves = (told + kMinutesPerHour / 4) * 2 / kMinutesPerHour;
    return halves == 2 ? QStringLiteral("about an hour")
                       : QStringLiteral("about %1 hours").arg(static_cast<double>(halves) / 2);
}
