// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Model/Contents.h"

#include <sys/mman.h>

#include <fmt/format.h>

#include <algorithm>
#include <vector>

namespace fluvane::model {

namespace {

constexpr std::int64_t mostContents = 64;

/// Addresses alone: nothing is ever there.
const std::byte* addresses() {
    static const auto* const all =
        static_cast<const std::byte*>(::mmap(nullptr, mostContents * longestContent, PROT_READ,
                                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    return all;
}

} // namespace

std::span<const std::byte> sent(Content content, std::int64_t from, std::int64_t count, bool isRead) {
    static std::vector<std::byte> seen;
    if (isRead) {
        seen.assign(static_cast<std::size_t>(count), static_cast<std::byte>(content));
        return seen;
    }
    return {addresses() + content * longestContent + from, static_cast<std::size_t>(count)};
}

std::string digestOf(Content content) {
    return fmt::format("{:064x}", content + 1000);
}

void ContentFile::write(std::span<const std::byte> bytes, std::int64_t at) {
    const auto address = bytes.data() - addresses();
    const auto end = at + std::ssize(bytes);
    written.put(at, end, address % longestContent == at ? Content(address / longestContent) : mixed);
    size_ = std::max(size_, end);
}

void ContentFile::read(std::span<std::byte> bytes, std::int64_t at) const {
    std::ranges::fill(bytes, static_cast<std::byte>(written.only(at, at + std::ssize(bytes))));
}

std::optional<std::string> ContentFile::digest() const {
    return digestOf(written.only(0, size_));
}

} // namespace fluvane::model
