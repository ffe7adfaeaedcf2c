// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Conditions.h"
#include "FluvaneEngine/DiskWork.h"
#include "FluvaneEngine/DownloadList.h"
#include "FluvaneEngine/Finisher.h"
#include "FluvaneEngine/ListSaver.h"
#include "FluvaneEngine/Runner.h"
#include "FluvaneEngine/Turns.h"
#include "FluvaneEngine/UnfinishedFile.h"

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace fluvane {

/// Gives downloads another folder or name on the user's word, and moves the file that each has, finished or
/// not. The list says where to before the file goes there: after a kill it is looked for in both places. What
/// runs lets go of its file for that time and carries on afterwards from the same bytes; where the server
/// sends no parts, or the file is being checked, it stays where it is until it is finished.
class Mover {
public:
    /// With the name that it has then, or a sentence on why all is as it was.
    using Moved = std::function<void(const Outcome<std::string>& name)>;

    Mover(DiskWork& disk, ListSaver& saver, const DownloadList& list, const Conditions& conditions,
          Runner& runner, Finisher& finisher, Turns& turns, std::shared_ptr<Scheduler> scheduler)
        : disk_(disk), saver_(saver), list_(list), conditions_(conditions), runner_(runner),
          finisher_(finisher), turns_(turns), scheduler_(std::move(scheduler)) {}

    /// Without a folder or a name that stays. Calls back on a later turn, unless the download was removed.
    void move(Download& download, const std::optional<URL>& folder, const std::optional<std::string>& name,
              Moved then);
    /// Ends a copy under way, as a failure that leaves all as it was. What has come to its end already is
    /// moved.
    void stop(DownloadID id);
    /// A move that the last run didn't get to the end of.
    void goOn(Download& download);
    /// Gives up a move under way and calls back once nothing touches the file anymore. False when there is
    /// none.
    [[nodiscard]] bool giveUp(Download& download, std::function<void(Download&)> then);
    /// Nothing follows anymore from what is under way; the next start sees where the files are.
    void endAll();

private:
    /// A move from its command to its end.
    struct Work {
        DownloadID id;
        FilePlace target;
        Moved then;
        std::shared_ptr<std::atomic<bool>> isGivenUp = std::make_shared<std::atomic<bool>>(false);
        std::function<void(Download&)> whenGivenUp{};
        std::shared_ptr<std::atomic<std::int64_t>> copied = std::make_shared<std::atomic<std::int64_t>>(0);
        std::shared_ptr<PieceFile> file{}; ///< The unfinished one, held open.
        std::optional<Space> space{};      ///< In the new folder.
        int triesLeft;
    };
    using WorkPointer = std::shared_ptr<Work>;
    /// What there is to move; neither: nothing.
    struct Found {
        std::optional<WrittenFile> written{};
        std::optional<std::string> problem{};
    };
    struct Chosen {
        std::string name;
        std::optional<Space> space;
    };
    /// How the file is where it was moved to.
    struct Landed {
        std::optional<FileIdentity> identity;
        Mark mark;
    };

    template <class Look, class Then>
    void aside(const WorkPointer& work, Look look, Then then);
    [[nodiscard]] Download* current(const WorkPointer& work) const;
    void begin(Download& download, FilePlace target, Moved then);
    void chooseName(Download& download, const WorkPointer& work);
    void named(Download& download, const WorkPointer& work, const std::string& name);
    void lookFor(Download& download, const WorkPointer& work);
    void look(Download& download, const WorkPointer& work, const Found& found);
    [[nodiscard]] static Found found(const DownloadRecord& record, const FileIdentity& identity,
                                     const std::shared_ptr<PieceFile>& file);
    [[nodiscard]] static Found finishedFile(FileStore& files, const DownloadRecord& record);
    void announce(Download& download, const WorkPointer& work, const WrittenFile& written);
    void send(Download& download, const WorkPointer& work, const WrittenFile& written);
    void follow(const WorkPointer& work);
    void sent(Download& download, const WorkPointer& work, const Outcome<std::optional<URL>>& location);
    void land(Download& download, const WorkPointer& work);
    void arrived(Download& download, const WorkPointer& work, const Landed& landed);
    void setPlace(Download& download, const FilePlace& place);
    void fail(Download& download, const WorkPointer& work, const std::string& sentence);
    void end(Download& download, const WorkPointer& work, const Outcome<std::string>& outcome);
    void tell(const Moved& then, const Outcome<std::string>& outcome);

    DiskWork& disk_;
    ListSaver& saver_;
    const DownloadList& list_;
    const Conditions& conditions_;
    Runner& runner_;
    Finisher& finisher_;
    Turns& turns_;
    std::shared_ptr<Scheduler> scheduler_;
    std::map<DownloadID, WorkPointer> works_;
};

} // namespace fluvane
