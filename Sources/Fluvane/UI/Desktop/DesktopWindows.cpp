// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Desktop/DesktopWindows.h"

#include "Fluvane/UI/Desktop/ActivationVariable.h"
#include "TessivarPhrases/QtPhrases.h"

#include "Fluvane/Linux/Services/Bus.h"
#include "Fluvane/UI/Downloads/DownloadsWindow.h"
#include "Fluvane/UI/Inspector/ChangeLinkDialog.h"
#include "Fluvane/UI/Inspector/ChecksumDialog.h"
#include "Fluvane/UI/Inspector/FolderChange.h"
#include "Fluvane/UI/Inspector/RenameDialog.h"
#include "Fluvane/UI/Models/PresentFolders.h"
#include "Fluvane/UI/Models/SpeedHistory.h"
#include "Fluvane/UI/NewDownload/NewDownloadWindow.h"
#include "Fluvane/UI/NewDownload/OfferWindow.h"
#include "Fluvane/UI/Settings/SettingsWindow.h"
#include "Fluvane/UI/Tray/StatusMenu.h"
#include "Fluvane/UI/Welcome/WelcomeWindow.h"
#include "FluvaneEngine/Abilities.h"
#include "Tessivar/Windows/Appearance.h"
#include "Tessivar/Windows/CrashNoteWindow.h"
#include "Tessivar/Windows/FilePortal.h"
#include "Tessivar/Windows/ScreenState.h"
#include "Tessivar/Windows/TextWindow.h"
#include "Tessivar/Windows/WhatsNewWindow.h"

#include <nlohmann/json.hpp>

#include <QApplication>
#include <QIcon>
#include <QImage>
#include <QMessageBox>
#include <QPixmapCache>
#include <QPushButton>
#include <QSettings>
#include <QTimer>
#include <QWindow>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <malloc.h>

namespace fluvane {

using tessivar::phrase;
using tessivar::phrases;
using tessivar::qPhrase;
using tessivar::qPhrases;

namespace {

/// Before pictures are taken, in milliseconds: what was just asked for is on screen by then.
constexpr int beforeSnapshot = 300;
/// When all that a start does is done, in milliseconds.
constexpr int afterStart = 10'000;

/// The window of that class that stands, or a new one that ends when it is closed.
template <class Window, class Make>
Window& standing(std::vector<QPointer<QWidget>>& windows, const Make& make) {
    std::erase_if(windows, [](const auto& window) { return window.isNull(); });
    for (const auto& window : windows) {
        if (auto* found = qobject_cast<Window*>(window.data())) {
            return *found;
        }
    }
    Window* window = make();
    window->setAttribute(Qt::WA_DeleteOnClose);
    windows.emplace_back(window);
    return *window;
}

/// The same for a question about one download, which makes room for one about another.
template <class Dialog>
Dialog& asking(std::vector<QPointer<QWidget>>& windows, WindowContext& context, DownloadID id) {
    const auto make = [&] { return new Dialog(context, id); };
    Dialog& dialog = standing<Dialog>(windows, make);
    if (dialog.id() == id) {
        return dialog;
    }
    delete &dialog;
    return standing<Dialog>(windows, make);
}

/// Windows aren't closed one by one, as `quit` does it: a closed window means something else here.
void end() {
    QCoreApplication::exit();
}

/// Tells of each window that is hidden, also of those that belong to others, whose end nobody else tells of.
class Hiding : public QObject {
public:
    explicit Hiding(std::function<void()> seen) : seen_(std::move(seen)) {}
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Hide && watched->isWidgetType() &&
            static_cast<QWidget*>(watched)->isWindow()) {
            seen_(); // it is still being hidden now
        }
        return false;
    }

private:
    std::function<void()> seen_;
};

std::string running(int count) {
    return count == 1 ? phrase("One download is running.")
                      : phrases("%1 download is running.", "%1 downloads are running.", count);
}

} // namespace

DesktopWindows::DesktopWindows(DownloadManager& manager, SettingsAccess& settings, FileActions& files,
                               Autostart& autostart, Bus& session, const std::string& stateFolder,
                               SelfDescription self)
    : context_{manager, feed_, settings, files, *this}, autostart_(autostart), session_(session),
      stateFolder_(stateFolder), self_(std::move(self)),
      places_(QString::fromStdString(stateFolder + "/windows.ini")),
      recentFolders_(stateFolder + "/recent-folders.json"),
      appearance_(std::make_unique<tessivar::Appearance>()),
      portal_(std::make_unique<tessivar::FilePortal>(qApp)) {}

