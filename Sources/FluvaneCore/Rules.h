// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace fluvane {

enum class FileKind { diskImages, archives, video, audio, documents, images };

namespace fileKind {
inline constexpr std::array all = {FileKind::diskImages, FileKind::archives,  FileKind::video,
                                   FileKind::audio,      FileKind::documents, FileKind::images};
[[nodiscard]] std::string_view name(FileKind kind);
[[nodiscard]] std::string_view rawValue(FileKind kind);
[[nodiscard]] std::optional<FileKind> from(std::string_view rawValue);
/// Whether the kind has this lower-case extension (without dot).
[[nodiscard]] bool hasExtension(FileKind kind, std::string_view extension);
/// The kind's extensions, in the order people know them.
[[nodiscard]] std::vector<std::string_view> extensions(FileKind kind);
} // namespace fileKind

/// One condition with an optional folder and an optional connection count.
struct Rule {
    struct Kind {
        FileKind kind;
        friend bool operator==(const Kind&, const Kind&) = default;
    };
    struct Extensions {
        std::vector<std::string> extensions; ///< Lower case, without dots.
        friend bool operator==(const Extensions&, const Extensions&) = default;
    };
    struct Site {
        std::string site; ///< Lower-case host without "www.".
        friend bool operator==(const Site&, const Site&) = default;
    };
    using Match = std::variant<Kind, Extensions, Site>;

    std::string id; ///< Unique within the list.
    Match match;
    std::optional<std::string> folder; ///< A path, may begin with "~"; absent: chooses no folder.
    std::optional<int> connections;    ///< Absent: doesn't limit connections.

    /// What the user typed, turned into the stored form.
    [[nodiscard]] static std::string site(std::string_view typed);
    [[nodiscard]] static std::vector<std::string> extensions(std::string_view typed);

    [[nodiscard]] bool fits(std::string_view fileName, const std::optional<std::string>& host) const;
    friend bool operator==(const Rule&, const Rule&) = default;
};

namespace rules {
/// The first rule that names a folder and fits; null when none does. Points into the list.
[[nodiscard]] const Rule* folderRule(const std::vector<Rule>& list, std::string_view fileName,
                                     const std::optional<std::string>& host);
/// The strictest limit of the site rules that fit the host.
[[nodiscard]] std::optional<int> connections(const std::vector<Rule>& list,
                                             const std::optional<std::string>& host);
} // namespace rules

} // namespace fluvane
