// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Mover.h"

#include "FluvaneCore/Words.h"
#include "FluvaneEngine/Log.h"
#include "FluvaneEngine/Restoring.h"
#include "FluvaneEngine/Starter.h"
#include "TessivarPhrases/Phrases.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace fluvane {

using State = DownloadState;

namespace {

constexpr int mostNamesTried = 20;
constexpr double lookInterval = 0.5; ///< Seconds between looks at how far a copy is.
constexpr const char* givenUp = tessivar::markedIn("kept", "It was given up.");

/// Whether it has a file that goes with it, and can go now. One that the server would send from the start
/// again is no use elsewhere.
bool hasFileToMove(const DownloadRecord& record) {
    return record.state.is<State::Finished>()
               ? record.file.has_value()
               : !record.state.is<State::Verifying>() && Starter::mayCarryOn(record);
}

/// That a copy has to take along.
std::int64_t bytesOf(const DownloadRecord& record) {
    return record.file ? record.size.value_or(0) : record.doneBytes();
}

} // namespace

// The command

void Mover::move(Download& download, const std::optional<URL>& folder, const std::optional<std::string>& name,
                 Moved then) {
    const auto& record = download.record;
    const auto cleaned = name ? unfinishedFile::cleanName(*name) : record.name;
    const auto target = folder.value_or(record.folder);
    if (name && !cleaned) {
        tell(then,
             Outcome<std::string>::failure(tessivar::kept("kept", "That can't be the name of a file.")));
    } else if (record.state.is<State::Finishing>()) {
        tell(then, Outcome<std::string>::failure(
                       tessivar::kept("kept", "It is just being moved into place. Try again in a moment.")));
    } else if (download.isMoving) {
        tell(then, Outcome<std::string>::failure(tessivar::kept("kept", "It is being moved already.")));
    } else if (target == record.folder && cleaned == record.name) {
        tell(then, Outcome<std::string>::success(record.displayName()));
    } else {
        begin(download, {.folder = target, .name = cleaned.value_or("")}, std::move(then));
    }
}

/// An empty name is one that the server is yet to tell.
void Mover::begin(Download& download, FilePlace target, Moved then) {
    const auto work = std::make_shared<Work>(Work{.id = download.id(),
                                                  .target = std::move(target),
                                                  .then = std::move(then),
                                                  .triesLeft = mostNamesTried});
    works_[work->id] = work;
    download.isMoving = true;
    turns_.conditionsChanged();
    if (work->target.name.empty()) {
        named(download, work, "");
    } else {
        chooseName(download, work);
    }
}

void Mover::chooseName(Download& download, const WorkPointer& work) {
    const auto wanted = unfinishedFile::Wanted{.folder = work->target.folder,
                                               .name = work->target.name,
                                               .naming = conditions_.config.duplicateNames,
                                               .taken = list_.namesIn(work->target.folder, download)};
    aside(
        work,
        [files = &disk_.files(), wanted] {
            return Chosen{.name = unfinishedFile::freeName(*files, wanted),
                          .space = files->space(wanted.folder)};
        },
        [this, work](Download& naming, const Chosen& chosen) {
            work->space = chosen.space;
            named(naming, work, chosen.name);
        });
}

/// It may have begun, ended or stopped since the command.
void Mover::named(Download& download, const WorkPointer& work, const std::string& name) {
    if (list_.namesIn(work->target.folder, download).contains(name)) {
        chooseName(download, work);
        return;
    }
    if (*work->isGivenUp) {
        fail(download, work, givenUp);
        return;
    }
    work->target.name = name;
    const auto& state = download.record.state;
    if (state.is<State::Finishing>()) {
        fail(download, work,
             tessivar::kept("kept", "It is just being moved into place. Try again in a moment."));
    } else if (hasFileToMove(download.record)) {
        lookFor(download, work);
    } else {
        if (state.is<State::Starting>()) { // what it is about to create would be in the old place
            (void)runner_.release(download);
        }
        setPlace(download, work->target);
        end(download, work, Outcome<std::string>::success(download.record.displayName()));
    }
}

// The file

void Mover::lookFor(Download& download, const WorkPointer& work) {
    const auto& record = download.record;
    const auto follow = [this, work](Download& looking, const Found& found) { look(looking, work, found); };
    if (const auto file = record.state.usesNetwork() ? runner_.release(download) : nullptr) {
        look(download, work, found(record, file->identity(), file));
    } else if (record.file) {
        aside(
            work, [files = &disk_.files(), record] { return finishedFile(*files, record); }, follow);
    } else {
        download.claim.reopen(download.record.pieces);
        aside(
            work,
            [files = &disk_.files(), record, left = Starter::leftBy(download)] {
                const auto opened = unfinishedFile::open(*files, left);
                return opened.file      ? found(record, opened.file->identity(), opened.file)
                       : opened.failure ? Found{.problem = opened.failure->sentence}
                                        : Found{};
            },
            follow);
    }
}

