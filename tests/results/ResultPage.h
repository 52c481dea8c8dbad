#pragma once

#include "engine/openVolume.h"
#include "format/WideText.h"
#include "pages/ResultFrame.h"
#include "platform/Drives.h"
#include "tests/support/TempDir.h"

#include <gtest/gtest.h>

#include <QLabel>
#include <QStackedWidget>
#include <QTest>
#include <QTreeView>

#include <cstdlib>
#include <memory>
#include <string>

/// The results page as it is shown, and what a user does on it.
class ResultPage : public testing::Test {
protected:
    ResultPage() {
        page->resize(640, 480);
        page->show();
    }

    ResultPage(const ResultPage&) = delete;
    ResultPage& operator=(const ResultPage&) = delete;

    template <typename Widget>
    Widget* child(const char* name) {
        return page->findChild<Widget*>(QLatin1String(name));
    }

    QTreeView* view() { return child<QTreeView>("tree"); }

    QString label(const char* name) { return child<QLabel>(name)->text(); }

    QString shownPreview() {
        return child<QStackedWidget>("previewStack")->currentWidget()->objectName();
    }

    QModelIndex rowNamed(const QString& name, const QModelIndex& parent = {}) {
        const QAbstractItemModel* model = view()->model();
        for (int row = 0; row < model->rowCount(parent); ++row) {
            const QModelIndex index = model->index(row, 0, parent);
            if (index.data().toString() == name)
                return index;
        }
        return {};
    }

    void click(const QModelIndex& index, Qt::KeyboardModifiers modifiers = {}) {
        view()->scrollTo(index);
        QTest::mouseClick(view()->viewport(), Qt::LeftButton, modifiers,
                          view()->visualRect(index).center());
    }

    /// Attaches a sample volume, unpacked to `unpacked`, and shows what a scan of it finds.
    void openSample(const std::string& name) {
        unpacked = (temporary / name).string();
        const std::string unpack =
            "xz -dc '" ORVANE_SOURCE_DIR "/samples/" + name + ".xz' > " + unpacked;
        ASSERT_EQ(std::system(unpack.c_str()), 0); // NOLINT(cert-env33-c): a test's own words
        const auto attached = platform::attachImage(format::wideFromUtf8(unpacked));
        ASSERT_EQ(attached.drives.size(), 1U);
        letter = attached.drives.front().letter;
        auto media = std::make_unique<kova::ZCustomMedia>();
        ASSERT_TRUE(media->openDrive(letter));
        std::unique_ptr<kova::ZVolume> volume(kova::openVolume(media.get()));
        ASSERT_NE(volume, nullptr);
        volume->setScanOptions(kova::ScanOptions::today());
        ASSERT_TRUE(volume->init());
        auto tree = std::make_unique<kova::ZFileTree>();
        volume->scan(tree.get());
        static_cast<void>(media.release()); // Goes with the volume.
        page->init(volume.release(), tree.release());
    }

    kova::test::TempDir temporary;
    std::string unpacked;
    char letter = 0;
    std::unique_ptr<ResultFrame> page = std::make_unique<ResultFrame>();
};
