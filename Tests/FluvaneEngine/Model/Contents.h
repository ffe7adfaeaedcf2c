// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Support/MemoryFileStore.h"

#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <span>
#include <string>

/// Files of many megabytes that cost nothing: of each byte is known which file's it is, and from which place
/// there, by the address that it is written from.
namespace fluvane::model {

/// Numbers what servers have: each version of each file is one.
using Content = int;
inline constexpr Content nothing = -1, mixed = -2;
inline constexpr std::int64_t longestContent = std::int64_t{1} << 25;

/// Which content lies where.
class Extents {
public:
    Extents() { begins_.emplace(std::numeric_limits<std::int64_t>::min(), nothing); }
    void put(std::int64_t from, std::int64_t to, Content content) {
        const auto after = at(to);
        begins_.erase(begins_.lower_bound(from), begins_.lower_bound(to));
        begins_.insert_or_assign(to, after);
        if (at(from) != content) {
            begins_.insert_or_assign(from, content);
        }
    }
    [[nodiscard]] Content at(std::int64_t place) const {
        return std::prev(begins_.upper_bound(place))->second;
    }
    /// The only one from one place to another.
    [[nodiscard]] Content only(std::int64_t from, std::int64_t to) const {
        for (auto next = begins_.upper_bound(from); next != begins_.end() && next->first < to; ++next) {
            if (next->second != at(from)) {
                return mixed;
            }
        }
        return at(from);
    }

private:
    std::map<std::int64_t, Content> begins_;
};

class ContentFile : public support::FileBytes {
public:
    explicit ContentFile(std::uint64_t device) : identity_{.device = device, .inode = ++last_} {}

    [[nodiscard]] std::int64_t size() const override { return size_; }
    void resize(std::int64_t size) override { size_ = size; }
    void write(std::span<const std::byte> bytes, std::int64_t at) override;
    void read(std::span<std::byte> bytes, std::int64_t at) const override;
    [[nodiscard]] FileIdentity identity() const override { return identity_; }
    void sync() override { synced = written; }
    void lose() override { written = synced; }
    [[nodiscard]] std::optional<std::string> digest() const override;

    Extents written, synced;

private:
    static inline std::uint64_t last_ = 0;
    FileIdentity identity_;
    std::int64_t size_ = 0;
};

/// What a server sends of it; `isRead` where somebody looks at the bytes.
[[nodiscard]] std::span<const std::byte> sent(Content content, std::int64_t from, std::int64_t count,
                                              bool isRead);
[[nodiscard]] std::string digestOf(Content content);

} // namespace fluvane::model
