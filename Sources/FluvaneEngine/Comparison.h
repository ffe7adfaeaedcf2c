// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Platform.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace fluvane {

/// Takes what a transfer writes for what the file should hold there already: for telling whether another
/// server has the same file. As safe from any thread as the file.
class Comparison : public PieceFile {
public:
    explicit Comparison(std::shared_ptr<PieceFile> with) : with_(std::move(with)) {}

    std::optional<TransferResponse> answer; ///< What the other server said; engine's context only.

    /// Whether no byte was another so far.
    [[nodiscard]] bool isEqual() const { return equal_; }

    void write(std::span<const std::byte> bytes, std::int64_t at) override;
    void read(std::span<std::byte> bytes, std::int64_t at) override { with_->read(bytes, at); }
    void sync() override {}
    void close() noexcept override {}

private:
    std::shared_ptr<PieceFile> with_;
    std::atomic<bool> equal_ = true;
};

} // namespace fluvane
