#include "Fluvane/Linux/Transport/GatherBuffer.h"

#include <algorithm>

namespace fluvane {

void GatherBuffer::add(TransferState& transfer, std::span<const std::byte> bytes) {
    if (owner_ != &transfer) {
        flush();
        owner_ = &transfer;
        room_ = capacity - static_cast<std::size_t>(transfer.position()) % capacity;
    }
    while (!bytes.empty()) {
        const auto part = bytes.first(std::min(bytes.size(), room_ - used_));
        std::copy(part.begin(), part.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(used_));
        used_ += part.size();
        bytes = bytes.subspan(part.size());
        if (used_ == room_) {
            write();
            room_ = capacity;
        }
    }
}

void GatherBuffer::flush() {
    if (used_ > 0) {
        write();
    }
    owner_ = nullptr;
}

void GatherBuffer::write() {
    owner_->write(std::span(bytes_).first(used_));
    used_ = 0;
}

} // namespace fluvane
