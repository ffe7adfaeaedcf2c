// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Transport/GatherBuffer.h"

#include <cstring>

namespace fluvane {

namespace {

/// In steps below the size from which the system's own copy becomes one processor instruction, which on many
/// machines runs at a twentieth of the speed when source and target lie unluckily to each other.
void copy(std::span<const std::byte> from, std::byte* to) {
    constexpr std::size_t step = 1024;
    for (; from.size() > step; from = from.subspan(step), to += step) {
        std::memcpy(to, from.data(), step);
    }
    std::memcpy(to, from.data(), from.size());
}

} // namespace

void GatherBuffer::add(TransferState& transfer, std::span<const std::byte> bytes) {
    if (owner_ != &transfer) {
        flush();
        owner_ = &transfer;
        room_ = capacity - static_cast<std::size_t>(transfer.position()) % capacity;
    }
    while (used_ + bytes.size() >= room_ && !bytes.empty()) {
        const auto part = bytes.first(room_ - used_);
        if (used_ == 0) {
            owner_->write(part); // as it lies
        } else {
            keep(part);
            write();
        }
        room_ = capacity;
        bytes = bytes.subspan(part.size());
    }
    keep(bytes);
}

void GatherBuffer::keep(std::span<const std::byte> bytes) {
    if (!bytes.empty()) {
        copy(bytes, bytes_.data() + used_);
        used_ += bytes.size();
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
