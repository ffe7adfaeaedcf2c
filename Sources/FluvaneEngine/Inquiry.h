// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/FileName.h"
#include "FluvaneEngine/Platform.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace fluvane {

/// What a server says of a link's file.
struct LinkFacts {
    std::string name;                   ///< That the file would get.
    std::optional<std::int64_t> size{}; ///< Bytes.
    std::optional<std::string> type{};  ///< Its content type, as sent.
    bool isPage = false;                ///< A web page is sent instead of a file.
    Validators validators{};
};

/// Asks a server about a link's file without fetching it: for the head of its answer alone or, from a server
/// that refuses that, for one byte. Dropping it ends it. Main queue only.
class Inquiry {
public:
    /// With the facts, or a sentence on why there are none. Called once, on a later turn; may drop the
    /// inquiry.
    using Answered = std::function<void(const Outcome<LinkFacts>&)>;

    struct Question {
        URL link;
        std::optional<URL> referrer{};
        SharedSession session{};
        friend bool operator==(const Question&, const Question&) = default;
    };

    Inquiry(std::shared_ptr<HTTPTransport> transport, fileName::TypeRegistry types, Question question,
            Answered answered);
    Inquiry(const Inquiry&) = delete;
    Inquiry& operator=(const Inquiry&) = delete;

private:
    void ask(bool forHead);
    void received(const TransferEvent& event);
    void responded(const TransferResponse& response);
    void end(const Outcome<LinkFacts>& outcome);

    std::shared_ptr<HTTPTransport> transport_;
    fileName::TypeRegistry types_;
    Question question_;
    Answered answered_;
    bool asksForHead_ = true;
    std::shared_ptr<Transfer> transfer_;
};

} // namespace fluvane
