// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Support/MemoryFileStore.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

/// Files of many megabytes that cost nothing: of each byte is known which file's it is, and from which place
/// there, by the address that it is written from.
namespace fluvane::model {

/// Numbers what servers have: each version of each file is one.
using Content = int;
inline constexpr Content nothing = -1, mixed = -2;
inline constexpr std::int64_t mostContents = 64, longestContent = std::int64_t{1} << 25;

/// Addresses alone: nothing is ever there.
inline const std::byte* const addresses = static_cast<const std::byte*>(::mmap(
    nullptr, mostContents* longestContent, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));

/// What a server sends of it; `isRead` where somebody looks at the bytes.
inline std::span<const std::byte> sent(Content content, std::int64_t from, std::int64_t count, bool isRead) {
    static std::vector<std::byte> seen;
    if (isRead) {
        seen.assign(static_cast<std::size_t>(count), static_cast<std::byte>(content));
        return seen;
    }
    return {addresses + content * longestContent + from, static_cast<std::size_t>(count)};
}

inline std::string digestOf(Content content) {
    return fmt::format("{:064x}", content + 1000);
}

/// Which content lies where.
class Extents {
public:
    Extents() { begins_.emplace(std::numeric_limits<std::int64_t>::min(), nothing); }
    void put(std::int64_t from, std::int64_t to, Content content) {
        const auto after = only(to, to);
        begins_.erase(begins_.lower_bound(from), begins_.lower_bound(to));
        begins_.insert_or_assign(to, after);
        begins_.insert_or_assign(from, content);
    }
    /// The only one from one place to another.
    [[nodiscard]] Content only(std::int64_t from, std::int64_t to) const {
        auto next = begins_.upper_bound(from);
        const auto content = std::prev(next)->second;
        for (; next != begins_.end() && next->first < to; ++next) {
            if (next->second != content) {
                return mixed;
            }
        }
        return content;
    }

private:
    std::map<std::int64_t, Content> begins_;
};

class ContentFile : public support::FileBytes {
public:
    explicit ContentFile(std::uint64_t device) : identity_{.device = device, .inode = ++last_} {}

    [[nodiscard]] std::int64_t size() const override { return size_; }
    void resize(std::int64_t size) override { size_ = size; }
    void write(std::span<const std::byte> bytes, std::int64_t at) override {
        const auto address = bytes.data() - addresses;
        const auto end = at + std::ssize(bytes);
        written.put(at, end, address % longestContent == at ? Content(address / longestContent) : mixed);
        size_ = std::max(size_, end);
    }
    void read(std::span<std::byte> bytes, std::int64_t at) const override {
        std::ranges::fill(bytes, static_cast<std::byte>(written.only(at, at + std::ssize(bytes))));
    }
    [[nodiscard]] FileIdentity identity() const override { return identity_; }
    void sync() override { synced = written; }
    void lose() override { written = synced; }
    [[nodiscard]] std::optional<std::string> digest() const override {
        return digestOf(written.only(0, size_));
    }

    Extents written, synced;

private:
    static inline std::uint64_t last_ = 0;
    FileIdentity identity_;
    std::int64_t size_ = 0;
};

} // namespace fluvane::model