DesktopWindows::~DesktopWindows() {
    for (const auto& window : std::exchange(passing_, {})) {
        delete window.data();
    }
    delete quitQuestion_.data();
}

void DesktopWindows::start() {
    QApplication::setWindowIcon(QIcon(":/welcome/org.fluvane.Fluvane.svg"));
    // The bus outlives the windows, and calls for as long as it is there.
    session_.whenConnected(
        [scheme = QPointer(appearance_.get()), portal = QPointer(portal_.get())](const QDBusConnection& bus) {
            if (scheme && portal) {
                scheme->follow(bus);
                portal->follow(bus);
            }
        });
    tray_ = std::make_unique<StatusMenu>(context_, session_);
    QObject::connect(qApp, &QGuiApplication::focusWindowChanged, &feed_, [this] { noticeWhatIsSeen(); });
    QObject::connect(&feed_, &ListFeed::changed, &feed_, [this] { noticeWhatIsSeen(); });
    hiding_ = std::make_unique<Hiding>([this] { QTimer::singleShot(0, &feed_, [this] { dropUnseen(); }); });
    qApp->installEventFilter(hiding_.get());
    QTimer::singleShot(afterStart, &feed_, [] { malloc_trim(0); }); // a start takes more than it needs later
    // From now on, so that details that are opened later show what went before.
    (void)SpeedHistory::of(context_.manager, feed_);
}

void DesktopWindows::useActivationToken(const std::string& token) {
    activationToken_ = token;
}

void DesktopWindows::present(QWidget& window) {
    // Where windows may not raise themselves, the token of what the user did elsewhere allows it once.
    const std::string token = std::exchange(activationToken_, {});
    const bool handsOver = !token.empty() && QGuiApplication::platformName().startsWith("wayland");
    if (handsOver) {
        activationVariable::set(token);
    }
    window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
    if (&window == downloads_.get()) {
        tessivar::WindowPlaces::fit(window); // it has a memory of its own
    } else {
        places_.put(window, downloads_.get());
    }
    window.show();
    window.raise();
    window.activateWindow();
    if (handsOver) {
        activationVariable::clear();
    }
}

DownloadsWindow& DesktopWindows::downloads() {
    if (!downloads_) {
        downloads_ = std::make_unique<DownloadsWindow>(context_,
                                                       QString::fromStdString(stateFolder_ + "/windows.ini"));
        QObject::connect(downloads_.get(), &DownloadsWindow::closedByUser, downloads_.get(),
                         [this] { downloadsClosed(); });
        if (const auto place = std::exchange(place_, nullptr)) {
            downloads_->goTo(*place);
        }
    }
    return *downloads_;
}

/// With nothing on screen windows, of which the list may be long, take no memory for it.
void DesktopWindows::dropUnseen() {
    const auto windows = QApplication::topLevelWidgets();
    const auto isSeen = [](const QWidget* window) {
        return window->isVisible() && !window->inherits("QSystemTrayIconSys"); // the tray's own
    };
    if ((!downloads_ && !settings_) || std::ranges::any_of(windows, isSeen)) {
        return;
    }
    if (downloads_) {
        place_ = std::make_unique<DownloadsPlace>(downloads_->place());
    }
    downloads_.reset();
    settings_.reset();
    QPixmapCache::clear();
    malloc_trim(0); // much of it lies between what stays
}

void DesktopWindows::showDownloads(std::optional<DownloadID> selected) {
    if (selected) {
        downloads().select({*selected}, true);
    }
    presentDownloads();
}

void DesktopWindows::showAdded(const std::vector<DownloadID>& ids) {
    downloads().select(ids, false);
    presentDownloads();
}

void DesktopWindows::presentDownloads() {
    present(downloads());
    noticeWhatIsSeen();
}

/// What went wrong needs no attention from the tray while the user looks at the list.
void DesktopWindows::noticeWhatIsSeen() {
    if (tray_ && isListWatched()) {
        tray_->problemsSeen();
    }
}

