// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/CrashNoteWindow.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/ScreenState.h"
#include "Tessivar/Windows/WhatsNewWindow.h"

#include "Support/TemporaryFolder.h"
#include "Support/Windows/Widgets.h"

#include <QDir>
#include <QPalette>
#include <QStandardItemModel>
#include <QTextBrowser>
#include <QTreeView>

#include <nlohmann/json.hpp>

namespace tessivar {

namespace {

using namespace fluvane::support;

constexpr auto note = "Fluvane ended unexpectedly on 2026-03-01 at 9:30; your downloads carry on.\n"
                      "The report below tells where in the program it ended.\n\n"
                      "Fluvane 1.2.0 (crash)\nSignal: 11\n\nStack:\n  0  fluvane +0x1\n";

/// Of the pixels that are drawn at all, the colour of the strongest.
QColor inkOf(const QIcon& icon) {
    const auto image = icon.pixmap(QSize(16, 16), 1).toImage();
    QColor ink(Qt::transparent);
    for (int at = 0; at < image.width() * image.height(); ++at) {
        const auto color = image.pixelColor(at % image.width(), at / image.width());
        ink = color.alpha() > ink.alpha() ? color : ink;
    }
    return ink;
}

} // namespace

TEST(Icons, TakeTheColoursOfTheMoment) {
    EXPECT_TRUE(icon("no such icon").isNull());
    const auto files = QDir(":/icons").entryList({"*.svg"});
    EXPECT_GE(files.size(), 37);
    for (const auto& file : files) {
        EXPECT_GT(inkOf(icon(file.chopped(4))).alpha(), 150) << file.toStdString();
    }
    const auto pause = icon("pause");
    QPalette palette;
    palette.setColor(QPalette::Active, QPalette::WindowText, Qt::blue);
    QApplication::setPalette(palette);
    EXPECT_EQ(inkOf(pause).rgb(), QColor(Qt::blue).rgb());
    EXPECT_EQ(inkOf(icon("pause", Qt::red)).rgb(), QColor(Qt::red).rgb());
    QApplication::setPalette(QPalette());
}

TEST(ScreenState, TellsNamesAsTheyAreAndRowsOnce) {
    QWidget window;
    QTreeView list(&window);
    QStandardItemModel model(1, 2);
    for (const int column : {0, 1}) {
        model.setData(model.index(0, column), column == 0 ? "1" : "50 MB");
        model.setData(model.index(0, column), "Connection 1, 50 MB", Qt::AccessibleTextRole);
    }
    list.setModel(&model);
    QLabel file("R&D \u200Bplan && more", &window);
    QLabel label("&Folder:", &window);
    label.setBuddy(&list);
    window.show();
    const auto told = screenState::windows().at(0);
    EXPECT_EQ(told["texts"].dump(), R"(["R&D plan && more","Folder:"])");
    EXPECT_EQ(told["lists"][0]["rows"][0]["text"], "Connection 1, 50 MB");
}

TEST(WhatsNewWindow, ShowsReleasesAsTheyAreWritten) {
    WhatsNewWindow window(
        "Fluvane 1.2.0 (2026-03-01)\n- Links of <b>any</b> kind.\n\nFluvane 1.1.0\n- Less.\n");
    EXPECT_EQ(part<QTextBrowser>(window, "text").toPlainText(),
              "Fluvane 1.2.0 (2026-03-01)\nLinks of <b>any</b> kind.\nFluvane 1.1.0\nLess.");
    activate(window);
    QTest::keyClick(&window, Qt::Key_Escape);
    EXPECT_FALSE(window.isVisible());
}

TEST(CrashNoteWindow, FoldsTheReportAndHandsItOut) {
    CrashNoteWindow window(note);
    window.show();
    const auto& report = part<QPlainTextEdit>(window, "report");
    EXPECT_TRUE(said(window, "happened").ends_with(" tells where in the program it ended."));
    EXPECT_FALSE(report.isVisible());
    QTest::keyClick(&part<QAbstractButton>(window, "fold"), Qt::Key_Space);
    EXPECT_TRUE(report.isVisible());
    EXPECT_TRUE(report.toPlainText().startsWith("Fluvane 1.2.0 (crash)\n"));
    EXPECT_TRUE(report.toPlainText().endsWith("+0x1\n"));

    click(window, "copy");
    EXPECT_EQ(QGuiApplication::clipboard()->text(), report.toPlainText());

    const TemporaryFolder folder;
    const auto path = folder / "report.txt";
    const auto saveTo = [&](const std::filesystem::path& file) {
        click(window, "save");
        chooseFile(&part<QFileDialog>(window, "save-report"), file.c_str());
        deleteClosed();
    };
    saveTo(path);
    EXPECT_EQ(readFile(path), report.toPlainText().toStdString());
    saveTo(path / "below");
    EXPECT_TRUE(said(window, "outcome").starts_with("Couldn't save "));

    window.setNote("No crash or hang has been noted.");
    EXPECT_EQ(said(window, "fold") + said(window, "copy"), "");
    EXPECT_FALSE(report.isVisible());
}

} // namespace tessivar
