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
    const struct {
        URL thing;
        int exitCode;
        std::string problem;
    } rows[] = {
        {file, 0, ""},
        {file, 2, "a b;c.txt couldn't be opened: there's no program for it."},
        {URL::file((root / "gone.iso").string()), 4, "gone.iso couldn't be opened: it isn't there anymore."},
        {URL::parse("http://a.example/b?c").value(), 3,
         "http://a.example/b?c couldn't be opened: there's no program for it."},
    };
    for (const auto& [thing, exitCode, problem] : rows) {
        problems.clear();
        fs::remove(root / "opened");
        openWith(exitCode, thing);
        const auto done = [&, wanted = problem] {
            return fs::exists(root / "opened") && (wanted.empty() || !problems.empty());
        };
        EXPECT_TRUE(waitFor(done));
        EXPECT_EQ(problems, problem.empty() ? std::vector<std::string>() : std::vector{problem});
    }
    actions.open(URL::parse("mailto:a@b.example").value());
    qputenv("PATH", "/nowhere");
    actions.open(file);
    EXPECT_TRUE(waitFor([&] { return problems.size() == 3; })) << problems.size();
}

} // namespace
