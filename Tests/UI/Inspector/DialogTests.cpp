// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Inspector/ChangeLinkDialog.h"
#include "Fluvane/UI/Inspector/ChecksumDialog.h"
#include "Support/Windows/Widgets.h"
#include "Support/Windows/WindowBench.h"

#include <QPointer>

namespace fluvane::support {

namespace {

constexpr const char* sha1 = "da39a3ee5e6b4b0d3255bfef95601890afd80709";

/// A dialog about a paused download.
template <class Dialog>
struct Asked {
    Asked() {
        bench.engine.store->saved = {savedRecord(1, "http://a.example/1", DownloadState::Paused{})};
        bench.engine.manager->start();
        show();
    }
    ~Asked() { delete dialog; }
    Asked(const Asked&) = delete;
    Asked& operator=(const Asked&) = delete;

    void show() {
        dialog = new Dialog(bench.context, 1_id);
        dialog->show();
    }
    [[nodiscard]] QLineEdit& field() const {
        const auto fields = dialog->template findChildren<QLineEdit*>();
        return **std::ranges::find_if(fields, [](auto* field) { return !field->isReadOnly(); });
    }
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
    Asked<ChangeLinkDialog> asked;
    for (const char* const refused : {"nonsense", "ftp://a.example/1", "http://a.example/part[1-3].zip"}) {
        EXPECT_FALSE(asked.takes(refused)) << refused;
        EXPECT_NE(said(*asked.dialog, "note"), "") << refused;
    }
    EXPECT_TRUE(asked.takes("see <http://b.example/fresh>"));
    EXPECT_EQ(asked.bench.engine.record(1_id).url.absoluteString(), "http://b.example/fresh");
}

TEST(ChangeLinkDialog, closesOnceThereIsNothingToChange) {
    Asked<ChangeLinkDialog> removed;
    removed.bench.engine.manager->remove(1_id);
    EXPECT_TRUE(removed.closed());
}

TEST(ChecksumDialog, recognisesWhatIsPasted) {
    Asked<ChecksumDialog> asked;
    EXPECT_FALSE(asked.takes("abc"));
    EXPECT_TRUE(asked.takes(QString("SHA1 (file) = ") + sha1));
    EXPECT_EQ(asked.bench.engine.record(1_id).checksum->hex, sha1);
    asked.show();
    click(*asked.dialog, "take-away");
    EXPECT_TRUE(asked.closed());
    EXPECT_FALSE(asked.bench.engine.record(1_id).checksum);
}

} // namespace fluvane::support
