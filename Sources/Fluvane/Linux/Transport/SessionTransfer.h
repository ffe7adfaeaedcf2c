// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/Transport/TransferInbox.h"
#include "Fluvane/Linux/Transport/TransferState.h"
#include "FluvaneEngine/Platform.h"

#include <memory>

namespace fluvane {

/// The engine's end of a running request. On the main queue; may outlive its transport.
class SessionTransfer final : public Transfer {
public:
    SessionTransfer(std::shared_ptr<TransferState> state, std::shared_ptr<TransferInbox> inbox)
        : state_(std::move(state)), inbox_(std::move(inbox)) {}
    ~SessionTransfer() override;
    SessionTransfer(const SessionTransfer&) = delete;
    SessionTransfer& operator=(const SessionTransfer&) = delete;

    void accept(std::shared_ptr<PieceFile> file, std::int64_t at, std::optional<std::int64_t> end) override;
    [[nodiscard]] std::int64_t position() const override { return state_->position(); }
    void setEnd(std::int64_t end) override;
    void cancel() override;

private:
    std::shared_ptr<TransferState> state_;
    std::shared_ptr<TransferInbox> inbox_;
};

} // namespace fluvane
