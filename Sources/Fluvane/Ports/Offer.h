// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/DownloadID.h"
#include "FluvaneCore/URL.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace fluvane {

/// A download that a browser offers, as a person decides on it.
struct PendingOffer {
    std::string token; ///< What tells it apart.
    URL link;
    std::string name;
    std::optional<std::int64_t> size{}; ///< Bytes.
    std::string site;                   ///< That it was offered on: what a remembered choice is for.
    URL folder;                         ///< By rules and settings.
    /// A download of the list whose link expired, of which it is the same file.
    std::optional<DownloadID> renews{};
    friend bool operator==(const PendingOffer&, const PendingOffer&) = default;
};

struct OfferAnswer {
    bool isAccepted = false;
    std::optional<std::string> name{}; ///< Another than the offered one.
    std::optional<URL> folder{};       ///< Another than by rules and settings.
    bool remember = false;             ///< For all that comes from its site later on.
    bool renew = false;                ///< For the download of the list instead of a new one.
};

/// To be called once for an offer; one that was withdrawn meanwhile is left alone.
using AnswerOffer = std::function<void(const std::string& token, const OfferAnswer& answer)>;

} // namespace fluvane
