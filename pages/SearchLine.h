#pragma once

#include <QLineEdit>

/// A line for what is searched for. Escape empties it and leaves it, Enter and Down only leave it.
class SearchLine : public QLineEdit {
    Q_OBJECT

public:
    explicit SearchLine(QWidget* parent = nullptr);

signals:
    /// The user is done here and wants to get on in what was found.
    void left();

protected:
    void keyPressEvent(QKeyEvent* event) override;
};
