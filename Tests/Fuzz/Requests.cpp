// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What other programs ask for: over the control socket, as links of the scheme, and as things to open, a line
// each.

#include "Fluvane/Commands/CommandCenter.h"
#include "Fluvane/Commands/ControlRequest.h"
#include "FluvaneCore/Text.h"
#include "Fuzz/Fuzz.h"
#include "Support/Engine.h"
#include "Support/FakeSettings.h"
#include "Support/FakeWindows.h"

using namespace fluvane;

const fuzz::Inputs fuzz::seeds = {
    R"(["add","--to","/tmp","--sha1","da39a3ee5e6b4b0d3255bfef95601890afd80709","http://h.org/p[1-3].zip"])",
    R"(["checksum","1","none"])",
    R"(["limit","\u0030.5"])",
    R"(["prioritize","1","off"])",
    "[\"remove\",\"all\"]",
    "fluvane:add?url=http%3A%2F%2Fh.org%2Fa&url=https://b.org/%25&referrer=http://c.org/",
    "fluvane://settings?pane=Rules\nfluvane:///show/\nhttp://me:p@h.org/a "
    "b\nfile:///nowhere/a.txt\nftp://h/a"};

struct Application {
    support::Engine engine;
    support::FakeSettings settings{*engine.manager};
    support::FakeWindows windows;
    CommandCenter center{*engine.manager, settings, {.windows = &windows}};
};

static void run(const CommandCenter::Arguments& arguments) {
    Application application;
    application.engine.manager->start();
    application.engine.add("http://a.org/1");
    int replies = 0;
    application.center.run(arguments, [&](const Reply& reply) {
        ++replies;
        fuzz::require(reply.ok || !reply.text.empty(), "a refusal says why");
        fuzz::require(text::isValid(reply.text), "a reply is text");
    });
    application.engine.scheduler.runFor(1);
    fuzz::require(replies == 1, "a command has one reply");
}

void fuzz::check(std::string_view input) {
    static Application application;
    if (const auto arguments = parseRequest(input)) {
        require(parseRequest(coding::Json(*arguments).dump()) == arguments, "a request reads back");
        run(*arguments);
    }
    std::vector<std::string> things;
    for (auto rest = input; !rest.empty();
         rest.remove_prefix(std::min(things.back().size() + 1, rest.size()))) {
        things.emplace_back(rest.substr(0, rest.find('\n')));
    }
    application.windows.asked.clear();
    (void)application.center.open(things);
    (void)application.center.act(input);
    require(application.engine.manager->downloads().empty(), "nobody else adds downloads");
    for (const auto& asked : application.windows.asked) {
        require(!asked.starts_with("new ") || text::lowercased(asked).starts_with("new http"),
                "only web links are offered");
    }
}
