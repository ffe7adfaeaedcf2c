#include "Fluvane/Linux/Transport/GatherBuffer.h"

#include <algorithm>

namespace fluvane {

void GatherBuffer::add(TransferState& transfer, std::span<const std::byte> bytes) {
    if (owner_ != &transfer || used_ + bytes.size() > capacity) {
        flush();
    }
    if (bytes.size() > capacity) {
        transfer.write(bytes);
        return;
    }
    owner_ = &transfer;
    std::copy(bytes.begin(), bytes.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(used_));
    used_ += bytes.size();
}

void GatherBuffer::flush() {
    if (used_ > 0) {
        owner_->write(std::span(bytes_).first(used_));
    }
    used_ = 0;
    owner_ = nullptr;
}

} // namespace fluvane
