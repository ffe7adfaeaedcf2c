// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Coding.h"

#include "FluvaneCore/Text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <span>

namespace fluvane::coding {

namespace {

using Kind = DecodingError::Kind;

/// A description that `required` and `optional` complete with the key.
[[noreturn]] void mismatch(const std::string& description) {
    throw DecodingError(Kind::typeMismatch, description, false);
}

[[noreturn]] void corrupted(const std::string& description) {
    throw DecodingError(Kind::dataCorrupted, description, false);
}

const Json::object_t& members(const Json& json) {
    if (!json.is_object()) {
        mismatch("Expected an object.");
    }
    return json.get_ref<const Json::object_t&>();
}

const std::string& stringIn(const Json& json) {
    if (!json.is_string()) {
        mismatch("Expected text.");
    }
    return json.get_ref<const std::string&>();
}

/// The number when it is whole and fits 64 bits; 8.0 counts as 8.
std::optional<std::int64_t> wholeIn(const Json& number) {
    static constexpr double beyond = 9223372036854775808.0; // 2^63
    if (number.is_number_unsigned()) {
        const auto value = number.get<std::uint64_t>();
        return value <= std::numeric_limits<std::int64_t>::max()
                   ? std::optional(static_cast<std::int64_t>(value))
                   : std::nullopt;
    }
    if (number.is_number_integer()) {
        return number.get<std::int64_t>();
    }
    const auto value = number.get<double>();
    if (std::trunc(value) != value || value < -beyond || value >= beyond) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(value);
}

template <class Integer>
Integer decodeInteger(const Json& json) {
    using Limits = std::numeric_limits<Integer>;
    if (!json.is_number()) {
        mismatch("Expected a number.");
    }
    const auto value = wholeIn(json);
    if (!value || *value < Limits::min() || *value > Limits::max()) {
        corrupted("Expected a whole number from " + std::to_string(Limits::min()) + " to " +
                  std::to_string(Limits::max()) + ".");
    }
    return static_cast<Integer>(*value);
}

template <class T>
std::vector<T> decodeList(const Json& object, std::string_view key) {
    const Json* list = detail::find(object, key);
    if (!list) {
        detail::keyNotFound(key);
    }
    if (!list->is_array()) {
        throw DecodingError(Kind::typeMismatch, "Expected a list under '" + std::string(key) + "'.");
    }
    std::vector<T> values;
    values.reserve(list->size());
    for (const Json& element : *list) {
        values.push_back(detail::decodeUnder<T>(key, element));
    }
    return values;
}

/// A case with its content, out of the object that stands for it.
struct FoundCase {
    std::size_t index;
    const Json& content;
};

FoundCase singleCase(const Json& json, std::span<const std::string_view> names) {
    std::size_t index = 0;
    const Json* content = nullptr;
    int count = 0;
    for (const auto& [key, value] : members(json)) {
        const auto name = std::find(names.begin(), names.end(), key);
        if (name != names.end()) {
            index = static_cast<std::size_t>(name - names.begin());
            content = &value;
            ++count;
        }
    }
    if (count != 1) {
        throw DecodingError(Kind::typeMismatch, "Invalid number of keys found, expected one.");
    }
    members(*content);
    return {index, *content};
}

Json encodeCase(std::string_view name, Json content) {
    Json json = Json::object();
    json[std::string(name)] = std::move(content);
    return json;
}

Json unlabelled(Json value) {
    return encodeCase("_0", std::move(value));
}

/// Members in the order they are put; each key only once, so none is looked for.
class ObjectWriter {
public:
    explicit ObjectWriter(std::size_t expected) { members_.reserve(expected); }

    void put(const char* key, Json value) { members_.emplace_back(key, std::move(value)); }
    template <class Optional>
    void putIfPresent(const char* key, const Optional& value) {
        if (value) {
            put(key, json(*value));
        }
    }
    [[nodiscard]] Json finish() { return Json(std::move(members_)); }

private:
    static Json json(bool value) { return value; }
    static Json json(std::int64_t value) { return value; }
    static Json json(int value) { return value; }
    static Json json(const URL& url) { return encode(url.absoluteString()); }
    template <class T>
    static Json json(const T& value) {
        return encode(value);
    }

