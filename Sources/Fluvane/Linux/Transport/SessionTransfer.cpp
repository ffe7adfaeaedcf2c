// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/SessionTransfer.h"

#include <utility>

namespace fluvane {

SessionTransfer::~SessionTransfer() {
    SessionTransfer::cancel();
}

void SessionTransfer::accept(std::shared_ptr<PieceFile> file, std::int64_t at,
                             std::optional<std::int64_t> end) {
    state_->accept(std::move(file), at, end);
    inbox_->wake();
}

void SessionTransfer::setEnd(std::int64_t end) {
    state_->setEnd(end);
    if (state_->isOver()) {
        inbox_->wake();
    }
}

void SessionTransfer::cancel() {
    const bool wasOver = state_->isOver();
    state_->cancel();
    if (!wasOver) {
        inbox_->wake();
    }
}

} // namespace fluvane
