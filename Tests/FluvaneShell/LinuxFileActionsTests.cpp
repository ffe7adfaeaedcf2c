// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Shell/LinuxFileActions.h"

#include "Fluvane/Linux/Notices/FileReveal.h"
#include "Fluvane/Linux/Services/Bus.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTimer>

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

using namespace fluvane;
using testing::ElementsAre;

namespace {

namespace fs = std::filesystem;

/// The thread of the application's own loop.
class LoopQueue : public MainQueue {
public:
    void post(std::function<void()> work) override {
        QMetaObject::invokeMethod(qApp, std::move(work), Qt::QueuedConnection);
    }
};

class FileActionsTest : public testing::Test {
protected:
    FileActionsTest() {
        qputenv("HOME", folder.path().toUtf8());
        qputenv("XDG_DATA_HOME", (folder.path() + "/share").toUtf8());
    }
    URL write(const std::string& name, const std::string& text) const {
        std::ofstream(root / name) << text;
        return URL::file((root / name).string());
    }
    /// What moving it answered: an error, or nothing.
    std::optional<std::string> trash(const URL& file) {
        std::optional<std::optional<std::string>> answer;
        actions.moveToWastebasket(file, [&](const auto& error) { answer = error; });
        EXPECT_TRUE(waitFor([&] { return answer.has_value(); }));
        return answer.value_or("no answer");
    }
    /// Opens it with an opener of ours that notes what it is given and exits so.
    void openWith(int exitCode, const URL& thing) {
        fs::create_directories(root / "bin");
        const fs::path script = root / "bin/xdg-open";
        std::ofstream(script) << "#!/bin/sh\nprintf '%s' \"$1\" > '" << (root / "opened").string()
                              << "'\nexit " << exitCode << "\n";
        fs::permissions(script, fs::perms::owner_all);
        qputenv("PATH", (root / "bin").string().c_str());
        actions.open(thing);
    }
    /// What the opener was given last.
    std::string opened() {
        std::ifstream file(root / "opened");
        return {std::istreambuf_iterator<char>(file), {}};
    }
    bool waitFor(const std::function<bool()>& condition) {
        QTimer limit;
        limit.setSingleShot(true);
        limit.start(20'000);
        while (!condition() && limit.isActive()) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        return condition();
    }

    int argc = 1;
    char program[5] = "test";
    char* argv[2] = {program, nullptr};
    QCoreApplication application{argc, argv};
    QTemporaryDir folder;
    fs::path root = folder.path().toStdString();
    LoopQueue queue;
    Bus bus{Bus::Kind::session, queue, ""};
    FileReveal reveal{bus};
    std::vector<std::string> problems;
    LinuxFileActions actions{reveal, queue,
                             [this](const std::string& problem) { problems.push_back(problem); }};
};

TEST_F(FileActionsTest, FilesCanBePutBackFromTheWastebasket) {
    const URL file = write("größe %1.iso", "bytes");
    EXPECT_EQ(trash(file), std::nullopt);
    EXPECT_FALSE(fs::exists(file.path()));
    std::ifstream moved(root / "share/Trash/files/größe %1.iso");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(moved), {}), "bytes");
    EXPECT_TRUE(fs::exists(root / "share/Trash/info/größe %1.iso.trashinfo"));
    EXPECT_EQ(trash(file), std::nullopt) << "gone already";
}

TEST_F(FileActionsTest, AFileThatCannotBeMovedStays) {
    EXPECT_NE(trash(URL::file("/proc/self/status")), std::nullopt);
    const URL file = write("a", "bytes");
    fs::remove_all(root / "share");
    write("share", "no folder");
    EXPECT_EQ(trash(file), "There's no wastebasket.");
    EXPECT_TRUE(fs::exists(file.path()));
}

TEST_F(FileActionsTest, FilesAndLinksAreOpenedByTheDesktop) {
    const URL file = write("a b;c.txt", "");
    const URL gone = URL::file((root / "gone.iso").string());
    const URL link = URL::parse("http://a.example/b?c").value();
    const struct {
        URL thing;
        std::string given;
        int exitCode;
        std::size_t problems;
    } rows[] = {
        {file, file.path(), 0, 0},
        {file, file.path(), 2, 1},
        {gone, gone.path(), 4, 2},
        {link, link.absoluteString(), 3, 3},
    };
    for (const auto& [thing, given, exitCode, count] : rows) {
        fs::remove(root / "opened");
        openWith(exitCode, thing);
        EXPECT_TRUE(waitFor([&, wanted = count] { return !opened().empty() && problems.size() >= wanted; }));
        EXPECT_EQ(opened(), given);
    }
    actions.open(URL::parse("mailto:a@b.example").value());
    qputenv("PATH", "/nowhere");
    actions.open(file);
    EXPECT_TRUE(waitFor([&] { return problems.size() >= 5; }));
    EXPECT_THAT(problems, ElementsAre("a b;c.txt couldn't be opened: there's no program for it.",
                                      "gone.iso couldn't be opened: it isn't there anymore.",
                                      "http://a.example/b?c couldn't be opened: there's no program for it.",
                                      "mailto:a@b.example can't be opened.",
                                      "a b;c.txt couldn't be opened: xdg-open isn't installed."));
}

} // namespace
