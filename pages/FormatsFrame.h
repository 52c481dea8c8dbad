#pragma once

#include <QSet>
#include <QString>
#include <QWidget>

#include <memory>

namespace Ui {
class FormatsFrame;
}

/// The page on which the kinds of files to look for are chosen: all, or some families of file
/// types. See `ExtensionFilter` for what the resulting sets mean.
class FormatsFrame : public QWidget {
    Q_OBJECT

public:
    explicit FormatsFrame(QWidget* parent = nullptr);
    FormatsFrame(const FormatsFrame&) = delete;
    FormatsFrame& operator=(const FormatsFrame&) = delete;
    ~FormatsFrame() override;

    /// Adds the suffixes chosen to `allowed` and those to be left out to `denied`.
    void getFilter(QSet<QString>& allowed, QSet<QString>& denied) const;

    /// Whether any file at all can pass.
    [[nodiscard]] bool hasSelection() const;

public slots:
    /// Enables the families when `rbSome` sent the signal and disables them when another button
    /// did; called directly, `state` decides. Ticks stay as they are.
    void setCheckboxes(bool state);

private:
    std::unique_ptr<Ui::FormatsFrame> ui;
};