Mover::Found Mover::found(const DownloadRecord& record, const FileIdentity& identity,
                          const std::shared_ptr<PieceFile>& file) {
    const bool hasItsLength = file && file->isSparse();
    return {.written = WrittenFile{.identity = identity,
                                   .size = hasItsLength ? record.size : std::nullopt,
                                   .owner = Owner(record),
                                   .file = file}};
}

/// Whatever its user made of it since.
Mover::Found Mover::finishedFile(FileStore& files, const DownloadRecord& record) {
    const auto identity = files.identity(*record.file);
    return identity ? found(record, *identity, nullptr)
                    : Found{.problem = tessivar::kept("kept", "“%1” isn't in “%2” anymore.",
                                                      record.displayName(), record.folder.path())};
}

void Mover::look(Download& download, const WorkPointer& work, const Found& found) {
    if (found.problem) {
        fail(download, work, *found.problem);
    } else if (found.written) {
        work->file = found.written->file;
        announce(download, work, *found.written);
    } else {
        setPlace(download, work->target);
        end(download, work, Outcome<std::string>::success(download.record.displayName()));
    }
}

/// A copy to a disk without room for it would only take the room of others there.
void Mover::announce(Download& download, const WorkPointer& work, const WrittenFile& written) {
    const auto& record = download.record;
    const auto needed = bytesOf(record);
    const auto& space = work->space;
    if (space && space->device != written.identity.device && space->free < needed) {
        const tessivar::InEnglish english; // as all sentences of failures
        fail(download, work,
             tessivar::kept("kept", "Not enough space: it needs %1, and there's %2 free.",
                            words::bytes(needed), words::bytes(space->free)));
        return;
    }
    download.record.moving = work->target;
    turns_.changed();
    saver_.whenSaved([this, work, written](const auto& error) {
        Download* const moving = current(work);
        if (moving && error) {
            fail(*moving, work, tessivar::kept("kept", "The list of downloads can't be saved: %1", *error));
        } else if (moving && *work->isGivenUp) {
            fail(*moving, work, givenUp);
        } else if (moving) {
            send(*moving, work, written);
        }
    });
}

void Mover::send(Download& download, const WorkPointer& work, const WrittenFile& written) {
    const auto& record = download.record;
    const bool isFinished = record.file.has_value();
    const auto to = restoring::destination(record);
    const auto path = to.path();
    disk_.files().move(
        isFinished ? *record.file : *record.partial, written,
        {.folder = work->target.folder,
         .name = path.substr(path.rfind('/') + 1),
         .origin = isFinished ? std::optional(FileOrigin{.url = record.url, .referrer = record.referrer})
                              : std::nullopt,
         .length = isFinished ? std::nullopt : record.size,
         .isGivenUp = work->isGivenUp,
         .copied = work->copied},
        turns_.later([this, work](const Outcome<std::optional<URL>>& location) {
            if (Download* const moving = current(work)) {
                sent(*moving, work, location);
            }
        }));
    follow(work);
}

/// Shows how far it is.
void Mover::follow(const WorkPointer& work) {
    scheduler_->after(lookInterval, turns_.later([this, work] {
        Download* const moving = current(work);
        if (!moving || !moving->record.moving) {
            return;
        }
        const auto copied = std::min(work->copied->load(), bytesOf(moving->record));
        const int percent = copied > 0 ? static_cast<int>(copied * 100 / bytesOf(moving->record)) : -1;
        if (std::exchange(moving->percentMoved, percent) != percent) {
            turns_.progressed();
        }
        follow(work);
    }));
}

void Mover::sent(Download& download, const WorkPointer& work, const Outcome<std::optional<URL>>& location) {
    if (!location.ok()) {
        fail(download, work, tessivar::kept("kept", "Couldn't move the file: %1", location.error()));
    } else if (location.value()) {
        land(download, work);
    } else if (--work->triesLeft > 0) { // somebody else was faster
        download.record.moving.reset();
        chooseName(download, work);
    } else {
        fail(download, work, tessivar::kept("kept", "Couldn't move the file: %1", "File exists"));
    }
}

// There

