#pragma once

#include "pages/DriveInfo.h"
#include "platform/Drives.h"

#include <QList>
#include <QWidget>

#include <functional>
#include <memory>
#include <vector>

class QLabel;

namespace Ui {
class SourceFrame;
}

/// The page on which the drive to scan is chosen. Its list is asked for anew every other second,
/// and when the system tells of a drive that comes or goes, and keeps the choice as long as that
/// drive is there under the same label.
class SourceFrame : public QWidget {
    Q_OBJECT

public:
    using DriveSource = std::function<std::vector<platform::Drive>()>;

    /// `drives` is asked on the GUI thread and has to be quick.
    explicit SourceFrame(QWidget* parent = nullptr, DriveSource drives = platform::listDrives);
    SourceFrame(const SourceFrame&) = delete;
    SourceFrame& operator=(const SourceFrame&) = delete;
    ~SourceFrame() override;

    /// Appends every fixed or removable drive, in the order of the letters.
    void listDrives(QList<DriveInfo>& out) const;

    /// The letter of the drive chosen, 0 without one.
    [[nodiscard]] char selectedLetter() const;

    /// Whether a drive is chosen; the property "volumeLetter" then holds its letter as an int.
    /// Otherwise the user has been told.
    bool validateSelection();

public slots:
    /// Brings the list up to date.
    void showSources();

signals:
    /// A drive was chosen by a double click or with Enter.
    void sourceSelected();

private:
    void addNoDrivesLabel();
    void onEnterPressed();
    [[nodiscard]] bool shows(const QList<DriveInfo>& drives) const;
    void fill(const QList<DriveInfo>& drives);

    std::unique_ptr<Ui::SourceFrame> ui;
    QLabel* noDrives_ = nullptr; ///< In the list while it is empty.
    DriveSource drives_;
};
