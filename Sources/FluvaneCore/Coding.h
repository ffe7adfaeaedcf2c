// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/DownloadRecord.h"
#include "FluvaneCore/DuplicateNaming.h"
#include "FluvaneCore/Rules.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// The one JSON shape of every stored value: keys are field names in declaration order, absent optionals are
/// left out, unknown keys ignored, a case with values is an object with the case's name as its only key.
namespace fluvane::coding {

using Json = nlohmann::ordered_json;

class DecodingError : public std::runtime_error {
public:
    enum class Kind { keyNotFound, typeMismatch, dataCorrupted };
    /// The description is a whole sentence; `placed` says that it stands as it is, wherever the value was.
    DecodingError(Kind kind, const std::string& description, bool placed = true)
        : std::runtime_error(description), kind_(kind), placed_(placed) {}
    [[nodiscard]] Kind kind() const { return kind_; }
    [[nodiscard]] bool placed() const { return placed_; }

private:
    Kind kind_;
    bool placed_;
};

/// Parses text. Fails with DecodingError (dataCorrupted) on anything that is no JSON, or nested absurdly
/// deep. Of a key that stands twice in one object the first counts.
[[nodiscard]] Json parse(std::string_view text);

/// Text as JSON can carry it: what is no UTF-8 is repaired, so that writing it out never fails.
[[nodiscard]] Json encode(const std::string& text);
[[nodiscard]] Json encode(const Piece& piece);
[[nodiscard]] Json encode(const Validators& validators);
[[nodiscard]] Json encode(const Checksum& checksum);
[[nodiscard]] Json encode(const ChecksumResult& result);
[[nodiscard]] Json encode(const DownloadState& state);
[[nodiscard]] Json encode(const FilePlace& place);
[[nodiscard]] Json encode(const DownloadRecord& record);
[[nodiscard]] Json encode(const Rule& rule);
[[nodiscard]] std::string encode(Date date); ///< ISO 8601, UTC with "Z", whole seconds.

/// Each fails with DecodingError.
template <class T>
[[nodiscard]] T decode(const Json& json);
template <>
[[nodiscard]] bool decode<bool>(const Json& json);
template <>
[[nodiscard]] int decode<int>(const Json& json);
template <>
[[nodiscard]] std::int64_t decode<std::int64_t>(const Json& json);
template <>
[[nodiscard]] std::string decode<std::string>(const Json& json);
template <>
[[nodiscard]] URL decode<URL>(const Json& json);
template <>
[[nodiscard]] Date decode<Date>(const Json& json);
template <>
[[nodiscard]] Piece decode<Piece>(const Json& json);
template <>
[[nodiscard]] Validators decode<Validators>(const Json& json);
template <>
[[nodiscard]] Checksum decode<Checksum>(const Json& json);
template <>
[[nodiscard]] ChecksumResult decode<ChecksumResult>(const Json& json);
template <>
[[nodiscard]] DownloadState decode<DownloadState>(const Json& json);
template <>
[[nodiscard]] DownloadState::Wait decode<DownloadState::Wait>(const Json& json);
template <>
[[nodiscard]] FilePlace decode<FilePlace>(const Json& json);
template <>
[[nodiscard]] DownloadRecord decode<DownloadRecord>(const Json& json);
template <>
[[nodiscard]] Rule::Match decode<Rule::Match>(const Json& json);
template <>
[[nodiscard]] Rule decode<Rule>(const Json& json);

/// The value under a required key.
template <class T>
[[nodiscard]] T required(const Json& object, std::string_view key);
/// The value under a key that may be missing or null.
template <class T>
[[nodiscard]] std::optional<T> optional(const Json& object, std::string_view key);

namespace detail {
/// Null when the key is missing; fails when `object` is no object.
const Json* find(const Json& object, std::string_view key);
[[noreturn]] void keyNotFound(std::string_view key);
/// Adds the key to the description of an error that isn't placed yet.
[[noreturn]] void rethrowUnder(std::string_view key, const DecodingError& error);

template <class T>
T decodeUnder(std::string_view key, const Json& value) {
    try {
        return decode<T>(value);
    } catch (const DecodingError& error) {
        rethrowUnder(key, error);
    }
}
} // namespace detail

template <class T>
T required(const Json& object, std::string_view key) {
    const Json* value = detail::find(object, key);
    if (!value) {
        detail::keyNotFound(key);
    }
    return detail::decodeUnder<T>(key, *value);
}

template <class T>
std::optional<T> optional(const Json& object, std::string_view key) {
    const Json* value = detail::find(object, key);
    if (!value || value->is_null()) {
        return std::nullopt;
    }
    return detail::decodeUnder<T>(key, *value);
}

} // namespace fluvane::coding
