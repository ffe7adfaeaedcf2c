// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/LinuxScheduler.h"
#include "Fluvane/Linux/Services/Bus.h"
#include "Fluvane/UI/Desktop/DesktopWindows.h"
#include "Support/Numbers.h"
#include "Support/TemporaryFolder.h"
#include "Support/Windows/Widgets.h"
#include "Support/Windows/WindowBench.h"
#include "Tessivar/Windows/LanguageOfWindows.h"
#include "TessivarPhrases/Language.h"

#include <QRegularExpression>
#include <QTabBar>
#include <QToolButton>

namespace fluvane {
namespace {

using namespace support;
using namespace testing;

/// What is the same in every language: names of files, sites and programs, links, places, endings, kinds of
/// checksums; and what Qt names itself, by catalogues of its own.
const QRegularExpression data(
    R"(https?://\S*|fluvane://|[\w-]+( ?\(?\d\)?)?\.(iso|zip|mkv|pdf)|a\.example|[~/]\w[\w./-]*|Fluvane|report 1|)"
    R"(SHA-\d+|MD5|Ctrl\+\S+|F10|F[256]|ETag|iso img [a-z ]*|<[^>]*>|\((Return|Del|Space)\)|Scroll (Left|Right))",
    QRegularExpression::CaseInsensitiveOption);

/// The words of a text that no phrase has brought: what is outside of brackets.
QString plain(QString text) {
    text.remove('&').remove(QChar(0x200B));
    QString outside;
    int depth = 0;
    for (const QChar character : text) {
        depth += character == '[' ? 1 : 0;
        outside += depth == 0 ? character : QChar(' ');
        depth -= character == ']' && depth > 0 ? 1 : 0;
    }
    outside.remove(data);
    return outside.contains(QRegularExpression("[A-Za-z]{2}")) ? text : QString();
}

QStringList textsOf(const QWidget& widget) {
    QStringList texts = {widget.windowTitle(), widget.toolTip(), widget.accessibleName(),
                         widget.accessibleDescription()};
    if (const auto* label = qobject_cast<const QLabel*>(&widget)) {
        texts << label->text();
    } else if (const auto* button = qobject_cast<const QAbstractButton*>(&widget)) {
        texts << button->text();
    } else if (const auto* field = qobject_cast<const QLineEdit*>(&widget)) {
        texts << field->placeholderText();
    } else if (const auto* text = qobject_cast<const QPlainTextEdit*>(&widget)) {
        texts << text->placeholderText();
    } else if (const auto* box = qobject_cast<const QComboBox*>(&widget)) {
        for (int item = 0; item < box->count(); ++item) {
            texts << box->itemText(item);
        }
    } else if (const auto* tabs = qobject_cast<const QTabBar*>(&widget)) {
        for (int tab = 0; tab < tabs->count(); ++tab) {
            texts << tabs->tabText(tab);
        }
    }
    for (const auto* action : widget.actions()) {
        texts << action->text() << (action->toolTip() == action->text() ? QString() : action->toolTip());
    }
    return texts;
}

/// Of what doesn't shorten its text itself.
bool isClipped(const QWidget& widget) {
    if (const auto* label = qobject_cast<const QLabel*>(&widget); label && !label->text().isEmpty()) {
        const bool shortens = label->sizePolicy().horizontalPolicy() == QSizePolicy::Ignored;
        return !shortens && (label->wordWrap() ? label->heightForWidth(label->width()) > label->height()
                                               : label->minimumSizeHint().width() > label->width());
    }
    const auto* button = qobject_cast<const QAbstractButton*>(&widget);
    const auto* tool = qobject_cast<const QToolButton*>(&widget);
    const bool showsText =
        button && !button->text().isEmpty() && (!tool || tool->toolButtonStyle() != Qt::ToolButtonIconOnly);
    return showsText && button->sizeHint().width() > button->width();
}

class PseudoLanguage : public Test {
protected:
    PseudoLanguage() {
        const auto find = [](const char* name) { return std::string_view(name) == "LANG" ? "xx" : nullptr; };
        tessivar::setLanguage(tessivar::readLanguage(find, {FLUVANE_CATALOGUES}, "fluvane"));
        tessivar::followLanguage();
        auto paused = savedRecord(2, "http://a.example/paused.zip", DownloadState::Paused());
        paused.size = 100;
        paused.resumable = true;
        paused.pieces = {Piece{0, 50, 50}, Piece{50, 100, 10}};
        auto done = savedRecord(4, "http://a.example/done.pdf", DownloadState::Finished{});
        done.file = URL::file("/downloads/done.pdf");
        done.completed = done.added;
        bench.engine.store->saved = {
            savedRecord(1, "http://a.example/running.iso"), paused,
            savedRecord(3, "http://a.example/broken.mkv", DownloadState::Failed{"The server is busy (503)."}),
            done};
        Config config;
        config.hasCompletedOnboarding = true;
        config.rules = {{"a", Rule::Kind{FileKind::video}, "/videos", {}},
                        {"b", Rule::Site{"a.example"}, {}, 2}};
        bench.settings.update(config);
        bench.engine.manager->start();
        bench.engine.turns();
        windows = std::make_unique<DesktopWindows>(
            *bench.engine.manager, bench.settings, bench.files, autostart, bus, folder.path().string(),
            ApplicationWindows::SelfDescription{
                .log = [](auto completion) { completion("report 1"); },
                .diagnostics = [](auto completion) { completion("report 1"); },
                .settingsProblem = [] { return std::string(); },
                .whatsNew = [] { return std::string(); },
                .crashNote = [] { return std::string(); },
                .notices = [] { return std::vector<ApplicationWindows::Notice>(); },
                .tell = [](const auto&) {}});
        windows->start();
    }
    ~PseudoLanguage() override {
        windows.reset();
        tessivar::setLanguage({});
    }