void DesktopWindows::tellProblem(const std::string& sentence) {
    if (isListWatched()) {
        downloads_->tell(QString::fromStdString(sentence));
    } else {
        self_.tell({.title = "Fluvane", .body = sentence});
    }
}

/// Where there is no tray, nothing on screen says that it still runs.
void DesktopWindows::downloadsClosed() {
    if (tray_ && tray_->isShown()) {
        return;
    }
    QSettings memory(QString::fromStdString(stateFolder_ + "/windows.ini"), QSettings::IniFormat);
    if (memory.value("toldWhereItWent").toBool()) {
        return;
    }
    memory.setValue("toldWhereItWent", true);
    self_.tell({.title = phrase("Fluvane is still running"),
                .body = phrase("It carries on without a window. Start it again to see your downloads, and "
                               "choose Quit there to end it.")});
}

NewDownloadWindow& DesktopWindows::newDownloadWindow() {
    if (!newDownload_) {
        newDownload_ = std::make_unique<NewDownloadWindow>(context_, recentFolders_);
    }
    return *newDownload_;
}

void DesktopWindows::newDownload(const std::vector<URL>& links, const std::optional<URL>& referrer,
                                 const SharedSession& session) {
    if (links.empty()) {
        newDownloadWindow().offerClipboard();
    } else {
        newDownloadWindow().fill(links, referrer, session);
    }
    present(newDownloadWindow());
}

void DesktopWindows::showOffers(const std::vector<PendingOffer>& offers, AnswerOffer answer) {
    const bool isAsked = std::ranges::any_of(
        passing_, [](const auto& window) { return qobject_cast<OfferWindow*>(window.data()); });
    if (offers.empty() && !isAsked) {
        return;
    }
    auto& window = standing<OfferWindow>(
        passing_, [&] { return new OfferWindow(context_, recentFolders_, std::move(answer)); });
    window.setOffers(offers);
    if (offers.empty()) {
        window.close();
    } else if (!window.isVisible()) {
        present(window);
    }
}

SettingsWindow& DesktopWindows::settingsWindow() {
    if (!settings_) {
        settings_ = std::make_unique<SettingsWindow>(
            context_, autostart_,
            SettingsWindow::Extras{.log = self_.log,
                                   .diagnostics = self_.diagnostics,
                                   .problem = self_.settingsProblem,
                                   .checkForUpdates = self_.checkForUpdates});
        const auto file = QString::fromStdString(stateFolder_ + "/windows.ini");
        settings_->showPane(
            QSettings(file, QSettings::IniFormat).value("settingsPane").toString().toStdString());
        QObject::connect(settings_.get(), &SettingsWindow::paneShown, settings_.get(),
                         [file](const QString& pane) {
                             QSettings(file, QSettings::IniFormat).setValue("settingsPane", pane);
                         });
    }
    return *settings_;
}

void DesktopWindows::showSettings(std::string_view pane) {
    if (!pane.empty()) {
        settingsWindow().showPane(pane);
    }
    present(settingsWindow());
}

WelcomeWindow& DesktopWindows::welcome() {
    return standing<WelcomeWindow>(passing_, [&] {
        auto* made = new WelcomeWindow(context_, autostart_);
        // It speaks of that window; and without a tray nothing else would be left on screen.
        QObject::connect(made, &WelcomeWindow::firstStartEnded, &feed_,
                         [this] { showDownloads(std::nullopt); });
        return made;
    });
}

void DesktopWindows::showWelcome() {
    present(welcome());
}

void DesktopWindows::showWelcomeInBackground() {
    auto& window = welcome();
    places_.put(window, nullptr);
    window.setAttribute(Qt::WA_ShowWithoutActivating);
    window.show();
    window.setAttribute(Qt::WA_ShowWithoutActivating, false);
}

void DesktopWindows::showWhatsNew() {
    showWhatsNew(self_.whatsNew());
}

void DesktopWindows::showWhatsNew(const std::string& text) {
    present(standing<tessivar::WhatsNewWindow>(
        passing_, [&] { return new tessivar::WhatsNewWindow(QString::fromStdString(text)); }));
}

void DesktopWindows::showCrashNote() {
    showCrashNote(self_.crashNote());
}

