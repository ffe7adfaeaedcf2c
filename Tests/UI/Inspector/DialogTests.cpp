// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Inspector/ChangeLinkDialog.h"
#include "Fluvane/UI/Inspector/ChecksumDialog.h"
#include "Fluvane/UI/Models/DroppedData.h"
#include "Support/Numbers.h"
#include "Support/Windows/Widgets.h"
#include "Support/Windows/WindowBench.h"

#include <QClipboard>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

namespace fluvane::support {

namespace {

constexpr const char* sha1 = "da39a3ee5e6b4b0d3255bfef95601890afd80709";
constexpr const char* unknown = "That isn't a checksum Fluvane knows: give a SHA-256, SHA-1 or MD5.";

/// A dialog about download 1, which is paused, or 2, which is finished.
template <class Dialog>
struct Asked {
    explicit Asked(DownloadID id) {
        auto finished = savedRecord(2, "http://a.example/2", DownloadState::Finished{});
        finished.file = URL::file("/downloads/2");
        bench.engine.store->saved = {savedRecord(1, "http://a.example/1", DownloadState::Paused{}), finished};
        bench.engine.manager->start();
        dialog = new Dialog(bench.context, id);
        dialog->show();
    }
    ~Asked() { delete dialog; }
    Asked(const Asked&) = delete;
    Asked& operator=(const Asked&) = delete;

    [[nodiscard]] QLineEdit& field() const {
        for (auto* field : dialog->template findChildren<QLineEdit*>()) {
            if (!field->isReadOnly()) {
                return *field;
            }
        }
        throw std::logic_error("no field");
    }
    [[nodiscard]] std::string text(const char* name) const {
        return dialog->template findChild<QLabel*>(name)->text().remove(QChar(0x200B)).toStdString();
    }
    void type(const QString& text) {
        field().selectAll();
        QTest::keyClicks(&field(), text);
    }
    [[nodiscard]] bool closed() {
        bench.refresh();
        deleteClosed();
        return dialog.isNull();
    }

    WindowBench bench;
    QPointer<Dialog> dialog;
};

} // namespace

TEST(ChangeLinkDialog, takesExactlyOneLink) {
    QGuiApplication::clipboard()->clear();
    Asked<ChangeLinkDialog> asked(1_id);
    EXPECT_EQ(
        asked.text("explanation"),
        "Paste a fresh link to the same file. What's downloaded stays; if it turns out to be a different "
        "file, the download stops and says so.");
    const std::vector<std::pair<const char*, std::string>> refused = {
        {"nonsense", "There's no web link in that."},
        {"ftp://a.example/1", "There's no web link in that."},
        {"http://a.example/part[1-3].zip", "That's 3 links. Give just one."}};
    for (const auto& [typed, note] : refused) {
        asked.type(typed);
        EXPECT_EQ(asked.text("note"), note) << typed;
        QTest::keyClick(&asked.field(), Qt::Key_Return);
        EXPECT_FALSE(asked.closed()) << typed;
    }
    asked.type("see <http://b.example/fresh>");
    QTest::keyClick(&asked.field(), Qt::Key_Return);
    EXPECT_TRUE(asked.closed());
    EXPECT_EQ(asked.bench.engine.record(1_id).url.absoluteString(), "http://b.example/fresh");
}

TEST(ChangeLinkDialog, offersTheLinkOnTheClipboardUnlessItIsTheOldOne) {
    QGuiApplication::clipboard()->setText("http://b.example/copied");
    Asked<ChangeLinkDialog> asked(1_id);
    EXPECT_TRUE(QTest::qWaitFor([&] { return asked.field().text() == "http://b.example/copied"; }));
    EXPECT_EQ(asked.field().selectedText(), asked.field().text());
    QGuiApplication::clipboard()->setText("http://a.example/1 ");
    Asked<ChangeLinkDialog> again(1_id);
    bool isRead = false; // here, and before that by the dialog
    findLinks(*QGuiApplication::clipboard()->mimeData(), again.dialog, [&](const auto&) { isRead = true; });
    EXPECT_TRUE(QTest::qWaitFor([&] { return isRead; }));
    EXPECT_EQ(again.field().text(), "");
    QGuiApplication::clipboard()->clear();
}

TEST(ChangeLinkDialog, closesOnceThereIsNothingToChange) {
    Asked<ChangeLinkDialog> removed(1_id);
    removed.bench.engine.manager->remove(1_id);
    EXPECT_TRUE(removed.closed());
    Asked<ChangeLinkDialog> finished(2_id);
    EXPECT_TRUE(finished.closed());
}

TEST(ChecksumDialog, recognisesWhatIsPasted) {
    Asked<ChecksumDialog> asked(1_id);
    asked.type("abc");
    EXPECT_EQ(asked.text("note"), unknown);
    QTest::keyClick(&asked.field(), Qt::Key_Return);
    EXPECT_FALSE(asked.closed());
    asked.type(QString("SHA1 (file) = ") + sha1);
    EXPECT_EQ(asked.text("note"), "This is a SHA-1. Checked once every byte is in.");
    QTest::keyClick(&asked.field(), Qt::Key_Return);
    EXPECT_TRUE(asked.closed());
    EXPECT_EQ(asked.bench.engine.record(1_id).checksum->hex, sha1);

    auto* again = new ChecksumDialog(asked.bench.context, 1_id);
    asked.dialog = again;
    again->show();
    EXPECT_EQ(asked.text("note"), "Checked once every byte is in.");
    QTest::mouseClick(again->findChild<QPushButton*>("take-away"), Qt::LeftButton);
    EXPECT_TRUE(asked.closed());
    EXPECT_FALSE(asked.bench.engine.record(1_id).checksum);
}

TEST(ChecksumDialog, tellsHowTheCheckOfAFinishedFileEnds) {
    Asked<ChecksumDialog> asked(2_id);
    (void)asked.bench.engine.files->create(URL::file("/downloads/2"), 0);
    asked.type(sha1);
    QTest::keyClick(&asked.field(), Qt::Key_Return);
    EXPECT_EQ(asked.text("note"), "Checking the finished file.");
    asked.bench.engine.scheduler.runFor(60);
    EXPECT_FALSE(asked.closed());
    EXPECT_EQ(asked.text("note"), "The file's SHA-1 matches.");
    asked.type(QString(sha1).replace('d', 'e'));
    QTest::keyClick(&asked.field(), Qt::Key_Return);
    asked.bench.engine.scheduler.runFor(60);
    EXPECT_FALSE(asked.closed());
    EXPECT_TRUE(asked.text("note").starts_with("Its SHA-1 doesn't match the one given"))
        << asked.text("note");
    asked.bench.engine.manager->remove(2_id);
    EXPECT_TRUE(asked.closed());
}

} // namespace fluvane::support
