// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Rules.h"

#include <optional>
#include <string>

namespace fluvane {

/// A rule while it is being written. What isn't asked for with the kind of match that is chosen is kept, but
/// doesn't count.
struct RuleDraft {
    enum class Matches { kind, extensions, site };
    enum class Field { extensions, site, folder };

    Matches matches = Matches::kind;
    FileKind kind = FileKind::diskImages;
    std::string extensions{}; ///< As typed.
    std::string site{};       ///< As typed.
    std::optional<std::string> folder{};
    std::optional<int> connections{}; ///< Of sites only.

    [[nodiscard]] static RuleDraft of(const Rule& rule);
    /// How the fields look once they are left: as the rule will have them.
    [[nodiscard]] static std::string shownExtensions(std::string_view typed);
    [[nodiscard]] static std::string shownSite(std::string_view typed);

    /// What is missing for a rule.
    struct Problem {
        Field field;
        std::string sentence;
    };
    [[nodiscard]] std::optional<Problem> problem() const;
    /// What such a rule needs of a folder.
    [[nodiscard]] static std::string folderHint(Matches matches);
    [[nodiscard]] Rule rule(std::string id) const;

private:
    [[nodiscard]] Rule::Match match() const;
    [[nodiscard]] std::optional<Problem> matchProblem() const;
};

} // namespace fluvane
