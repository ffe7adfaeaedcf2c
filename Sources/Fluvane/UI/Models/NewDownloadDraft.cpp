// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/UI/Models/NewDownloadDraft.h"

#include "Fluvane/Links/Links.h"
#include "Fluvane/UI/Models/Aside.h"
#include "Fluvane/UI/Models/FolderText.h"
#include "FluvaneCore/FileName.h"
#include "FluvaneCore/NumberedRange.h"
#include "FluvaneCore/Objections.h"
#include "FluvaneCore/Text.h"
#include "FluvaneCore/Words.h"
#include "TessivarPhrases/Phrases.h"

#include <algorithm>
#include <map>
#include <utility>

namespace fluvane {

using tessivar::phrase;
using tessivar::phraseIn;
using tessivar::phrases;

/// What a text says. Made on another thread, so it holds values only.
struct NewDownloadDraft::Result {
    std::vector<Row> rows;
    std::unordered_map<std::string_view, std::size_t> places; ///< By the rows' own links.
    std::string rangeNote;
    std::string leftOut;
    bool blank = true;
};

namespace {

/// "Left out, as Fluvane doesn't download them: 2 ftp links, 1 magnet link."
std::string sentenceOn(const std::vector<links::OtherKind>& kinds) {
    std::string list;
    for (const auto& [name, count] : kinds) {
        list += (list.empty() ? "" : phraseIn("between items of a list", ", ")) +
                phrases("%1 %2 link", "%1 %2 links", count, name);
    }
    return list.empty() ? list : phrase("Left out, as Fluvane doesn't download them: %1.", list);
}

struct Place {
    URL folder;
    std::size_t links;
};

/// "12 go to ~/Downloads, 3 to ~/Videos, 5 to other folders."
std::string destinations(const std::vector<Place>& places) {
    const auto separator = phraseIn("between items of a list", ", ");
    std::string list =
        phrases("%1 goes to %2", "%1 go to %2", places[0].links, folderText(places[0].folder)) + separator +
        // Translators: goes on after "12 go to ~/Downloads".
        phrases("%1 to %2", "%1 to %2", places[1].links, folderText(places[1].folder));
    std::size_t others = 0;
    for (std::size_t i = 2; i < places.size(); ++i) {
        others += places[i].links;
    }
    if (others > 0) {
        list += separator + phrases("%1 to other folders", "%1 to other folders", others);
    }
    // Translators: ends a list as a sentence.
    return phrase("%1.", list);
}

} // namespace

NewDownloadDraft::NewDownloadDraft(DownloadManager& manager, const SettingsAccess& settings)
    : manager_(manager), settings_(settings), preview_(manager), result_(result({}, {})) {
    pause_.setSingleShot(true);
    pause_.setInterval(pause);
    connect(&pause_, &QTimer::timeout, this, &NewDownloadDraft::read);
    connect(&preview_, &LinkPreview::changed, this, [this] {
        takeFacts();
        Q_EMIT changed();
    });
}

NewDownloadDraft::~NewDownloadDraft() = default;

void NewDownloadDraft::follow(std::function<QString()> source) {
    source_ = std::move(source);
}

void NewDownloadDraft::edited() {
    pause_.start();
    Q_EMIT changed();
}

void NewDownloadDraft::read() {
    pause_.stop();
    readAgain_ = reading_;
    if (reading_) {
        return;
    }
    reading_ = true;
    const auto work = [this, draft = drafts_, text = source_ ? source_() : QString(),
                       rules = settings_.config().rules]() -> aside::Finish {
        // Functions are copied, so the result is shared until it is taken.
        auto made = std::make_shared<std::unique_ptr<Result>>(result(text, rules));
        return [this, draft, made] {
            if (draft == drafts_) {
                take(std::move(*made));
            }
        };
    };
    aside::run(this, work);
}

std::unique_ptr<NewDownloadDraft::Result> NewDownloadDraft::result(const QString& text,
                                                                   const std::vector<Rule>& rules) {
    auto made = std::make_unique<Result>();
    const std::string utf8 = text.toStdString();
    for (auto& [link, times] : links::findCounted(utf8)) {
        std::string name = fileName::suggested(std::nullopt, link, std::nullopt);
        const Rule* const rule = rules::folderRule(rules, name, link.site());
        made->rows.push_back(
            {std::move(link), name, std::move(name), times, rule ? rule->folder : std::nullopt});
    }
    for (std::size_t i = 0; i < made->rows.size(); ++i) {
        made->places.emplace(made->rows[i].link.absoluteString(), i);
    }
    made->blank = text::trimmed(utf8).empty();
    made->rangeNote = numberedRange::note(utf8, made->rows.size());
    made->leftOut = sentenceOn(links::findOthers(utf8));
    return made;
}

void NewDownloadDraft::take(std::unique_ptr<Result> result) {
    reading_ = false;
    result_ = std::move(result);
    findListed();
    if (!names_.empty()) {
        std::ranges::for_each(result_->rows, [this](Row& row) { settle(row); });
    }
    count();
    Q_EMIT rowsReplaced();
    look();
    Q_EMIT changed();
    if (readAgain_) {
        read();
    }
}

const std::vector<NewDownloadDraft::Row>& NewDownloadDraft::rows() const {
    return result_->rows;
}

const std::string& NewDownloadDraft::rangeNote() const {
    return result_->rangeNote;
}

const std::string& NewDownloadDraft::leftOut() const {
    return result_->leftOut;
}

/// Whether anything is another than before. Of several downloads of a link the last one counts.
bool NewDownloadDraft::findListed() {
    std::map<std::size_t, const Download*> found;
    for (const Download* const download : manager_.downloads()) {
        const auto at = result_->places.find(download->record.url.absoluteString());
        if (at != result_->places.end()) {
            found[at->second] = download;
        }
    }
    bool anyChanged = false;
    auto next = found.begin();
    for (std::size_t i = 0; i < result_->rows.size(); ++i) {
        const Download* const download = next != found.end() && next->first == i ? (next++)->second : nullptr;
        Row& row = result_->rows[i];
        const auto listed = download ? std::optional(download->id()) : std::nullopt;
        const auto state = download ? std::optional(download->record.state.kind()) : std::nullopt;
        anyChanged = anyChanged || row.listed != listed || row.state != state;
        row.listed = listed;
        row.state = state;
    }
    return anyChanged;
}

void NewDownloadDraft::noticeList() {
    const bool isOther = findListed();
    if (isOther) {
        count();
    }
    look();
    if (isOther) {
        Q_EMIT marksChanged();
        Q_EMIT changed();
    }
}

// Names, and what servers say

/// What the row is called and where it goes, by what is known now.
void NewDownloadDraft::settle(Row& row) const {
    const auto own = names_.find(row.link.absoluteString());
    row.name = own == names_.end() ? row.suggestion : own->second;
    const Rule* const rule = rules::folderRule(settings_.config().rules, row.name, row.link.site());
    row.ruleFolder = rule ? rule->folder : std::nullopt;
}

void NewDownloadDraft::setName(std::size_t row, const std::string& typed) {
    Row& at = result_->rows[row];
    const auto name = DownloadManager::fileName(typed);
    if (name && *name != at.suggestion) {
        names_[at.link.absoluteString()] = *name;
    } else {
        names_.erase(at.link.absoluteString());
    }
    settle(at);
    findDestination();
    Q_EMIT marksChanged();
    Q_EMIT changed();
}

std::optional<std::size_t> NewDownloadDraft::single() const {
    for (std::size_t i = 0; wanted_ == 1 && i < rows().size(); ++i) {
        if (isWanted(i)) {
            return i;
        }
    }
    return std::nullopt;
}

void NewDownloadDraft::setWatched(bool watched) {
    watched_ = watched;
    look();
}

void NewDownloadDraft::look() {
    const auto row = watched_ ? single() : std::nullopt;
    using Question = Inquiry::Question;
    preview_.follow(
        row ? std::optional(
                  Question{.link = rows()[*row].link, .referrer = referrer(*row), .session = session(*row)})
            : std::nullopt);
    takeFacts();
}

/// The server's word on a name counts more than the link's.
void NewDownloadDraft::takeFacts() {
    const auto row = single();
    const LinkFacts* const facts = row ? preview_.facts(rows()[*row].link) : nullptr;
    if (facts && facts->name != rows()[*row].suggestion) {
        result_->rows[*row].suggestion = facts->name;
        settle(result_->rows[*row]);
        findDestination();
        Q_EMIT marksChanged();
    }
}

bool NewDownloadDraft::isWanted(std::size_t row) const {
    const Row& at = rows()[row];
    if (choices_.empty()) {
        return !at.listed;
    }
    const auto choice = choices_.find(at.link.absoluteString());
    return choice == choices_.end() ? !at.listed : choice->second;
}

void NewDownloadDraft::setWanted(std::size_t row, bool wanted) {
    choices_[rows()[row].link.absoluteString()] = wanted;
    count();
    look();
    Q_EMIT marksChanged();
    Q_EMIT changed();
}

void NewDownloadDraft::setAllWanted(bool wanted) {
    for (const Row& row : rows()) {
        choices_[row.link.absoluteString()] = wanted;
    }
    count();
    look();
    Q_EMIT marksChanged();
    Q_EMIT changed();
}

void NewDownloadDraft::count() {
    wanted_ = 0;
    for (std::size_t i = 0; i < rows().size(); ++i) {
        wanted_ += isWanted(i) ? 1 : 0;
    }
    findDestination();
}

std::string NewDownloadDraft::mark(std::size_t row) const {
    const Row& at = rows()[row];
    if (at.listed && at.state) {
        return phrase("Already on the list: %1", words::stateAfterName(*at.state));
    }
    return at.times > 1 ? phrases("In the text %1 time", "In the text %1 times", at.times) : "";
}

URL NewDownloadDraft::folder(std::size_t row) const {
    const auto& rule = rows()[row].ruleFolder;
    return folder_ ? *folder_ : manager_.folder(rule ? rule : settings_.config().folder);
}

void NewDownloadDraft::setFolder(const std::optional<URL>& folder) {
    folder_ = folder;
    findDestination();
    Q_EMIT marksChanged();
    Q_EMIT changed();
}

void NewDownloadDraft::setChecksum(const std::string& text) {
    checksum_ = text::trimmed(text);
    Q_EMIT changed();
}

void NewDownloadDraft::setReferrer(const std::string& text) {
    referrer_ = text::trimmed(text);
    look();
    Q_EMIT changed();
}

void NewDownloadDraft::setReferrer(const std::vector<URL>& links, const URL& referrer) {
    for (const URL& link : links) {
        referrers_.insert_or_assign(link.absoluteString(), referrer);
    }
}

void NewDownloadDraft::setSession(const std::vector<URL>& links, const SharedSession& session) {
    for (const URL& link : links) {
        sessions_.insert_or_assign(link.absoluteString(), session);
    }
}

SharedSession NewDownloadDraft::session(std::size_t row) const {
    const auto own = sessions_.find(rows()[row].link.absoluteString());
    return own != sessions_.end() ? own->second : nullptr;
}

std::optional<URL> NewDownloadDraft::referrer(std::size_t row) const {
    const auto own = referrers_.find(rows()[row].link.absoluteString());
    return own != referrers_.end() ? own->second : URL::parse(referrer_);
}

std::string NewDownloadDraft::algorithm() const {
    const auto checksum = Checksum::recognise(checksum_);
    return checksum ? std::string(Checksum::name(checksum->algorithm)) : "";
}

void NewDownloadDraft::findDestination() {
    std::vector<Place> places;
    std::map<std::optional<std::string>, std::size_t> known; // a folder is looked up once
    for (std::size_t i = 0; i < rows().size(); ++i) {
        if (isWanted(i)) {
            const auto key = folder_ ? std::nullopt : rows()[i].ruleFolder;
            const auto [at, isNew] = known.try_emplace(key, places.size());
            if (isNew) {
                places.push_back({folder(i), 0});
            }
            ++places[at->second].links;
        }
    }
    onlyFolder_ = places.size() == 1 ? std::optional(places[0].folder) : std::nullopt;
    if (onlyFolder_) {
        const auto folder = folderText(*onlyFolder_);
        destination_ = wanted_ == 1 ? phrase("It goes to %1.", folder) : phrase("They go to %1.", folder);
        return;
    }
    std::ranges::stable_sort(places, std::greater(), &Place::links);
    destination_ = places.empty() ? std::string() : destinations(places);
}

std::string NewDownloadDraft::objection() const {
    if (result_->blank) {
        return "";
    }
    if (auto objection = textObjection(); !objection.empty()) {
        return objection;
    }
    if (!checksum_.empty() && !Checksum::recognise(checksum_)) {
        return phrase(words::unknownChecksum);
    }
    if (!checksum_.empty() && wanted_ > 1) {
        return phrase(words::checksumForSeveral);
    }
    const auto referrer = URL::parse(referrer_);
    if (!referrer_.empty() && !(referrer && referrer->isWeb())) {
        return phrase("A referrer is the web page that the link is on: it begins with http:// or https://.");
    }
    return "";
}

std::string NewDownloadDraft::textObjection() const {
    if (isReading() || wanted_ > 0) {
        return "";
    }
    if (rows().empty() && !leftOut().empty()) {
        return ""; // which says it
    }
    if (rows().empty()) {
        return phrase("There's no link in this text. Links begin with http:// or https://.");
    }
    const bool allListed = std::ranges::all_of(rows(), [](const Row& row) { return row.listed.has_value(); });
    if (!allListed) {
        return phrase("Check the links that you want to download.");
    }
    return rows().size() == 1 ? phrase("This link is on the list already. Check it to download it again.")
                              : phrase("These links are on the list already. Check those to download again.");
}

bool NewDownloadDraft::isReady() const {
    return !isReading() && wanted_ > 0 && objection().empty();
}

std::vector<DownloadID> NewDownloadDraft::add() {
    if (!isReady()) {
        return {};
    }
    std::vector<DownloadManager::Addition> additions;
    additions.reserve(wanted_);
    for (std::size_t i = 0; i < rows().size(); ++i) {
        if (isWanted(i)) {
            const auto own = names_.find(rows()[i].link.absoluteString());
            additions.push_back({.url = rows()[i].link,
                                 .referrer = referrer(i),
                                 .checksum = Checksum::recognise(checksum_),
                                 .name = own == names_.end() ? std::nullopt : std::optional(own->second),
                                 .session = session(i)});
        }
    }
    auto ids = manager_.add(additions, folder_, !folder_);
    clear();
    return ids;
}

void NewDownloadDraft::clear() {
    choices_.clear();
    names_.clear();
    referrers_.clear();
    sessions_.clear();
    folder_.reset();
    checksum_.clear();
    referrer_.clear();
    pause_.stop();
    ++drafts_;
    readAgain_ = false;
    take(result({}, {}));
}

} // namespace fluvane
