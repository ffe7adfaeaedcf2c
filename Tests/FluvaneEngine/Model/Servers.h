// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Model/Contents.h"
#include "Support/Engine.h"

namespace fluvane::model {

/// A file on a server. The last kind leads to mirrors, whose tags differ.
struct Source {
    enum Kind { parts, promise, liar, whole, endless, moving };
    static constexpr int versions = 4;
    int number;
    Kind kind;
    std::int64_t longest;
    int version = 0;
    [[nodiscard]] Content content() const { return number * versions + version; }
};

/// A request, and what its server sends.
struct Exchange {
    std::shared_ptr<support::FakeTransfer> transfer;
    bool isAnswered = false;
    Content content = nothing;
    std::int64_t next = 0; ///< Of the content.
    std::int64_t end = 0;
    void send(std::int64_t bytes);
};

/// All servers: what they have, and what they are asked.
class Servers {
public:
    explicit Servers(support::FakeTransport& transport);

    [[nodiscard]] URL link(unsigned number) const;
    [[nodiscard]] Content content(unsigned number) const { return source(number).content(); }
    [[nodiscard]] static std::int64_t sizeOf(Content content);
    void forgetEnded();
    /// Answers all rightly, and sends on every connection.
    void serve(std::int64_t bytes);

    // To one request, if there is any.
    void answer(unsigned number, unsigned how, bool tellsWhen);
    void send(unsigned number, std::int64_t bytes);
    void cut(unsigned number, unsigned how);
    /// The file changes, or mirrors do.
    void change(unsigned number, bool mirrors);

    std::vector<std::shared_ptr<Exchange>> exchanges; ///< Not over yet.

private:
    [[nodiscard]] const Source& source(unsigned number) const { return sources_[number % sources_.size()]; }
    [[nodiscard]] const Source& sourceOf(const Exchange& exchange) const;
    [[nodiscard]] std::shared_ptr<Exchange> pick(unsigned number) const;
    void answerRightly(Exchange& exchange);
    void respond(Exchange& exchange, int status, const TransferResponse::Headers& headers,
                 std::int64_t from = 0, std::int64_t end = 0);

    std::vector<Source> sources_;
    int mirror_ = 1;
};

} // namespace fluvane::model
