#include "app/restartAsAdmin.h"
#include "app/identity.h"
#include "platform/DriveService.h"
#include "platform/desktop/Elevation.h"

#include <QCoreApplication>
#include <QStringList>

#include <gtest/gtest.h>

namespace {

/// The system, as far as rights go, and what was asked of it.
struct System {
    bool isAdmin = false;
    bool hasDriveService = false;
    bool userAgrees = true;
    QStringList launched;
    QStringList messages;
};

System machine;

/// Whether a program started with these arguments has to end.
bool endsWith(const std::vector<const char*>& arguments) {
    std::vector<const char*> all{"orvane"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    int count = static_cast<int>(all.size());
    const QCoreApplication application(count, const_cast<char**>(all.data()));
    setIdentity();
    return restartAsAdmin();
}

class RestartAsAdmin : public testing::Test {
protected:
    RestartAsAdmin() { machine = {}; }
};

TEST_F(RestartAsAdmin, CarriesOnWithRightsOrWhoGivesThemOrOnceRestarted) {
    EXPECT_FALSE(endsWith({"--restart-as-admin"}));
    EXPECT_FALSE(endsWith({"x", "--restart-as-admin", "y"}));
    machine.isAdmin = true;
    EXPECT_FALSE(endsWith({}));
    machine = {};
    machine.hasDriveService = true;
    EXPECT_FALSE(endsWith({}));
    EXPECT_EQ(machine.launched, QStringList());
    EXPECT_EQ(machine.messages, QStringList());
}

TEST_F(RestartAsAdmin, StartsItselfOnceWithTheSwitchAndNothingElse) {
    for (const char* other : {"stick.img", "--Restart-As-Admin", "--restart-as-admin=1"}) {
        machine = {};
        EXPECT_TRUE(endsWith({other}));
        ASSERT_EQ(machine.launched.size(), 2);
        EXPECT_TRUE(machine.launched[0].endsWith(QStringLiteral("startup_tests")));
        EXPECT_EQ(machine.launched[1], QStringLiteral("--restart-as-admin"));
        EXPECT_EQ(machine.messages, QStringList());
    }
}

TEST_F(RestartAsAdmin, SaysWhatToDoWhenRefused) {
    machine.userAgrees = false;
    EXPECT_TRUE(endsWith({}));
    EXPECT_EQ(machine.messages,
              QStringList({QStringLiteral("Orvane"),
                           QStringLiteral("Please, restart Orvane using admin credentials")}));
}

} // namespace

bool isAdmin() {
    return machine.isAdmin;
}

bool platform::hasDriveService() {
    return machine.hasDriveService;
}

bool relaunchElevated(const QString& program, const QString& argument) {
    machine.launched << program << argument;
    return machine.userAgrees;
}

void showMessageBeforeWindows(const QString& text, const QString& caption) {
    machine.messages << caption << text;
}

void initialiseCom() {}
