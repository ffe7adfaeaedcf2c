#pragma once

#include "Fluvane/Linux/Transport/TransferState.h"

#include <cstddef>
#include <span>
#include <vector>

namespace fluvane {

/// Gathers the small slices in which bodies arrive into large writes: the calls to write are what costs most.
/// One for the transfer thread; holds bytes of one transfer at a time, and none between two rounds.
class GatherBuffer {
public:
    static constexpr std::size_t capacity = 256 * 1024;

    GatherBuffer() : bytes_(capacity) {}

    /// The bytes are written now or at the next `flush`, which comes before the transfer's end is told.
    void add(TransferState& transfer, std::span<const std::byte> bytes);
    void flush();

private:
    std::vector<std::byte> bytes_;
    std::size_t used_ = 0;
    TransferState* owner_ = nullptr;
};

} // namespace fluvane
