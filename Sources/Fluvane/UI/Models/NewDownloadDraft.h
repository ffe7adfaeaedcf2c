// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Ports/SettingsAccess.h"
#include "Fluvane/UI/Models/LinkPreview.h"
#include "FluvaneCore/Checksum.h"
#include "FluvaneEngine/DownloadManager.h"

#include <QObject>
#include <QString>
#include <QTimer>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace fluvane {

/// A text that is becoming downloads: the links in it, what becomes of each, and what still speaks against
/// downloading them. The main queue's; texts are read on another thread, once per pause of typing.
class NewDownloadDraft : public QObject {
    Q_OBJECT

public:
    static constexpr int pause = 150; ///< Milliseconds without a change of the text before it is read.

    /// One link of the text.
    struct Row {
        URL link;
        std::string name;       ///< That the file gets, as far as link and server tell, or the user's own.
        std::string suggestion; ///< That it gets without the user's word.
        std::size_t times = 1;  ///< It is in the text.
        std::optional<std::string> ruleFolder{}; ///< As the first fitting rule has it.
        std::optional<DownloadID> listed{};      ///< The download that has this link already.
        std::optional<StateKind> state{};        ///< That download's.
    };

    /// What it is given must outlive it.
    NewDownloadDraft(DownloadManager& manager, const SettingsAccess& settings);
    ~NewDownloadDraft() override;

    /// Where the text is taken from when it is read.
    void follow(std::function<QString()> source);
    /// To be called at every change of the text; costs nothing, however long it is.
    void edited();
    /// Whether what is listed isn't yet what the text says.
    [[nodiscard]] bool isReading() const { return reading_ || pause_.isActive(); }
    /// Reads the text now instead of after a pause; also after the rules changed. `rowsReplaced` follows.
    void read();

    [[nodiscard]] const std::vector<Row>& rows() const;
    /// Links on the list already are left out until the user wants them again.
    [[nodiscard]] bool isWanted(std::size_t row) const;
    void setWanted(std::size_t row, bool wanted);
    void setAllWanted(bool wanted);
    [[nodiscard]] std::size_t wanted() const { return wanted_; }
    /// What is special about the link: a repeat, one that is on the list already. Empty for most.
    [[nodiscard]] std::string mark(std::size_t row) const;
    [[nodiscard]] URL folder(std::size_t row) const;
    /// The user's own name for it, made safe; what leaves nothing, or what it is called anyway, takes it
    /// back.
    void setName(std::size_t row, const std::string& typed);
    /// The only link that is wanted, absent where there are several.
    [[nodiscard]] std::optional<std::size_t> single() const;
    /// Whether somebody looks: only then the server of a single link is asked about its file.
    void setWatched(bool watched);
    /// What is known of the single link's file, or why it isn't; empty before.
    [[nodiscard]] std::string about() const { return preview_.sentence(); }

    void setFolder(const std::optional<URL>& folder); ///< Absent: where rules and the settings say.
    [[nodiscard]] const std::optional<URL>& folder() const { return folder_; }
    void setChecksum(const std::string& text);
    void setReferrer(const std::string& text);
    /// Goes with these links, whatever the referrer of the others is.
    void setReferrer(const std::vector<URL>& links, const URL& referrer);
    void setSession(const std::vector<URL>& links, const SharedSession& session);
    [[nodiscard]] std::optional<URL> referrer(std::size_t row) const;
    [[nodiscard]] SharedSession session(std::size_t row) const; ///< Null for most.

    /// What a series of links is written like, or what the ranges in the text come to.
    [[nodiscard]] const std::string& rangeNote() const;
    /// Which links in the text aren't of the web, a sentence; empty where all are.
    [[nodiscard]] const std::string& leftOut() const;
    /// "SHA-256" once one is recognised; empty otherwise.
    [[nodiscard]] std::string algorithm() const;
    /// Where the wanted links go, in words; empty without any.
    [[nodiscard]] const std::string& destination() const { return destination_; }
    /// The folder of all wanted links; absent where they go to several, or there are none.
    [[nodiscard]] const std::optional<URL>& onlyFolder() const { return onlyFolder_; }
    /// What speaks against downloading, a sentence for the user; empty where the text is, too.
    [[nodiscard]] std::string objection() const;
    [[nodiscard]] bool isReady() const;

    /// Adds the wanted links to the list and empties the draft. Returns their numbers; none unless it is
    /// ready.
    std::vector<DownloadID> add();
    /// Forgets everything; the text has to be emptied by its owner.
    void clear();

    /// Marks what is on the list now. To be called when the list changes while the draft is on screen.
    void noticeList();

    Q_SIGNAL void rowsReplaced();
    Q_SIGNAL void marksChanged(); ///< Or what is wanted.
    Q_SIGNAL void changed();      ///< Anything that the sentences depend on.

private:
    struct Result;
    [[nodiscard]] static std::unique_ptr<Result> result(const QString& text, const std::vector<Rule>& rules);
    void take(std::unique_ptr<Result> result);
    bool findListed();
    void count();
    void look();
    void takeFacts();
    void settle(Row& row) const;
    void findDestination();
    [[nodiscard]] std::string textObjection() const;

    DownloadManager& manager_;
    const SettingsAccess& settings_;
    LinkPreview preview_;
    bool watched_ = false;
    QTimer pause_;
    std::function<QString()> source_;
    bool reading_ = false;
    bool readAgain_ = false;
    std::uint64_t drafts_ = 0;       ///< Counts them, so that a late text of an earlier one is dropped.
    std::unique_ptr<Result> result_; ///< Never null.
    std::size_t wanted_ = 0;
    std::string destination_;
    std::optional<URL> onlyFolder_;
    std::unordered_map<std::string, bool> choices_;      ///< The user's own, by link.
    std::unordered_map<std::string, std::string> names_; ///< Likewise.
    std::optional<URL> folder_;
    std::string checksum_;
    std::string referrer_;
    std::unordered_map<std::string, URL> referrers_;          ///< By link,
    std::unordered_map<std::string, SharedSession> sessions_; ///< and so are these.
};

} // namespace fluvane
