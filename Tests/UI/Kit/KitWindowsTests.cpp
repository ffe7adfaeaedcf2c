// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/CrashNoteWindow.h"
#include "Tessivar/Windows/Icons.h"
#include "Tessivar/Windows/ScreenState.h"
#include "Tessivar/Windows/WhatsNewWindow.h"

#include "Support/TemporaryFolder.h"
#include "Support/Windows/Widgets.h"

#include <QAbstractButton>
#include <QApplication>
#include <QClipboard>
#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPalette>
#include <QPlainTextEdit>
#include <QStandardItemModel>
#include <QTest>
#include <QTextBrowser>
#include <QTreeView>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <memory>

namespace tessivar {

namespace {

constexpr auto note = "Fluvane ended unexpectedly on 2026-03-01 at 9:30; your downloads carry on.\n"
                      "The report below tells where in the program it ended.\n\n"
                      "Fluvane 1.2.0 (crash)\nSignal: 11\n\nStack:\n  0  fluvane +0x1\n";

/// Of the pixels that are drawn at all, the colour of the strongest.
QColor inkOf(const QIcon& icon, QIcon::Mode mode = QIcon::Normal) {
    const auto image = icon.pixmap(QSize(16, 16), 1, mode).toImage();
    QColor ink(Qt::transparent);
    for (int at = 0; at < image.width() * image.height(); ++at) {
        const auto color = image.pixelColor(at % image.width(), at / image.width());
        ink = color.alpha() > ink.alpha() ? color : ink;
    }
    return ink;
}

template <class Type>
Type* child(QWidget& window, const char* name) {
    return window.findChild<Type*>(name);
}

/// Answers the dialog for saving as a person does.
void saveTo(CrashNoteWindow& window, const QString& file) {
    child<QAbstractButton>(window, "save")->click();
    fluvane::support::chooseFile(child<QFileDialog>(window, "save-report"), file);
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
    for (const QColor text : {QColor(0x20, 0x20, 0x20), QColor(0xee, 0xee, 0xee)}) {
        QPalette palette;
        palette.setColor(QPalette::Active, QPalette::WindowText, text);
        palette.setColor(QPalette::Disabled, QPalette::WindowText, Qt::gray);
        palette.setColor(QPalette::Active, QPalette::HighlightedText, Qt::yellow);
        QApplication::setPalette(palette);
        EXPECT_EQ(inkOf(pause).rgb(), text.rgb());
        EXPECT_EQ(inkOf(pause, QIcon::Disabled).rgb(), QColor(Qt::gray).rgb());
        EXPECT_EQ(inkOf(pause, QIcon::Selected).rgb(), QColor(Qt::yellow).rgb());
        EXPECT_EQ(inkOf(icon("pause", Qt::red)).rgb(), QColor(Qt::red).rgb());
    }
    QApplication::setPalette(QPalette());
    EXPECT_EQ(pause.pixmap(QSize(16, 16), 2).size(), QSize(32, 32));
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
        "Fluvane 1.2.0 (2026-03-01)\n- Links of <b>any</b> kind.\n- More.\n\nFluvane 1.1.0\n- Less.\n");
    EXPECT_EQ(child<QTextBrowser>(window, "text")->toPlainText(),
              "Fluvane 1.2.0 (2026-03-01)\nLinks of <b>any</b> kind.\nMore.\nFluvane 1.1.0\nLess.");
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    QTest::keyClick(&window, Qt::Key_Escape);
    EXPECT_FALSE(window.isVisible());
}

TEST(CrashNoteWindow, FoldsTheReportAndHandsItOut) {
    CrashNoteWindow window(note);
    window.show();
    auto* const report = child<QPlainTextEdit>(window, "report");
    EXPECT_EQ(
        child<QLabel>(window, "happened")->text(),
        "Fluvane ended unexpectedly on 2026-03-01 at 9:30; your downloads carry on. The report below tells "
        "where in the program it ended.");
    EXPECT_FALSE(report->isVisible());
    const int folded = window.height();
    QTest::keyClick(child<QAbstractButton>(window, "fold"), Qt::Key_Space);
    EXPECT_TRUE(report->isVisible());
    EXPECT_GT(window.height(), folded);
    EXPECT_TRUE(report->toPlainText().startsWith("Fluvane 1.2.0 (crash)\n"));
    EXPECT_TRUE(report->toPlainText().endsWith("+0x1\n"));

    child<QAbstractButton>(window, "copy")->click();
    EXPECT_EQ(QGuiApplication::clipboard()->text(), report->toPlainText());

    const fluvane::support::TemporaryFolder folder;
    const auto path = QString::fromStdString((folder / "report.txt").string());
    saveTo(window, path);
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(QString::fromUtf8(file.readAll()), report->toPlainText());
    EXPECT_EQ(child<QLabel>(window, "outcome")->text(), "Saved as " + path + ".");
    saveTo(window, path + "/below");
    EXPECT_TRUE(child<QLabel>(window, "outcome")->text().startsWith("Couldn't save " + path + "/below: "));

    window.setNote("No crash or hang has been noted.");
    EXPECT_FALSE(child<QAbstractButton>(window, "fold")->isVisible());
    EXPECT_FALSE(child<QAbstractButton>(window, "copy")->isVisible());
    EXPECT_FALSE(report->isVisible());
}

} // namespace tessivar
