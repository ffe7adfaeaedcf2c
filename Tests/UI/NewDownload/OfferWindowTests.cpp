// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/RecentFolders.h"
#include "Fluvane/UI/NewDownload/OfferWindow.h"
#include "Support/Windows/Widgets.h"
#include "Support/Windows/WindowBench.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>

namespace fluvane::support {

using namespace testing;

namespace {

PendingOffer offer(const std::string& name) {
    return {.token = "t-" + name,
            .link = link("http://a.example/" + name),
            .name = name,
            .size = 5'000'000,
            .site = "page.example",
            .folder = URL::folder("/downloads")};
}

class OfferWindowTest : public Test {
protected:
    OfferWindowTest() { bench.engine.manager->start(); }
    void show(const std::vector<PendingOffer>& offers) {
        window.setOffers(offers);
        activate(window);
    }
    [[nodiscard]] bool isReady() {
        auto& accept = part<QPushButton>(window, "accept");
        return QTest::qWaitFor([&] { return accept.isEnabled(); });
    }

    WindowBench bench;
    std::vector<std::string> answers;
    RecentFolders folders{""};
    OfferWindow window{bench.context, folders, [this](const auto& token, const OfferAnswer& answer) {
                           answers.push_back(token + (answer.isAccepted ? " yes" : " no") +
                                             (answer.remember ? " always" : "") +
                                             (answer.name ? " " + *answer.name : "") +
                                             (answer.renew ? " fresh" : ""));
                       }};
};

TEST_F(OfferWindowTest, AKeyMeantForAnotherWindowDecidesNothing) {
    show({offer("a.zip")});
    QTest::keyClick(&window, Qt::Key_Return);
    EXPECT_THAT(answers, IsEmpty());
    ASSERT_TRUE(isReady());
    part<QLineEdit>(window, "name").setText("b/c.zip");
    part<QCheckBox>(window, "remember").setChecked(true);
    QTest::keyClick(&window, Qt::Key_Return);
    EXPECT_THAT(answers, ElementsAre("t-a.zip yes always b-c.zip"));
    EXPECT_FALSE(window.isVisible());
}

TEST_F(OfferWindowTest, OfSeveralSomeCanBeLeft) {
    show({offer("a.zip"), offer("b.zip")});
    ASSERT_TRUE(isReady());
    part<QListWidget>(window, "list").item(0)->setCheckState(Qt::Unchecked);
    part<QPushButton>(window, "accept").click();
    EXPECT_THAT(answers, ElementsAre("t-a.zip no", "t-b.zip yes"));
    answers.clear();
    show({offer("c.zip")});
    part<QLineEdit>(window, "name").setText("mine.zip");
    show({offer("c.zip"), offer("d.zip")});
    part<QListWidget>(window, "list").item(0)->setCheckState(Qt::Unchecked);
    show({offer("c.zip")});
    EXPECT_EQ(part<QLineEdit>(window, "name").text(), "mine.zip") << "another came and went";
    EXPECT_TRUE(isReady()) << "there is no box to check it again";
    window.close();
    EXPECT_THAT(answers, ElementsAre("t-c.zip no")) << "closing it is no consent";
}

} // namespace
} // namespace fluvane::support
