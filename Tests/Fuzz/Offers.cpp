// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What an extension says to the host, a message after the other.

#include "FluvaneBrowser/Host.h"
#include "FluvaneCore/Coding.h"
#include "FluvaneCore/URL.h"
#include "Fuzz/Fuzz.h"

using namespace fluvane;

const fuzz::Inputs fuzz::seeds = {
    R"({"type":"offer","offer":"a1","by":"browser","link":"https://h.org/a","finalLink":"http://h.org/b","size":5,
        "referrer":"https://h.org/","userAgent":"A","mime":"x/y","name":"a.iso"})",
    R"({"type":"offer","offer":"a2","by":"menu","link":"https://h.org/","cookies":[{"name":"s","value":"1","domain":"h.org",
        "path":"/","secure":true,"httpOnly":true,"hostOnly":true,"expirationDate":17e8}]})",
    R"({"type":"offer","offer":"a3","by":"menu","links":["http://h.org/","http://h.org/2"]})",
    R"({"type":"verdict","offer":"a1","token":"00ff","canceled":true})",
    R"({"type":"withdraw","offer":"a1"})",
    R"({"type":"status"})",
};

static void lookAt(const std::vector<std::string>& arguments) {
    fuzz::require(cli::canBeSent(arguments), "what goes to the application is text");
    if (arguments[0] != "--offer") {
        return;
    }
    const auto offer = coding::parse(arguments[1]);
    const auto links =
        offer.value("links", coding::Json::array({offer.value("link", ""), offer.value("finalLink", "")}));
    for (const auto& link : links) {
        const auto url = URL::parse(link.get<std::string>());
        fuzz::require(url && url->isWeb(), "only web links are offered");
    }
}

void fuzz::check(std::string_view input) {
    bool isOffered = false;
    browser::Host host({.send =
                            [&](const auto& arguments, auto) {
                                lookAt(arguments);
                                isOffered = isOffered || arguments[0] == "--offer";
                                return cli::Answer{.ok = true, .text = "1"};
                            },
                        .launch = [] { return true; },
                        .say = [](auto text) { (void)coding::parse(text); },
                        .now = browser::Host::Clock::now});
    host.receive(input);
    require(!host.isWaiting() || isOffered, "only an offer is waited for");
}
