// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Tray/StatusMenu.h"

#include "Fluvane/UI/Models/DroppedData.h"
#include "Fluvane/UI/SpeedLimit/SpeedLimitMenu.h"
#include "Fluvane/UI/Tray/RunningActions.h"
#include "Fluvane/UI/Tray/TrayHost.h"
#include "TessivarCore/Subscription.h"
#include "TessivarPhrases/QtPhrases.h"

#include <QClipboard>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QPointer>
#include <QSystemTrayIcon>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <functional>

namespace fluvane {

using tessivar::qPhrase;

namespace {

/// Every change is sent to the panel.
constexpr int shortestPause = 1000; ///< Milliseconds.
/// Not every panel says when it closes the menu.
constexpr int longestLook = 20'000; ///< Milliseconds.

} // namespace

class StatusMenu::Item : public QObject {
public:
    Item(StatusMenu& owner, WindowContext& context, Bus& session);
    ~Item() override { delete message_.data(); }
    Item(const Item&) = delete;
    Item& operator=(const Item&) = delete;

    void update();
    void followHost();
    void problemsSeen();
    QMenu& menu() { return menu_; }
    [[nodiscard]] const TrayHost& host() const { return host_; }
    [[nodiscard]] const TrayStatus& status() const { return status_; }

private:
    void build();
    QAction* add(const char* name, const QString& text, std::function<void()> triggered);
    void changed();
    void closed();
    void updateMenu(const std::vector<const Download*>& downloads);
    void updateIcon();
    void makeIcon();
    void showDownloads(std::optional<DownloadID> id);
    void pasteLinks();
    void tell(const QString& sentence);

    StatusMenu& owner_;
    WindowContext& context_;
    QMenu menu_;
    QTimer open_; ///< Runs while the menu may be open.
    QAction* summary_ = nullptr;
    std::unique_ptr<RunningActions> running_;
    QAction* pauseAll_ = nullptr;
    QAction* resumeAll_ = nullptr;
    SpeedLimitMenu speedLimit_;
    TrayHost host_;
    std::unique_ptr<QSystemTrayIcon> icon_;
    QTimer next_;
    QElapsedTimer sinceLast_;
    TrayProblems problems_{std::chrono::system_clock::now()};
    std::optional<DownloadID> firstProblem_;
    TrayStatus status_;
    TrayStatus drawn_;
    QPointer<QMessageBox> message_;
    tessivar::Subscription settings_;
};

StatusMenu::Item::Item(StatusMenu& owner, WindowContext& context, Bus& session)
    : owner_(owner), context_(context),
      speedLimit_(context, [this](const QString& sentence) { tell(sentence); }), host_(session) {
    build();
    next_.setSingleShot(true);
    connect(&next_, &QTimer::timeout, this, &Item::update);
    connect(&context.feed, &ListFeed::changed, this, &Item::changed);
    connect(&host_, &TrayHost::changed, this, &Item::followHost);
    open_.setSingleShot(true);
    connect(&open_, &QTimer::timeout, this, &Item::changed);
    connect(&menu_, &QMenu::aboutToShow, this, [this] {
        open_.stop(); // so that it is in order as it opens
        update();
        open_.start(longestLook);
    });
    connect(&menu_, &QMenu::aboutToHide, this, &Item::closed);
    connect(&menu_, &QMenu::triggered, this, &Item::closed);
    settings_ = context.settings.subscribe([this](const Config&) { speedLimit_.update(); });
    update();
}

QAction* StatusMenu::Item::add(const char* name, const QString& text, std::function<void()> triggered) {
    auto* const action = menu_.addAction(text);
    action->setObjectName(name);
    connect(action, &QAction::triggered, this, std::move(triggered));
    return action;
}

void StatusMenu::Item::build() {
    auto& windows = context_.windows;
    menu_.setObjectName("status-menu");
    summary_ = add("summary", {}, [this] { showDownloads(firstProblem_); });
    running_ =
        std::make_unique<RunningActions>(menu_, [this](std::optional<DownloadID> id) { showDownloads(id); });
    menu_.addSeparator();
    add("new-download", qPhrase("&New Download…"), [&windows] { windows.newDownload(); });
    add("paste-links", qPhrase("Paste &Links"), [this] { pasteLinks(); });
    add("downloads", qPhrase("&Downloads"), [this] { showDownloads(std::nullopt); });
    menu_.addSeparator();
    pauseAll_ = add("pause-all", qPhrase("&Pause All"), [this] { context_.manager.pauseAll(); });
    resumeAll_ = add("resume-all", qPhrase("&Resume All"), [this] { context_.manager.resumeAll(); });
    speedLimit_.menuAction()->setObjectName("speed-limit-menu");
    menu_.addMenu(&speedLimit_);
    menu_.addSeparator();
    add("settings", qPhrase("&Settings…"), [&windows] { windows.showSettings(); });
    add("about", qPhrase("&About Fluvane"), [&windows] { windows.showSettings("about"); });
    menu_.addSeparator();
    add("quit", qPhrase("&Quit Fluvane"), [&windows] { windows.quit(); });
}

/// What comes after a pause is shown at once.
void StatusMenu::Item::changed() {
    if (!next_.isActive()) {
        const auto since = sinceLast_.isValid() ? sinceLast_.elapsed() : shortestPause;
        next_.start(static_cast<int>(std::max<qint64>(0, shortestPause - since)));
    }
}

/// What kept its place while it was open is put in order before it opens again.
void StatusMenu::Item::closed() {
    open_.stop();
    changed();
}

void StatusMenu::Item::update() {
    sinceLast_.start();
    next_.stop();
    const auto downloads = context_.manager.downloads();
    const auto problems = problems_.follow(downloads);
    firstProblem_ = problems.empty() ? std::nullopt : std::optional(problems.front()->id());
    status_ = trayStatus({.downloads = downloads, .problems = problems});
    updateMenu(downloads);
    updateIcon();
}

void StatusMenu::Item::updateMenu(const std::vector<const Download*>& downloads) {
    const auto content = TrayMenu::of(downloads);
    const auto summary = QString::fromStdString(status_.toolTip);
    if (summary_->text() != summary) {
        summary_->setText(summary);
    }
    running_->update({.all = downloads, .running = content.running}, open_.isActive() || menu_.isVisible());
    pauseAll_->setVisible(content.canPause);
    resumeAll_->setVisible(content.canResume);
    speedLimit_.update();
}

void StatusMenu::Item::updateIcon() {
    if (!icon_) {
        return;
    }
    if (!looksAlike(status_, drawn_)) {
        drawn_ = status_;
        icon_->setIcon(statusIcon(status_));
    }
    const auto toolTip = QString::fromStdString(status_.toolTip);
    if (icon_->toolTip() != toolTip) {
        icon_->setToolTip(toolTip);
    }
}

void StatusMenu::Item::followHost() {
    const bool hasHost = host_.kind() != TrayHost::Kind::none;
    if (!hasHost) {
        icon_.reset();
    }
    if (hasHost && !icon_) {
        makeIcon();
    }
    Q_EMIT owner_.availabilityChanged();
}

void StatusMenu::Item::makeIcon() {
    running_->setDrawer(host_.kind() == TrayHost::Kind::statusNotifier ? MenuDrawer::panel : MenuDrawer::qt);
    update();
    drawn_ = status_;
    icon_ = std::make_unique<QSystemTrayIcon>(statusIcon(status_));
    icon_->setToolTip(QString::fromStdString(status_.toolTip));
    icon_->setContextMenu(&menu_);
    connect(icon_.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger) {
            showDownloads(firstProblem_);
        }
    });
    icon_->show();
}

