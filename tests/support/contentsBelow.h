#pragma once

#include <QCryptographicHash>
#include <QDirIterator>
#include <QFile>
#include <QString>

#include <gtest/gtest.h>

#include <set>

/// The SHA-256 of each file below a folder.
inline std::multiset<QString> contentsBelow(const QString& folder) {
    std::multiset<QString> contents;
    QDirIterator files(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        QCryptographicHash hash(QCryptographicHash::Sha256);
        hash.addData(&file);
        contents.insert(QString::fromLatin1(hash.result().toHex()));
    }
    return contents;
}
