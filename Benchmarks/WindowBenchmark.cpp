// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// How long the Downloads window takes for a frame, with 10,000 downloads of which 10 run.
//
//     QT_QPA_PLATFORM=offscreen fluvane-windows
//
// Prints milliseconds of the main thread: the median, the slowest of twenty and the slowest, against the 16
// ms that a frame has. Then what the window takes of memory and what of that stays once it is gone, and how
// long another one at its place takes to show.

#include "Fluvane/UI/Downloads/DownloadsWindow.h"
#include "Support/Windows/WindowBench.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QListView>
#include <QScrollBar>
#include <QTabBar>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <malloc.h>

using namespace fluvane;
using namespace fluvane::support;

namespace {

constexpr int downloads = 10'000;
constexpr int running = 10;
constexpr double frame = 16;
constexpr double mostKept = 8; ///< MB, of the toolkit's fonts and styles; the rows take about as much.
constexpr qint64 longestOpening = 150; ///< Milliseconds.

double threadMilliseconds() {
    std::timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

/// MB that are no file's.
double memory() {
    malloc_trim(0);
    std::ifstream file("/proc/self/smaps_rollup");
    double kilobytes = 0;
    for (std::string word; file >> word;) {
        if (word == "Anonymous:") {
            file >> kilobytes;
        }
    }
    return kilobytes / 1e3;
}

/// Times the work, done so often; what comes before each isn't counted. Returns the median.
double measure(const char* name, int times, const std::function<void(int)>& work,
               const std::function<void()>& before = {}) {
    std::vector<double> took;
    for (int i = 0; i < times; ++i) {
        if (before) {
            before();
        }
        const double start = threadMilliseconds();
        work(i);
        took.push_back(threadMilliseconds() - start);
    }
    std::ranges::sort(took);
    const auto at = [&took](double share) {
        return took[static_cast<std::size_t>(share * static_cast<double>(took.size() - 1))];
    };
    fmt::print("{:<34} {:7.2f} {:7.2f} {:7.2f}  {}\n", name, at(0.5), at(0.95), took.back(),
               at(0.95) < frame ? "within a frame" : "TOO SLOW");
    return at(0.5);
}

DownloadRecord sample(int number) {
    static constexpr const char* names[] = {"archive", "vidéo", "Ünïcode", "document", "名前"};
    static constexpr const char* endings[] = {".zip", ".mp4", ".iso", ".pdf", ".flac"};
    DownloadState state = DownloadState::Finished{};
    if (number < running || number % 3 == 0) {
        state = DownloadState::Queued{};
    } else if (number % 3 == 1) {
        state = DownloadState::Paused{};
    }
    auto record = savedRecord(
        number + 1, "http://host" + std::to_string(number % 97) + ".example/f" + std::to_string(number),
        state);
    record.name = names[number % 5] + std::string(" ") + std::to_string(number) + endings[number * 7 % 5];
    record.size = 1'000'000LL * (number + 1);
    record.resumable = true;
    record.pieces = {Piece{0, record.size, number * 1000LL}};
    return record;
}

/// All of it: the platform without a screen would put it off, and what changed may be anywhere.
void paint(QWidget& widget) {
    widget.repaint();
    QApplication::processEvents();
}

class Bench {
public:
    Bench() : list(config()) {
        fill();
        alone = memory();
        open();
    }

    void run() {
        fmt::print("{:<34} {:>7} {:>7} {:>7}  of {} ms\n", "", "median", "95 %", "most", frame);
        DownloadsWindow& window = *shown;
        QListView& view = *window.findChild<QListView*>("list");
        QLineEdit& search = *window.findChild<QLineEdit*>("search");
        const auto update = [this](int) { Q_EMIT list.feed.changed(); };
        const auto arrive = [this] { progress(); };
        const double refresh = measure("update of the list", 200, update, arrive);
        view.scrollToBottom(); // where those that run are
        const double painted = measure(
            "update and its painting", 200,
            [&](int i) {
                update(i);
                paint(*view.viewport());
            },
            arrive);
        window.findChild<QTabBar*>("filter")->setCurrentIndex(0);
        measure("a frame of scrolling", 400, [&](int i) {
            view.verticalScrollBar()->setValue(i * 1700);
            paint(*view.viewport());
        });
        static constexpr const char* typed[] = {"a",       "ar",    "arc",     "arch", "v",   "vi", "vide",
                                                "video 1", "host1", "",        "x",    "xyz", "",   "1",
                                                "12",      "123",   "doc pdf", "doc",  "d",   ""};
        measure("a key in the search", 200, [&](int i) {
            search.setText(typed[i % 20]);
            paint(*view.viewport());
        });
        search.clear();
        measure("a change of the filter", 60, [&](int i) {
            window.findChild<QTabBar*>("filter")->setCurrentIndex(i % 6);
            paint(*view.viewport());
        });
        window.findChild<QTabBar*>("filter")->setCurrentIndex(0);
        view.selectAll();
        const double selected = measure(
            "update with all selected", 100,
            [&](int i) {
                update(i);
                paint(*view.viewport());
            },
            arrive);
        view.clearSelection();
        window.hide();
        const double hidden = measure("update while hidden", 200, update, arrive);
        fmt::print(
            "Of a core at 4 updates a second: {:.2f} % shown ({:.2f} % without painting), {:.2f} % with all "
            "selected, {:.3f} % hidden.\n",
            painted * 0.4, refresh * 0.4, selected * 0.4, hidden * 0.4);
    }

    /// Run last.
    void close() {
        const double with = memory();
        const auto place = shown->place();
        shown.reset();
        QApplication::processEvents();
        const double without = memory();
        fmt::print("Memory: {:.1f} MB before, {:.1f} with the window, {:.1f} once it is gone: {}\n", alone,
                   with, without, without - alone < mostKept ? "given back" : "TOO MUCH KEPT");
        QElapsedTimer clock;
        clock.start();
        open();
        shown->goTo(place);
        QApplication::processEvents();
        fmt::print("Shown again after {} ms: {}\n", clock.elapsed(),
                   clock.elapsed() < longestOpening ? "at once" : "TOO SLOW");
    }

private:
    void open() {
        shown.emplace(list.context);
        shown->resize(1280, 900);
        shown->show();
        QApplication::processEvents();
    }
    static Config config() {
        Config config;
        config.simultaneous = running;
        return config;
    }
    void fill() {
        list.engine.transport->onStart = [](const auto& transfer) { transfer->respondPart(1'000'000'000); };
        for (int i = 0; i < downloads; ++i) {
            list.engine.store->saved.push_back(sample(i));
        }
        list.engine.manager->start();
        list.engine.scheduler.runFor(1);
    }
    void progress() {
        for (const auto& transfer : list.engine.transport->live()) {
            transfer->sendQuietly(1000);
        }
        list.engine.scheduler.runFor(0.25);
    }

    WindowBench list;
    double alone = 0; ///< MB without a window.
    std::optional<DownloadsWindow> shown;
};

} // namespace

int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    const QApplication application(argc, argv);
    Bench bench;
    bench.run();
    bench.close();
}