void DesktopWindows::showCrashNote(const std::string& note) {
    present(standing<tessivar::CrashNoteWindow>(
        passing_, [&] { return new tessivar::CrashNoteWindow(QString::fromStdString(note)); }));
}

void DesktopWindows::changeLink(DownloadID id) {
    if (context_.manager.download(id)) {
        present(asking<ChangeLinkDialog>(passing_, context_, id));
    }
}

void DesktopWindows::editChecksum(DownloadID id) {
    if (context_.manager.download(id)) {
        present(asking<ChecksumDialog>(passing_, context_, id));
    }
}

void DesktopWindows::rename(DownloadID id) {
    if (context_.manager.download(id)) {
        present(asking<RenameDialog>(passing_, context_, id));
    }
}

void DesktopWindows::changeFolder(const std::vector<DownloadID>& ids) {
    const bool isAny =
        std::ranges::any_of(ids, [this](auto id) { return context_.manager.download(id) != nullptr; });
    if (!isAny) {
        return;
    }
    const auto show = [this, ids](const std::vector<URL>& there) {
        std::ranges::for_each(passing_, [](const auto& window) { // one about others makes room
            delete qobject_cast<FolderChange*>(window.data());
        });
        present(standing<FolderChange>(passing_, [&] {
            return new FolderChange(context_, recentFolders_, ids, there,
                                    [this](const std::string& sentence) { tellProblem(sentence); });
        }));
    };
    findPresentFolders(&feed_, FolderChange::wanted(context_, recentFolders_, ids), show);
}

void DesktopWindows::quit() {
    const auto downloads = context_.manager.downloads();
    const auto running = std::ranges::count_if(
        downloads, [](const Download* download) { return runs(download->record.state); });
    if (running == 0) {
        return end();
    }
    askBeforeQuitting(static_cast<int>(running));
}

void DesktopWindows::askBeforeQuitting(int count) {
    if (!quitQuestion_) {
        quitQuestion_ = new QMessageBox(QMessageBox::Question, qPhrase("Quit"), "", QMessageBox::Cancel);
        quitQuestion_->setObjectName("quit");
        quitQuestion_->setAttribute(Qt::WA_DeleteOnClose);
        auto* yes = quitQuestion_->addButton(qPhrase("&Quit"), QMessageBox::AcceptRole);
        quitQuestion_->setDefaultButton(yes);
        QObject::connect(yes, &QPushButton::clicked, yes, [] { end(); });
    }
    quitQuestion_->setText(QString::fromStdString(running(count)));
    tessivar::setPlainTexts(*quitQuestion_,
                            qPhrases("It carries on from the last bytes saved when you open Fluvane again.",
                                     "They carry on from the last bytes saved when you open Fluvane again.",
                                     count));
    present(*quitQuestion_);
}

bool DesktopWindows::isListWatched() const {
    return downloads_ && downloads_->isActiveWindow();
}

std::string DesktopWindows::state() {
    nlohmann::json notices = nlohmann::json::array();
    for (const auto& notice : self_.notices()) {
        notices.push_back({{"title", notice.title}, {"body", notice.body}});
    }
    nlohmann::json json = {{"windows", tessivar::screenState::windows()}, {"notifications", notices}};
    if (tray_) {
        json["tray"] = {{"shown", tray_->isShown()},
                        {"toolTip", tray_->toolTip()},
                        {"menu", tessivar::screenState::menu(tray_->menu())}};
    }
    return json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
}

void DesktopWindows::snapshot(const Pictures& into, Drawn completion) {
    QTimer::singleShot(beforeSnapshot, &feed_, [=, this, completion = std::move(completion)] {
        std::vector<std::string> paths;
        std::string problem;
        try {
            paths = draw(into);
        } catch (const std::exception& error) {
            problem = error.what();
        }
        completion(paths, problem);
    });
}

std::vector<std::string> DesktopWindows::draw(const Pictures& into) {
    const tessivar::Pictures pictures{.folder = into.folder, .prefix = into.prefix};
    auto paths = tessivar::drawWindows(pictures);
    if (tray_) {
        paths.push_back(tessivar::savePicture(tray_->picture(64), pictures, "tray"));
    }
    return paths;
}

} // namespace fluvane
