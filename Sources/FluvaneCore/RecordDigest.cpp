// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/RecordDigest.h"

#include <concepts>
#include <functional>
#include <string_view>

namespace fluvane {

namespace {

/// Takes one value after the other.
class Digest {
public:
    [[nodiscard]] std::uint64_t value() const { return value_; }

    template <class... Values>
    void addAll(const Values&... values) {
        (add(values), ...);
    }

private:
    void mix(std::uint64_t bits) {
        value_ = (value_ ^ bits) * 0x9e37'79b9'7f4a'7c15; // an odd number: each step can be undone
        value_ ^= value_ >> 32;
    }
    template <std::integral Number>
    void add(Number number) {
        mix(static_cast<std::uint64_t>(number));
    }
    void add(std::string_view text) {
        mix(text.size());
        mix(std::hash<std::string_view>()(text));
    }
    void add(const std::string& text) { add(std::string_view(text)); }
    void add(DownloadID id) { mix(static_cast<std::uint64_t>(number(id))); }
    void add(Date date) { mix(static_cast<std::uint64_t>(date.time_since_epoch().count())); }
    void add(const URL& url) { add(std::string_view(url.absoluteString())); }
    void add(const Piece& piece) { addAll(piece.start, piece.end, piece.done); }
    void add(const Validators& validators) { addAll(validators.etag, validators.lastModified); }
    void add(const Checksum& checksum) { addAll(static_cast<int>(checksum.algorithm), checksum.hex); }
    void add(const FilePlace& place) { addAll(place.folder, place.name); }
    void add(const ChecksumResult& result) {
        const auto* const differs = std::get_if<ChecksumResult::Differs>(&result.outcome);
        addAll(result.outcome.index(), differs ? std::string_view(differs->computed) : std::string_view());
    }
    void add(const DownloadState& state) {
        const auto* const failure = state.failure();
        addAll(state.value.index(), static_cast<int>(state.kind()),
               failure ? std::string_view(*failure) : std::string_view());
    }
    void add(const std::vector<Piece>& pieces) {
        mix(pieces.size());
        for (const auto& piece : pieces) {
            add(piece);
        }
    }
    template <class T>
    void add(const std::optional<T>& value) {
        mix(value ? 1 : 2);
        if (value) {
            add(*value);
        }
    }
    template <class T>
    void add(const Seldom<T>& value) {
        mix(value ? 1 : 2);
        if (value) {
            add(*value);
        }
    }

    std::uint64_t value_ = 0x2545'f491'4f6c'dd1d;
};

} // namespace

/// One that is forgotten here doesn't compile.
std::uint64_t digest(const DownloadRecord& record) {
    const auto& [id, url, finalURL, referrer, folder, name, partial, file, size, validators, resumable,
                 pieces, state, added, completed, opensWebPage, checksum, checksumResult, autoFolder, rule,
                 prioritized, queueOrder, marked, removed, session, moving] = record;
    Digest digest;
    digest.addAll(id, url, finalURL, referrer, folder, name, partial, file, size, validators, resumable,
                  pieces, state, added, completed, opensWebPage, checksum, checksumResult, autoFolder, rule,
                  prioritized, queueOrder, marked, removed, session, moving);
    return digest.value();
}

} // namespace fluvane
