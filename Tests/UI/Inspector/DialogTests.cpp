// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Inspector/ChangeLinkDialog.h"
#include "Fluvane/UI/Inspector/ChecksumDialog.h"
#include "Fluvane/UI/Models/DroppedData.h"
#include "Support/Windows/Widgets.h"
#include "Support/Windows/WindowBench.h"

#include <QPointer>

namespace fluvane::support {

namespace {

constexpr const char* sha1 = "da39a3ee5e6b4b0d3255bfef95601890afd80709";

/// A dialog about download 1, which is paused, or 2, which is finished.
template <class Dialog>
struct Asked {
    explicit Asked(DownloadID id) {
        auto finished = savedRecord(2, "http://a.example/2", DownloadState::Finished{});
        finished.file = URL::file("/downloads/2");
        bench.engine.store->saved = {savedRecord(1, "http://a.example/1", DownloadState::Paused{}), finished};
        bench.engine.manager->start();
        show(id);
    }
    ~Asked() { delete dialog; }
    Asked(const Asked&) = delete;
    Asked& operator=(const Asked&) = delete;

    void show(DownloadID id) {
        dialog = new Dialog(bench.context, id);
        dialog->show();
    }
    [[nodiscard]] QLineEdit& field() const {
        const auto fields = dialog->template findChildren<QLineEdit*>();
        return **std::ranges::find_if(fields, [](auto* field) { return !field->isReadOnly(); });
    }
    [[nodiscard]] std::string note() const { return said(*dialog, "note"); }
    /// Whether it closes when that is entered.
    [[nodiscard]] bool takes(const QString& text) {
        typeAndEnter(field(), text);
        return closed();
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
    for (const char* const refused : {"nonsense", "ftp://a.example/1", "http://a.example/part[1-3].zip"}) {
        EXPECT_FALSE(asked.takes(refused)) << refused;
        EXPECT_NE(asked.note(), "") << refused;
    }
    EXPECT_TRUE(asked.takes("see <http://b.example/fresh>"));
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
    EXPECT_TRUE(Asked<ChangeLinkDialog>(2_id).closed());
}

TEST(ChecksumDialog, recognisesWhatIsPasted) {
    Asked<ChecksumDialog> asked(1_id);
    EXPECT_FALSE(asked.takes("abc"));
    EXPECT_TRUE(asked.takes(QString("SHA1 (file) = ") + sha1));
    EXPECT_EQ(asked.bench.engine.record(1_id).checksum->hex, sha1);
    asked.show(1_id);
    click(*asked.dialog, "take-away");
    EXPECT_TRUE(asked.closed());
    EXPECT_FALSE(asked.bench.engine.record(1_id).checksum);
}

TEST(ChecksumDialog, tellsHowTheCheckOfAFinishedFileEnds) {
    Asked<ChecksumDialog> asked(2_id);
    (void)asked.bench.engine.files->create(URL::file("/downloads/2"), 0);
    const std::pair<QString, std::string> rows[] = {
        {sha1, "The file's SHA-1 matches."},
        {QString(sha1).replace('d', 'e'), "Its SHA-1 doesn't match the one given"},
    };
    for (const auto& [checksum, outcome] : rows) {
        EXPECT_FALSE(asked.takes(checksum));
        asked.bench.engine.scheduler.runFor(60);
        EXPECT_FALSE(asked.closed());
        EXPECT_TRUE(asked.note().starts_with(outcome)) << asked.note();
    }
    asked.bench.engine.manager->remove(2_id);
    EXPECT_TRUE(asked.closed());
}

} // namespace fluvane::support
