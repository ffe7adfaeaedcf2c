// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/DownloadList.h"
#include "FluvaneEngine/Platform.h"
#include "FluvaneEngine/Turns.h"

#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace fluvane {

/// Work that waits for a download's disk, and what follows from it. A download waits for one thing at a time:
/// what comes back of work that nobody waits for anymore is dropped.
class DiskWork {
public:
    DiskWork(std::shared_ptr<FileStore> files, const DownloadList& list, Turns& turns)
        : files_(std::move(files)), list_(list), turns_(turns) {}

    [[nodiscard]] FileStore& files() const { return *files_; }

    /// Whatever is under way for it comes too late.
    static void abandon(Download& download) { ++download.operation; }

    /// Wraps what follows something that the download waits for from now on.
    template <class Work>
    [[nodiscard]] auto following(Download& download, Work work) {
        abandon(download);
        return turns_.later([this, id = download.id(), operation = download.operation,
                             work = std::move(work)](auto&&... results) {
            if (Download* const found = waiting(id, operation)) {
                work(*found, std::forward<decltype(results)>(results)...);
            }
        });
    }

    /// `work()` aside, then `done(download, result)`. Neither may throw. `undo(result)` is done aside instead
    /// when the download doesn't wait for it anymore, or wherever the work ends after the engine's end; the
    /// result is let go there in any case.
    template <class Work, class Done, class Undo>
    void run(Download& download, Work work, Done done, Undo undo) {
        using Result = std::invoke_result_t<Work&>;
        abandon(download);
        auto result = std::make_shared<std::optional<Result>>();
        auto follow = turns_.later([this, result, id = download.id(), operation = download.operation,
                                    done = std::move(done), undo]() mutable {
            if (Download* const found = waiting(id, operation)) {
                done(*found, **result);
            } else {
                files_->aside(id, [result, undo]() mutable {
                    undo(**result);
                    result->reset();
                });
            }
        });
        files_->aside(
            download.id(), [result, work = std::move(work)]() mutable { result->emplace(work()); },
            [result, undo, follow = std::move(follow), alive = turns_.alive()]() mutable {
                if (alive.expired()) {
                    undo(**result);
                } else {
                    follow();
                }
            });
    }
    template <class Work, class Done>
    void run(Download& download, Work work, Done done) {
        run(download, std::move(work), std::move(done), [](auto&) {});
    }

    /// To let go of an open file may have to wait for its disk.
    void letGo(DownloadID download, std::shared_ptr<PieceFile>& file) {
        if (file) {
            files_->aside(download, [file = std::move(file)]() mutable { file.reset(); });
        }
        file.reset();
    }

private:
    [[nodiscard]] Download* waiting(DownloadID id, std::int64_t operation) const {
        Download* const found = list_.find(id);
        return found && found->operation == operation ? found : nullptr;
    }

    std::shared_ptr<FileStore> files_;
    const DownloadList& list_;
    Turns& turns_;
};

} // namespace fluvane
