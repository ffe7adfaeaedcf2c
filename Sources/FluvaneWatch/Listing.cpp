// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneWatch/Listing.h"

#include "FluvaneCore/Coding.h"
#include "FluvaneCore/StateName.h"

#include <algorithm>

namespace fluvane::watch {

namespace {

using coding::Json;

std::int64_t count(const Json& entry, std::string_view key) {
    return std::max<std::int64_t>(coding::optional<std::int64_t>(entry, key).value_or(0), 0);
}

std::string textOf(const Json& entry, std::string_view key) {
    return coding::optional<std::string>(entry, key).value_or(std::string());
}

RowState state(const std::string& name) {
    const auto kind = stateNamed(name);
    return kind ? RowState(*kind) : UnknownState{name};
}

Row row(const Json& entry) {
    Row row{.id = DownloadID{coding::required<std::int64_t>(entry, "id")},
            .name = textOf(entry, "name"),
            .state = state(coding::required<std::string>(entry, "state")),
            .reason = textOf(entry, "reason"),
            .file = textOf(entry, "file"),
            .downloaded = count(entry, "downloaded"),
            .size = coding::optional<std::int64_t>(entry, "size"),
            .bytesPerSecond = count(entry, "bytesPerSecond"),
            .connections = count(entry, "connections"),
            .checksum = textOf(entry, "checksum"),
            .checksumMatches = coding::optional<bool>(entry, "checksumMatches"),
            .placeInLine = coding::optional<std::int64_t>(entry, "placeInLine")};
    if (row.size && *row.size < 0) {
        row.size.reset();
    }
    return row;
}

} // namespace

std::optional<std::vector<Row>> parseListing(std::string_view json) {
    try {
        const Json list = coding::parse(json);
        if (!list.is_array()) {
            return std::nullopt;
        }
        std::vector<Row> rows;
        std::ranges::transform(list, std::back_inserter(rows), row);
        return rows;
    } catch (const coding::DecodingError&) {
        return std::nullopt;
    }
}

} // namespace fluvane::watch
