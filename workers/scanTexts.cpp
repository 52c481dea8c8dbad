#include "workers/scanTexts.h"

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
