// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Windows/CrashNoteWindow.h"

#include "Support/TemporaryFolder.h"
#include "Support/Windows/Widgets.h"

namespace tessivar {

using namespace fluvane::support;

TEST(CrashNoteWindow, FoldsTheReportAndHandsItOut) {
    CrashNoteWindow window("Fluvane ended unexpectedly.\nThe report below tells where.\n\n"
                           "Fluvane 1.2.0 (crash)\nSignal: 11\n\nStack:\n  0  fluvane +0x1\n");
    window.show();
    const auto& report = part<QPlainTextEdit>(window, "report");
    EXPECT_TRUE(said(window, "happened").ends_with(" tells where."));
    EXPECT_FALSE(report.isVisible());
    QTest::keyClick(&part<QAbstractButton>(window, "fold"), Qt::Key_Space);
    EXPECT_TRUE(report.isVisible());
    EXPECT_TRUE(report.toPlainText().startsWith("Fluvane 1.2.0 (crash)\n"));
    EXPECT_TRUE(report.toPlainText().endsWith("+0x1\n"));

    click(window, "copy");
    EXPECT_EQ(QGuiApplication::clipboard()->text(), report.toPlainText());

    const TemporaryFolder folder;
    click(window, "save");
    chooseFile(&part<QFileDialog>(window, "save-report"), (folder / "report.txt").c_str());
    EXPECT_EQ(readFile(folder / "report.txt"), report.toPlainText().toStdString());
}

} // namespace tessivar
