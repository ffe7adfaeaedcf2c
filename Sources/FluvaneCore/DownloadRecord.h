// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/Checksum.h"
#include "FluvaneCore/Date.h"
#include "FluvaneCore/DownloadID.h"
#include "FluvaneCore/Headers.h"
#include "FluvaneCore/Piece.h"
#include "FluvaneCore/Seldom.h"
#include "FluvaneCore/StateKind.h"
#include "FluvaneCore/URL.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace fluvane {

namespace detail {
template <class Case, class Variant>
inline constexpr bool isAlternative = false;
template <class Case, class... Cases>
inline constexpr bool isAlternative<Case, std::variant<Cases...>> = (std::is_same_v<Case, Cases> || ...);
} // namespace detail

/// The state of one download.
struct DownloadState {
    enum class Wait { offline, retrying, linkExpired, limitedNetwork, space };

    template <int caseNumber>
    struct Plain {
        friend bool operator==(const Plain&, const Plain&) = default;
    };
    using Queued = Plain<0>;
    using Starting = Plain<1>;
    using Downloading = Plain<2>;
    using Paused = Plain<3>;
    struct Waiting {
        Wait reason;
        friend bool operator==(const Waiting&, const Waiting&) = default;
    };
    using Verifying = Plain<5>;
    using Finishing = Plain<6>;
    using Finished = Plain<7>;
    struct Failed {
        std::string message; ///< Shown to the user.
        friend bool operator==(const Failed&, const Failed&) = default;
    };
    using Value =
        std::variant<Queued, Starting, Downloading, Paused, Waiting, Verifying, Finishing, Finished, Failed>;
    Value value;

    DownloadState() = default;
    template <class Case>
    requires detail::isAlternative<std::remove_cvref_t<Case>, Value> DownloadState(Case&& value_)
        : value(std::forward<Case>(value_)) {}             // a case is a state
    DownloadState(Wait reason) : value(Waiting{reason}) {} // likewise a reason to wait

    template <class Case>
    [[nodiscard]] bool is() const {
        return std::holds_alternative<Case>(value);
    }
    [[nodiscard]] StateKind kind() const;
    [[nodiscard]] bool isWaiting(Wait reason) const;
    /// The failure's message, null in every other state.
    [[nodiscard]] const std::string* failure() const;

    [[nodiscard]] bool isActive() const; ///< Takes a slot.
    [[nodiscard]] bool usesNetwork() const;
    [[nodiscard]] bool isDone() const; ///< Finished or failed.

    [[nodiscard]] static std::string_view rawValue(Wait reason);
    [[nodiscard]] static std::optional<Wait> waitFrom(std::string_view rawValue);

    friend bool operator==(const DownloadState&, const DownloadState&) = default;
};

/// Where a file is to be.
struct FilePlace {
    URL folder;
    std::string name;
    friend bool operator==(const FilePlace&, const FilePlace&) = default;
};

/// Everything about one download that outlives the process. The stored form's keys are the field names.
struct DownloadRecord {
    DownloadID id;
    URL url;                     ///< The link as added.
    std::optional<URL> finalURL; ///< After redirects.
    std::optional<URL> referrer;
    URL folder;
    std::optional<std::string> name;
    std::optional<URL> partial;       ///< The unfinished file.
    std::optional<URL> file;          ///< The finished file.
    std::optional<std::int64_t> size; ///< Bytes.
    Seldom<Validators> validators;
    bool resumable = false;
    std::vector<Piece> pieces;
    DownloadState state;
    Date added;
    std::optional<Date> completed;
    std::optional<bool> opensWebPage;
    Seldom<Checksum> checksum;
    Seldom<ChecksumResult> checksumResult;
    std::optional<bool> autoFolder;
    Seldom<std::string> rule; ///< The id of the rule that chose the folder.
    std::optional<bool> prioritized;
    std::optional<std::int64_t> queueOrder;
    std::optional<bool> marked;  ///< Its unfinished file bore its mark when it was made; no other is its own.
    std::optional<bool> removed; ///< Taken from the list; only its unfinished file is left to be deleted.
    std::optional<bool> session; ///< The server knows by more than the link who asks.
    /// Its file, finished or not, is on the way there: it is in either place.
    Seldom<FilePlace> moving;

    DownloadRecord(DownloadID id, URL url, URL folder, std::optional<URL> referrer, Date added);

    [[nodiscard]] std::int64_t doneBytes() const;
    [[nodiscard]] std::optional<double> fraction() const; ///< 0 to 1; absent when unknown.
    [[nodiscard]] std::string displayName() const;
    /// What came isn't what its checksum is of.
    [[nodiscard]] bool isMismatched() const;
    [[nodiscard]] std::int64_t queueKey() const;

    friend bool operator==(const DownloadRecord&, const DownloadRecord&) = default;
};

} // namespace fluvane