void StatusMenu::Item::showDownloads(std::optional<DownloadID> id) {
    context_.windows.showDownloads(id);
    problemsSeen();
}

void StatusMenu::Item::problemsSeen() {
    problems_.seen();
    changed();
}

void StatusMenu::Item::pasteLinks() {
    // There the clipboard can only be read by a window in front: the new one looks itself.
    if (QGuiApplication::platformName().startsWith("wayland")) {
        context_.windows.newDownload();
        return;
    }
    const QMimeData* const data = QGuiApplication::clipboard()->mimeData();
    if (!data) {
        tell(qPhrase("There are no links on the clipboard."));
        return;
    }
    findLinks(*data, this, [this](const std::vector<URL>& links) {
        if (links.empty()) {
            tell(qPhrase("There are no links on the clipboard."));
        } else {
            context_.windows.newDownload(links);
        }
    });
}

void StatusMenu::Item::tell(const QString& sentence) {
    if (!message_) {
        message_ = new QMessageBox(QMessageBox::Information, "Fluvane", "", QMessageBox::Ok);
        message_->setObjectName("tray-message");
        message_->setTextFormat(Qt::PlainText);
        message_->setAttribute(Qt::WA_DeleteOnClose);
        message_->setModal(false);
    }
    message_->setText(sentence);
    message_->show();
    message_->raise();
    message_->activateWindow();
}

StatusMenu::StatusMenu(WindowContext& context, Bus& session)
    : item_(std::make_unique<Item>(*this, context, session)) {}

StatusMenu::~StatusMenu() = default;

QMenu& StatusMenu::menu() {
    return item_->menu();
}

bool StatusMenu::isShown() const {
    return item_->host().kind() != TrayHost::Kind::none;
}

const TrayStatus& StatusMenu::status() const {
    return item_->status();
}

std::string StatusMenu::toolTip() const {
    return item_->status().toolTip;
}

QImage StatusMenu::picture(int side, Panel panel) const {
    return statusImage(item_->status(), side, panel);
}

void StatusMenu::update() {
    item_->update();
}

void StatusMenu::problemsSeen() {
    item_->problemsSeen();
}

} // namespace fluvane
