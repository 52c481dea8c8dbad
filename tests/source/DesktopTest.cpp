#include "platform/desktop/Elevation.h"
#include "platform/desktop/FileIcons.h"

#include "tests/platform/Tools.h"
#include "tests/support/TempDir.h"

#include <QApplication>
#include <QImage>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

namespace {

using testing::HasSubstr;

/// A machine on which asking for rights ends as a test wants it to: its pkexec is a script.
class RelaunchTest : public testing::Test {
protected:
    kova::test::TempDir folder;
    const QByteArray pathBefore = qgetenv("PATH");

    void SetUp() override {
        qputenv("PATH", QByteArray::fromStdString(folder.path().string()));
        qputenv("DISPLAY", ":7");
        script("env", "exec /usr/bin/env \"$@\"");
        script("program", "/usr/bin/env > '" + record() + "'; echo \"argument=$1 $#\" >> '" +
                              record() + "'; /bin/mv '" + record() + "' '" + record() + ".done'");
    }

    void TearDown() override { qputenv("PATH", pathBefore); }

    [[nodiscard]] std::string record() const { return (folder / "record").string(); }

    void script(const std::string& name, const std::string& body) const {
        std::ofstream(folder / name) << "#!/bin/sh\n" << body << '\n';
        std::filesystem::permissions(folder / name, std::filesystem::perms::owner_all);
    }

    [[nodiscard]] bool relaunch() const {
        return relaunchElevated(QString::fromStdString((folder / "program").string()),
                                QStringLiteral("--restart-as-admin"));
    }
};

TEST_F(RelaunchTest, StartsTheProgramWithItsArgumentOnTheSameDisplay) {
    // It has the environment of pkexec, not ours.
    script("pkexec", "exec /usr/bin/env -i PATH=/usr/bin:/bin \"$@\"");
    qputenv("HOME_OF_THE_USER", "/home/user");
    EXPECT_TRUE(relaunch());
    const std::string done = record() + ".done";
    ASSERT_TRUE(QTest::qWaitFor([&] { return std::filesystem::exists(done); }, 60000));
    const std::string told = platform::test::contentOf(done);
    EXPECT_THAT(told, HasSubstr("argument=--restart-as-admin 1\n"));
    EXPECT_THAT(told, HasSubstr("DISPLAY=:7\n"));
    EXPECT_THAT(told, testing::Not(HasSubstr("QT_QPA_PLATFORM"))) << "it is offscreen here";
    EXPECT_THAT(told, testing::Not(HasSubstr("HOME_OF_THE_USER")));

    for (const auto& [platforms, isTaken] : std::map<std::string, bool>{
             {"wayland;xcb", true}, {"xcb;vnc", false}, {"xcb:nograb", false}}) {
        std::filesystem::remove(done);
        qputenv("QT_QPA_PLATFORM", platforms.c_str());
        EXPECT_TRUE(relaunch());
        EXPECT_TRUE(QTest::qWaitFor([&] { return std::filesystem::exists(done); }, 60000));
        EXPECT_EQ(platform::test::contentOf(done).find("QT_QPA_PLATFORM=" + platforms) !=
                      std::string::npos,
                  isTaken)
            << platforms;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
}

TEST_F(RelaunchTest, FailsWhenRefusedOrMissing) {
    EXPECT_FALSE(relaunch());
    script("pkexec", "exit 126"); // The user declined.
    EXPECT_FALSE(relaunch());
    script("pkexec", "exit 127"); // Nobody could ask.
    EXPECT_FALSE(relaunch());
    EXPECT_FALSE(std::filesystem::exists(record() + ".done"));
}

TEST(Message, WaitsForItsButton) {
    QString shown;
    QTimer::singleShot(0, qApp, [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        ASSERT_NE(box, nullptr);
        shown = box->windowTitle() + QLatin1Char('|') + box->text();
        box->button(QMessageBox::Ok)->click();
    });
    showMessageBeforeWindows(QStringLiteral("text"), QStringLiteral("caption"));
    EXPECT_EQ(shown, QStringLiteral("caption|text"));
}

TEST(FileIcons, TellKindsOfFilesApart) {
    const QSize size(16, 16);
    std::vector<QImage> icons;
    for (const char* suffix : {"jpg", "mp3", "avi", "txt", "docx", "xlsx", "pptx", "zip"}) {
        SCOPED_TRACE(suffix);
        const QPixmap icon = fileIconForSuffix(QLatin1String(suffix), size);
        EXPECT_EQ(icon.size(), size);
        const QImage image = icon.toImage();
        EXPECT_THAT(icons, testing::Not(testing::Contains(image)));
        icons.push_back(image);
    }
    EXPECT_EQ(fileIconForSuffix(QStringLiteral("JPG"), size).toImage(), icons.front());
    EXPECT_TRUE(fileIconForSuffix(QStringLiteral("nosuchsuffix"), size).isNull());
    EXPECT_TRUE(fileIconForSuffix(QString(), size).isNull());
}

} // namespace