    Json::object_t members_;
};

/// In the order of the variant's alternatives.
constexpr std::array<std::string_view, std::variant_size_v<DownloadState::Value>> stateCases = {
    "queued", "starting", "downloading", "paused", "waiting", "verifying", "finishing", "finished", "failed"};

DownloadState decodeStateCase(const FoundCase& found) {
    using S = DownloadState;
    static const std::array<S, stateCases.size()> blanks = {
        S::Queued{},    S::Starting{},  S::Downloading{}, S::Paused{}, S::Waiting{S::Wait::offline},
        S::Verifying{}, S::Finishing{}, S::Finished{},    S::Failed{}};
    DownloadState state = blanks[found.index];
    if (state.is<S::Waiting>()) {
        return S::Waiting{required<S::Wait>(found.content, "_0")};
    }
    if (state.is<S::Failed>()) {
        return S::Failed{required<std::string>(found.content, "_0")};
    }
    return state;
}

constexpr std::array<std::string_view, 2> resultCases = {"matches", "differs"};

/// Whether the piece's arithmetic holds. Overflow ends the program, and a damaged list must not do that.
bool isComputable(const Piece& piece) {
    std::int64_t next = 0;
    std::int64_t ignored = 0;
    return !__builtin_add_overflow(piece.start, piece.done, &next) &&
           (!piece.end || (!__builtin_sub_overflow(*piece.end, piece.start, &ignored) &&
                           !__builtin_sub_overflow(*piece.end, next, &ignored)));
}

std::vector<Piece> decodePieces(const Json& record) {
    auto pieces = decodeList<Piece>(record, "pieces");
    std::int64_t sum = 0;
    for (const Piece& piece : pieces) {
        if (__builtin_add_overflow(sum, piece.done, &sum)) {
            throw DecodingError(Kind::dataCorrupted, "The pieces hold more bytes than a file can.");
        }
    }
    return pieces;
}

Json encodeList(const std::vector<Piece>& pieces) {
    Json::array_t list;
    list.reserve(pieces.size());
    for (const Piece& piece : pieces) {
        list.push_back(encode(piece));
    }
    return list;
}

Json encodeMatch(const Rule::Match& match) {
    if (const auto* kind = std::get_if<Rule::Kind>(&match)) {
        return encodeCase("kind", fileKind::rawValue(kind->kind));
    }
    if (const auto* site = std::get_if<Rule::Site>(&match)) {
        return encodeCase("site", encode(site->site));
    }
    Json list = Json::array();
    for (const std::string& extension : std::get<Rule::Extensions>(match).extensions) {
        list.push_back(encode(extension));
    }
    return encodeCase("extensions", std::move(list));
}

} // namespace

namespace detail {

const Json* find(const Json& object, std::string_view key) {
    for (const auto& [name, value] : members(object)) {
        if (name == key) {
            return &value;
        }
    }
    return nullptr;
}

void keyNotFound(std::string_view key) {
    throw DecodingError(Kind::keyNotFound, "The key '" + std::string(key) + "' is missing.");
}

void rethrowUnder(std::string_view key, const DecodingError& error) {
    if (error.placed()) {
        throw error;
    }
    std::string description = error.what();
    if (description.ends_with('.')) {
        description.pop_back();
    }
    throw DecodingError(error.kind(), description + " under '" + std::string(key) + "'.");
}

} // namespace detail

Json encode(const std::string& text) {
    return text::isValid(text) ? Json(text) : Json(text::repaired(text));
}

Json encode(const Piece& piece) {
    ObjectWriter object(3);
    object.put("start", piece.start);
    object.putIfPresent("end", piece.end);
    object.put("done", piece.done);
    return object.finish();
}

Json encode(const Validators& validators) {
    ObjectWriter object(2);
    object.putIfPresent("etag", validators.etag);
    object.putIfPresent("lastModified", validators.lastModified);
    return object.finish();
}

Json encode(const Checksum& checksum) {
    ObjectWriter object(2);
    object.put("algorithm", Checksum::rawValue(checksum.algorithm));
    object.put("hex", encode(checksum.hex));
    return object.finish();
}

Json encode(const ChecksumResult& result) {
    const auto* differs = std::get_if<ChecksumResult::Differs>(&result.outcome);
    return encodeCase(resultCases[result.outcome.index()],
                      differs ? unlabelled(encode(differs->computed)) : Json::object());
}

Json encode(const DownloadState& state) {
    Json content = Json::object();
    if (const auto* waiting = std::get_if<DownloadState::Waiting>(&state.value)) {
        content = unlabelled(DownloadState::rawValue(waiting->reason));
    } else if (const std::string* message = state.failure()) {
        content = unlabelled(encode(*message));
    }
    return encodeCase(stateCases[state.value.index()], std::move(content));
}

Json encode(const FilePlace& place) {
    ObjectWriter object(2);
    object.put("folder", encode(place.folder.absoluteString()));
    object.put("name", encode(place.name));
    return object.finish();
}

Json encode(const DownloadRecord& record) {
    ObjectWriter object(26);
    object.put("id", number(record.id));
    object.put("url", encode(record.url.absoluteString()));
    object.putIfPresent("finalURL", record.finalURL);
    object.putIfPresent("referrer", record.referrer);
    object.put("folder", encode(record.folder.absoluteString()));
    object.putIfPresent("name", record.name);
    object.putIfPresent("partial", record.partial);
    object.putIfPresent("file", record.file);
    object.putIfPresent("size", record.size);
    object.putIfPresent("validators", record.validators);
    object.put("resumable", record.resumable);
    object.put("pieces", encodeList(record.pieces));
    object.put("state", encode(record.state));
    object.put("added", encode(record.added));
    object.putIfPresent("completed", record.completed);
    object.putIfPresent("opensWebPage", record.opensWebPage);
    object.putIfPresent("checksum", record.checksum);
    object.putIfPresent("checksumResult", record.checksumResult);
    object.putIfPresent("autoFolder", record.autoFolder);
    object.putIfPresent("rule", record.rule);
    object.putIfPresent("prioritized", record.prioritized);
    object.putIfPresent("queueOrder", record.queueOrder);
    object.putIfPresent("marked", record.marked);
    object.putIfPresent("removed", record.removed);
    object.putIfPresent("session", record.session);
    object.putIfPresent("moving", record.moving);
    return object.finish();
}

Json encode(const Rule& rule) {
    ObjectWriter object(4);
    object.put("id", encode(rule.id));
    object.put("match", encodeMatch(rule.match));
    object.putIfPresent("folder", rule.folder);
    object.putIfPresent("connections", rule.connections);
    return object.finish();
}

template <>
bool decode<bool>(const Json& json) {
    if (!json.is_boolean()) {
        mismatch("Expected true or false.");
    }
    return json.get<bool>();
}

template <>
int decode<int>(const Json& json) {
    return decodeInteger<int>(json);
}

template <>
std::int64_t decode<std::int64_t>(const Json& json) {
    return decodeInteger<std::int64_t>(json);
}

template <>
std::string decode<std::string>(const Json& json) {
    return stringIn(json);
}

template <>
URL decode<URL>(const Json& json) {
    auto url = URL::parse(stringIn(json));
    if (!url) {
        corrupted("Expected a link.");
    }
    return *std::move(url);
}

template <>
Piece decode<Piece>(const Json& json) {
    const Piece piece{required<std::int64_t>(json, "start"), optional<std::int64_t>(json, "end"),
                      required<std::int64_t>(json, "done")};
    if (!isComputable(piece)) {
        throw DecodingError(Kind::dataCorrupted, "A piece lies beyond what a file can hold.");
    }
    return piece;
}

template <>
Validators decode<Validators>(const Json& json) {
    return {optional<std::string>(json, "etag"), optional<std::string>(json, "lastModified")};
}

template <>
Checksum decode<Checksum>(const Json& json) {
    const auto algorithm = Checksum::algorithmFrom(required<std::string>(json, "algorithm"));
    if (!algorithm) {
        throw DecodingError(Kind::dataCorrupted, "Expected sha256, sha1 or md5 under 'algorithm'.");
    }
    return {*algorithm, required<std::string>(json, "hex")};
}

template <>
ChecksumResult decode<ChecksumResult>(const Json& json) {
    const FoundCase found = singleCase(json, resultCases);
    if (found.index == 0) {
        return {ChecksumResult::Matches{}};
    }
    return {ChecksumResult::Differs{required<std::string>(found.content, "_0")}};
}

template <>
DownloadState decode<DownloadState>(const Json& json) {
    return decodeStateCase(singleCase(json, stateCases));
}

template <>
DownloadState::Wait decode<DownloadState::Wait>(const Json& json) {
    const auto reason = DownloadState::waitFrom(stringIn(json));
    if (!reason) {
        corrupted("Expected a reason to wait.");
    }
    return *reason;
}

template <>
FilePlace decode<FilePlace>(const Json& json) {
    return {.folder = required<URL>(json, "folder"), .name = required<std::string>(json, "name")};
}

template <>
DownloadRecord decode<DownloadRecord>(const Json& json) {
    const auto id = required<std::int64_t>(json, "id");
    auto url = required<URL>(json, "url");
    auto finalURL = optional<URL>(json, "finalURL");
    if (finalURL == url) {
        finalURL = url; // which shares what it holds
    }
    auto referrer = optional<URL>(json, "referrer");
    DownloadRecord record(DownloadID{id}, std::move(url), required<URL>(json, "folder"), std::move(referrer),
                          Date());
    record.finalURL = std::move(finalURL);
    record.name = optional<std::string>(json, "name");
    record.partial = optional<URL>(json, "partial");
    record.file = optional<URL>(json, "file");
    record.size = optional<std::int64_t>(json, "size");
    record.validators = optional<Validators>(json, "validators");
    record.resumable = required<bool>(json, "resumable");
    record.pieces = decodePieces(json);
    record.state = required<DownloadState>(json, "state");
    record.added = required<Date>(json, "added");
    record.completed = optional<Date>(json, "completed");
    record.opensWebPage = optional<bool>(json, "opensWebPage");
    record.checksum = optional<Checksum>(json, "checksum");
    record.checksumResult = optional<ChecksumResult>(json, "checksumResult");
    record.autoFolder = optional<bool>(json, "autoFolder");
    record.rule = optional<std::string>(json, "rule");
    record.prioritized = optional<bool>(json, "prioritized");
    record.queueOrder = optional<std::int64_t>(json, "queueOrder");
    record.marked = optional<bool>(json, "marked");
    record.removed = optional<bool>(json, "removed");
    record.session = optional<bool>(json, "session");
    record.moving = optional<FilePlace>(json, "moving");
    return record;
}

template <>
Rule::Match decode<Rule::Match>(const Json& json) {
    if (const auto kind = optional<std::string>(json, "kind")) {
        const auto known = fileKind::from(*kind);
        if (!known) {
            throw DecodingError(Kind::dataCorrupted, "Expected a kind of file under 'kind'.");
        }
        return Rule::Kind{*known};
    }
    if (const Json* list = detail::find(json, "extensions"); list && !list->is_null()) {
        auto extensions = decodeList<std::string>(json, "extensions");
        for (std::string& extension : extensions) {
            extension = text::lowercased(extension);
        }
        return Rule::Extensions{std::move(extensions)};
    }
    if (const auto site = optional<std::string>(json, "site")) {
        return Rule::Site{text::lowercased(*site)};
    }
    throw DecodingError(Kind::dataCorrupted, "No kind, extensions or site");
}

template <>
Rule decode<Rule>(const Json& json) {
    auto id = required<std::string>(json, "id");
    auto match = required<Rule::Match>(json, "match");
    Rule rule{std::move(id), std::move(match), optional<std::string>(json, "folder"), std::nullopt};
    if (const auto connections = optional<std::int64_t>(json, "connections")) {
        using Limits = std::numeric_limits<int>;
        rule.connections =
            static_cast<int>(std::clamp<std::int64_t>(*connections, Limits::min(), Limits::max()));
    }
    return rule;
}

} // namespace fluvane::coding
