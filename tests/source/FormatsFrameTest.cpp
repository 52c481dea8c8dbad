#include "pages/FormatsFrame.h"

#include "model/ExtensionFilter.h"

#include <QCheckBox>
#include <QRadioButton>
#include <QStyle>
#include <QStyleOptionButton>
#include <QTest>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

class FormatsFrameTest : public testing::Test {
protected:
    FormatsFrame page;

    void SetUp() override { page.show(); }

    [[nodiscard]] QAbstractButton& button(const char* name) const {
        return *page.findChild<QAbstractButton*>(QLatin1String(name));
    }

    void click(const char* name) const {
        QAbstractButton& target = button(name);
        QStyleOptionButton option;
        option.initFrom(&target);
        const QRect indicator = target.style()->subElementRect(
            qobject_cast<QCheckBox*>(&target) != nullptr ? QStyle::SE_CheckBoxIndicator
                                                         : QStyle::SE_RadioButtonIndicator,
            &option, &target);
        QTest::mouseClick(&target, Qt::LeftButton, {}, indicator.center());
    }

    /// Names out of `names` that pass.
    [[nodiscard]] QStringList passing(const QStringList& names) const {
        QSet<QString> allowed;
        QSet<QString> denied;
        page.getFilter(allowed, denied);
        const ExtensionFilter filter(allowed, denied);
        QStringList result;
        for (const QString& name : names) {
            kova::ZFileTreeNode node;
            node.name = name.toStdWString();
            if (filter.accepts(node))
                result << name;
        }
        return result;
    }

    const QStringList all{
        QStringLiteral("a.doc"), QStringLiteral("b.JPG"),     QStringLiteral("c.gif"),
        QStringLiteral("d.avi"), QStringLiteral("track.MP3"), QStringLiteral("f.exe"),
        QStringLiteral("g.sh"),  QStringLiteral("h.zip"),     QStringLiteral("README")};
};

TEST_F(FormatsFrameTest, AtFirstEverythingIsLookedFor) {
    EXPECT_TRUE(static_cast<QRadioButton&>(button("rbAll")).isChecked());
    const auto boxes = page.findChildren<QCheckBox*>();
    EXPECT_EQ(boxes.size(), 6);
    for (const QCheckBox* box : boxes) {
        EXPECT_FALSE(box->isEnabled());
        EXPECT_FALSE(box->isChecked());
    }
    EXPECT_TRUE(page.hasSelection());
    QSet<QString> allowed;
    QSet<QString> denied;
    page.getFilter(allowed, denied);
    EXPECT_EQ(allowed, QSet<QString>{QStringLiteral("*")});
    EXPECT_TRUE(denied.isEmpty());
}

TEST_F(FormatsFrameTest, TicksWaitWhileEverythingIsLookedFor) {
    click("cbPictures");
    EXPECT_FALSE(button("cbPictures").isChecked());
    click("rbSome");
    EXPECT_FALSE(page.hasSelection());
    click("cbPictures");
    EXPECT_TRUE(page.hasSelection());
    EXPECT_EQ(passing(all), QStringList{QStringLiteral("b.JPG")});

    click("rbAll");
    EXPECT_FALSE(button("cbPictures").isEnabled());
    EXPECT_TRUE(button("cbPictures").isChecked());
    EXPECT_EQ(passing(all), all);
    click("rbSome");
    EXPECT_EQ(passing(all), QStringList{QStringLiteral("b.JPG")});

    page.setCheckboxes(false);
    EXPECT_FALSE(button("cbOther").isEnabled());
    page.setCheckboxes(true);
    EXPECT_TRUE(button("cbOther").isEnabled());
}

struct Choice {
    const char* title;
    std::vector<const char*> boxes;
    QStringList passing;
};

void PrintTo(const Choice& choice, std::ostream* out) {
    *out << choice.title;
}

class Choices : public FormatsFrameTest, public testing::WithParamInterface<Choice> {};

TEST_P(Choices, LetTheirFilesPass) {
    click("rbSome");
    for (const char* box : GetParam().boxes)
        click(box);
    EXPECT_EQ(page.hasSelection(), !GetParam().boxes.empty());
    EXPECT_EQ(passing(all), GetParam().passing);
}

QStringList list(const char* words) {
    return QString::fromLatin1(words).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

INSTANTIATE_TEST_SUITE_P(
    Families, Choices,
    testing::Values(
        Choice{"Nothing", {}, {}}, Choice{"Documents", {"cbDocuments"}, list("a.doc")},
        Choice{"Sounds", {"cbSounds"}, list("track.MP3")},
        Choice{"Programs", {"cbPrograms"}, list("f.exe")},
        // A suffix of two families passes when both are wanted.
        Choice{"Videos", {"cbVideos"}, list("d.avi")},
        Choice{"PicturesAndVideos", {"cbPictures", "cbVideos"}, list("b.JPG c.gif d.avi")},
        Choice{"DocumentsAndPrograms", {"cbDocuments", "cbPrograms"}, list("a.doc f.exe g.sh")},
        Choice{"Other", {"cbOther"}, list("h.zip README")},
        Choice{"SoundsAndOther", {"cbSounds", "cbOther"}, list("track.MP3 h.zip README")}),
    [](const auto& parameter) { return std::string(parameter.param.title); });

} // namespace
