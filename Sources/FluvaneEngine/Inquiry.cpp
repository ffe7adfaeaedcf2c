// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Inquiry.h"

#include "FluvaneEngine/Answers.h"
#include "TessivarPhrases/Phrases.h"

#include <utility>
#include <variant>

namespace fluvane {

namespace {

std::string sentenceOn(const answers::Refusal& refusal) {
    const auto* const refused = std::get_if<answers::Refused>(&refusal);
    return refused ? refused->sentence : tessivar::kept("kept", "The server is busy at the moment.");
}

} // namespace

Inquiry::Inquiry(std::shared_ptr<HTTPTransport> transport, fileName::TypeRegistry types, Question question,
                 Answered answered)
    : transport_(std::move(transport)), types_(std::move(types)), question_(std::move(question)),
      answered_(std::move(answered)) {
    ask(true);
}

/// A link that works once isn't used up by a question for the head. Many that are signed work for nothing but
/// fetching: of those one byte is asked for.
void Inquiry::ask(bool forHead) {
    asksForHead_ = forHead;
    const auto one = forHead ? std::nullopt : std::optional<std::int64_t>(0);
    transfer_ = transport_->start({.url = question_.link,
                                   .from = one,
                                   .to = one,
                                   .referrer = question_.referrer,
                                   .session = question_.session,
                                   .label = forHead ? "new link, head" : "new link, first byte",
                                   .headOnly = forHead},
                                  [this](const TransferEvent& event) { received(event); });
}

void Inquiry::received(const TransferEvent& event) {
    if (const auto* const response = std::get_if<TransferResponse>(&event.value)) {
        responded(*response);
    } else if (const auto* const failed = std::get_if<TransferEvent::Failed>(&event.value)) {
        const auto& error = failed->error;
        if (asksForHead_ && !error.offline && !error.lasting && !error.nameless) {
            ask(false);
        } else {
            end(Outcome<LinkFacts>::failure(error.message));
        }
    }
}

void Inquiry::responded(const TransferResponse& response) {
    const auto answer = answers::withEmptyFile(response);
    const auto refusal = answers::refusal(answer.status(), answers::Request::probe);
    if (refusal && asksForHead_) {
        ask(false);
        return;
    }
    if (refusal) {
        end(Outcome<LinkFacts>::failure(sentenceOn(*refusal)));
        return;
    }
    const auto facts = answers::fileFacts(answer);
    auto size = facts ? facts->size : std::nullopt;
    if (asksForHead_ && size == 0) {
        size.reset(); // said by servers that make the file only as they send it
    }
    end(Outcome<LinkFacts>::success({.name = answers::suggestedName(answer, types_),
                                     .size = size,
                                     .type = answer["content-type"],
                                     .isPage = answers::opensPage(answer, question_.link, size),
                                     .validators = answer.validators()}));
}

/// Whoever is told may drop this.
void Inquiry::end(const Outcome<LinkFacts>& outcome) {
    transfer_.reset();
    const auto answered = std::move(answered_);
    answered(outcome);
}

} // namespace fluvane
