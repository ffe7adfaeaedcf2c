// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/Transport/TransferState.h"

#include <cstddef>
#include <span>
#include <vector>

namespace fluvane {

/// Gathers the small slices in which bodies arrive into large writes, and cuts these where the file's offset
/// is a multiple of their size: the calls to write are what costs most, and unaligned ones a third more. One
/// for each transfer thread; holds bytes of one transfer at a time, and none between two rounds.
class GatherBuffer {
public:
    /// Larger writes cost hardly less, and much more where the kernel has to find large stretches of memory
    /// for them: a virtual machine that gives free stretches back to its host pays for each of them anew.
    static constexpr std::size_t capacity = 32 * 1024;

    GatherBuffer() : bytes_(capacity) {}

    /// The bytes are written now or at the next `flush`, which comes before the transfer's end is told.
    void add(TransferState& transfer, std::span<const std::byte> bytes);
    void flush();

private:
    void keep(std::span<const std::byte> bytes);
    void write();

    std::vector<std::byte> bytes_;
    std::size_t used_ = 0;
    std::size_t room_ = 0; ///< Bytes until the next cut.
    TransferState* owner_ = nullptr;
};

} // namespace fluvane
