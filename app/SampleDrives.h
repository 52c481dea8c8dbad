#pragma once

#include <QStringList>
#include <QTemporaryDir>

/// The sample volumes that come with the program, unpacked to a temporary folder that goes with
/// this object.
class SampleDrives {
public:
    /// Throws a QString that says what went wrong.
    SampleDrives();

    [[nodiscard]] const QStringList& images() const { return images_; }

private:
    QTemporaryDir folder_;
    QStringList images_;
};