void Mover::land(Download& download, const WorkPointer& work) {
    aside(
        work,
        [files = &disk_.files(), to = restoring::destination(download.record),
         owner = Owner(download.record)] {
            return Landed{.identity = files->identity(to), .mark = files->mark(to, owner)};
        },
        [this, work](Download& landing, const Landed& landed) { arrived(landing, work, landed); });
}

void Mover::arrived(Download& download, const WorkPointer& work, const Landed& landed) {
    auto& record = download.record;
    (record.file ? record.file : record.partial) = restoring::destination(record);
    setPlace(download, *record.moving);
    if (!record.file) {
        record.marked = landed.mark == Mark::own ? std::optional(true) : std::nullopt;
        download.device = landed.identity ? std::optional(landed.identity->device) : std::nullopt;
        download.claim.synced(download.claim.generation(), record.pieces, true); // by the move
    }
    log::downloads([&] { return fmt::format("download {}: its file was moved", record.id); });
    const bool isFinished = record.file.has_value();
    end(download, work, Outcome<std::string>::success(*record.name));
    Download* const there = isFinished ? list_.find(work->id) : nullptr; // it may have waited to be removed
    if (there) {
        finisher_.verifyFinishedFile(*there); // a digest of the old place may have been under way
    }
}

/// A folder that the user chose is no rule's.
void Mover::setPlace(Download& download, const FilePlace& place) {
    auto& record = download.record;
    if (record.folder != place.folder) {
        record.autoFolder.reset();
        record.rule.reset();
        if (record.state.isWaiting(State::Wait::space)) {
            turns_.set(download, State::Queued{}); // there may be some there
        }
    }
    record.folder = place.folder;
    record.name = place.name.empty() ? record.name : std::optional(place.name);
}

void Mover::fail(Download& download, const WorkPointer& work, const std::string& sentence) {
    log::downloads(
        [&] { return fmt::format("download {} isn't moved: {}", download.id(), log::hidden(sentence)); });
    end(download, work, Outcome<std::string>::failure(sentence));
}

void Mover::end(Download& download, const WorkPointer& work, const Outcome<std::string>& outcome) {
    works_.erase(work->id);
    download.record.moving.reset();
    download.isMoving = false;
    download.percentMoved = -1;
    disk_.letGo(work->id, work->file);
    turns_.changed();
    if (work->whenGivenUp) {
        work->whenGivenUp(download);
        return;
    }
    tell(work->then, outcome);
    runner_.goOn(download);
}

void Mover::tell(const Moved& then, const Outcome<std::string>& outcome) {
    if (then) {
        scheduler_->after(0, [then, outcome] { then(outcome); });
    }
}

// Starts, removals and the end

void Mover::goOn(Download& download) {
    const auto target = *download.record.moving;
    const auto work = std::make_shared<Work>(
        Work{.id = download.id(), .target = target, .then = {}, .triesLeft = mostNamesTried});
    works_[work->id] = work;
    download.isMoving = true;
    aside(
        work,
        [files = &disk_.files(), record = download.record] { return restoring::hasArrived(record, *files); },
        [this, work](Download& looked, bool isThere) {
            if (isThere) {
                land(looked, work);
            } else {
                looked.record.moving.reset();
                chooseName(looked, work);
            }
        });
}

bool Mover::giveUp(Download& download, std::function<void(Download&)> then) {
    const auto found = works_.find(download.id());
    if (found == works_.end()) {
        return false;
    }
    found->second->isGivenUp->store(true);
    found->second->whenGivenUp = std::move(then);
    return true;
}

void Mover::stop(DownloadID id) {
    if (const auto found = works_.find(id); found != works_.end()) {
        found->second->isGivenUp->store(true);
    }
}

void Mover::endAll() {
    works_.clear();
}

Download* Mover::current(const WorkPointer& work) const {
    const auto found = works_.find(work->id);
    return found != works_.end() && found->second == work ? list_.find(work->id) : nullptr;
}

/// On the download's own thread, then here, unless the engine ended by then.
template <class Look, class Then>
void Mover::aside(const WorkPointer& work, Look look, Then then) {
    using Result = std::invoke_result_t<Look&>;
    auto result = std::make_shared<std::optional<Result>>();
    disk_.files().aside(
        work->id, [result, look = std::move(look)]() mutable { result->emplace(look()); },
        turns_.later([this, work, result, then = std::move(then)]() mutable {
            if (Download* const moving = current(work)) {
                then(*moving, **result);
            }
        }));
}

} // namespace fluvane