    static void look(const char* what) {
        QApplication::processEvents();
        for (QWidget* const window : QApplication::topLevelWidgets()) {
            auto parts = window->findChildren<QWidget*>();
            parts.prepend(window);
            for (const QWidget* const each : parts) {
                if (!window->isVisible() || !each->isVisible()) {
                    continue;
                }
                for (const auto& text : textsOf(*each)) {
                    EXPECT_EQ(plain(text).toStdString(), "")
                        << what << ", " << each->objectName().toStdString();
                }
                EXPECT_FALSE(isClipped(*each))
                    << what << ", " << each->metaObject()->className() << " "
                    << each->objectName().toStdString() << ": " << textsOf(*each).join(" | ").toStdString()
                    << " " << each->width() << " of " << each->sizeHint().width();
            }
        }
    }
    static void closeAll() {
        for (QWidget* const window : QApplication::topLevelWidgets()) {
            window->close();
        }
        deleteClosed();
    }

    TemporaryFolder folder;
    WindowBench bench;
    LinuxScheduler scheduler;
    Bus bus{Bus::Kind::session, scheduler, ""};
    FakeAutostart autostart;
    std::unique_ptr<DesktopWindows> windows;
};

TEST_F(PseudoLanguage, ReachesEveryTextAndClipsNone) {
    const auto details = [&](std::int64_t number) {
        windows->showDownloads(DownloadID{number});
        auto* const shown = onScreen("downloads")->findChild<QAction*>("details");
        if (!shown->isChecked()) {
            shown->trigger();
        }
    };
    const auto pressed = [](const char* window, const char* button) { click(*onScreen(window), button); };
    const std::pair<const char*, std::function<void()>> rows[] = {
        {"the list", [&] { windows->showDownloads(std::nullopt); }},
        {"a paused one's details", [&] { details(2); }},
        {"a failed one's details", [&] { details(3); }},
        {"a finished one's details", [&] { details(4); }},
        {"the details of several",
         [&] {
             windows->showAdded({2_id, 3_id});
         }},
        {"new downloads",
         [&] { windows->newDownload({link("http://a.example/part.zip")}, std::nullopt, nullptr); }},
        {"offers",
         [&] {
             const PendingOffer one{.token = "1",
                                    .link = link("http://a.example/part.zip"),
                                    .name = "part.zip",
                                    .size = 5'000'000,
                                    .site = "a.example",
                                    .folder = URL::folder("/downloads")};
             windows->showOffers({one}, [](const auto&, const auto&) {});
         }},
        {"general settings", [&] { windows->showSettings("general"); }},
        {"settings of files", [&] { windows->showSettings("files"); }},
        {"rules", [&] { windows->showSettings("rules"); }},
        {"a rule", [&] { windows->showSettings("rules"), pressed("settings", "addRuleButton"); }},
        {"settings of connections", [&] { windows->showSettings("connections"); }},
        {"about", [&] { windows->showSettings("about"); }},
        {"welcome", [&] { windows->showWelcome(); }},
        {"what's new", [&] { windows->showWhatsNew(); }},
        {"a crash note", [&] { windows->showCrashNote(); }},
        {"another link", [&] { windows->changeLink(3_id); }},
        {"a checksum", [&] { windows->editChecksum(2_id); }},
        {"another name", [&] { windows->rename(4_id); }},
        {"the end", [&] { windows->quit(); }},
    };
    for (const auto& [what, open] : rows) {
        open();
        look(what);
        closeAll();
    }
}

} // namespace
} // namespace fluvane
