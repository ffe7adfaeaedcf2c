// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneBrowser/Host.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

using namespace fluvane;
using namespace fluvane::browser;
using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Arguments = std::vector<std::string>;

namespace {

constexpr auto anOffer =
    R"({"type":"offer","offer":"a1","by":"browser","link":"https://h.org/a","finalLink":"https://h.org/b"})";
constexpr auto itsRequest = R"({"by":"browser","link":"https://h.org/a","finalLink":"https://h.org/b"})";

/// The host between an application, which answers as it is told, and an extension that listens.
class HostTests : public ::testing::Test {
protected:
    std::optional<cli::Answer> answer(const Arguments& arguments) {
        now += isHanging ? 2s : 0s;
        if (!isRunning || isHanging) {
            return std::nullopt;
        }
        if (arguments[0] == "--running") {
            return cli::Answer{.ok = true, .text = "2"};
        }
        asked.push_back(arguments);
        const bool isOffer = arguments[0] == "--offer";
        return isOffer                           ? taken
               : arguments[0] == "--offer-state" ? state
                                                 : cli::Answer{.ok = true, .text = ""};
    }
    void wait(Host::Clock::duration time) {
        for (const auto end = now + time; now < end; now += Host::betweenLooks) {
            host.look();
        }
    }
    /// What the extension was told since of how it ended.
    Arguments ended() {
        auto all = heard();
        std::erase_if(all, [](const auto& one) { return one.starts_with("asking "); });
        return all;
    }
    /// What it was told since, without a declined offer's sentence.
    Arguments heard() {
        Arguments all;
        for (const auto& one : std::exchange(said, {})) {
            const auto json = nlohmann::json::parse(one);
            all.push_back(json["type"].get<std::string>() + " " + json.value("offer", "") +
                          json.value("token", "") + json.value("reason", ""));
        }
        return all;
    }
    void agree() {
        host.receive(anOffer);
        state.text = "agreed";
        wait(200ms);
        asked.clear();
        EXPECT_THAT(heard(), ElementsAre("asking a1t", "agreed a1t"));
    }

    bool isRunning = true;
    bool isHanging = false; ///< Connections are taken and not answered.
    int launches = 0;
    bool canLaunch = true;
    cli::Answer taken{.ok = true, .text = "t"};
    cli::Answer state{.ok = true, .text = "asking"};
    std::vector<Arguments> asked;
    Arguments said;
    Host::Clock::time_point now;
    Host host{{.send = [this](const auto& arguments, auto) { return answer(arguments); },
               .launch = [this] { return ++launches, canLaunch; },
               .say = [this](auto text) { said.emplace_back(text); },
               .now = [this] { return now; }}};
};

TEST_F(HostTests, CarriesAnOfferToItsEnd) {
    host.receive(anOffer);
    EXPECT_THAT(asked.at(0), ElementsAre("--offer", itsRequest));
    EXPECT_TRUE(host.isWaiting());
    state.text = "agreed";
    wait(200ms);
    EXPECT_THAT(heard(), ElementsAre("asking a1t", "agreed a1t"));
    EXPECT_FALSE(host.isWaiting());
    host.receive(R"({"type":"verdict","offer":"a1","token":"t","canceled":true})");
    EXPECT_THAT(asked.back(), ElementsAre("--offer-verdict", "t", "canceled"));
    EXPECT_THAT(heard(), ElementsAre("settled a1"));
    host.close();
    EXPECT_EQ(asked.back()[2], "canceled");
}

TEST_F(HostTests, SaysWhyAnOfferIsDeclined) {
    struct Row {
        cli::Answer taken, state;
        const char* told;
    };
    for (const auto& [takes, answers, told] :
         {Row{{true, "t"}, {true, "declined page It sent a page."}, "declined a1page"},
          Row{{true, "t"}, {true, "declined left"}, "declined a1left"},
          Row{{true, "t"}, {true, "declined rm -rf"}, "declined a1unavailable"},
          Row{{true, "t"}, {false, "Unknown."}, "declined a1unavailable"},
          Row{{false, "No."}, {true, "asking"}, "declined a1unavailable"}}) {
        taken = takes;
        state = answers;
        host.receive(anOffer);
        wait(200ms);
        EXPECT_THAT(ended(), ElementsAre(told));
        EXPECT_FALSE(host.isWaiting());
    }
}

TEST_F(HostTests, LeavesToTheBrowserWhatIsNotDecided) {
    struct Row {
        const char* how;
        std::function<void()> end;
        Arguments told;
    };
    const Row rows[] = {{"late", [&] { wait(28s + 200ms); }, {"declined a1late"}},
                        {"withdrawn", [&] { host.receive(R"({"type":"withdraw","offer":"a1"})"); }, {}},
                        {"closed", [&] { host.close(); }, {}}};
    for (const auto& [how, end, told] : rows) {
        host.receive(anOffer);
        wait(1s);
        end();
        EXPECT_THAT(asked.back(), ElementsAre("--offer-verdict", "t", "kept")) << how;
        EXPECT_EQ(ended(), told) << how;
        EXPECT_FALSE(host.isWaiting()) << how;
    }
}

TEST_F(HostTests, LeavesWhatIsAgreedToTheVerdict) {
    agree();
    wait(60s);
    host.receive(R"({"type":"withdraw","offer":"a1"})");
    host.close();
    EXPECT_THAT(asked, IsEmpty());
    EXPECT_THAT(heard(), IsEmpty());
}

TEST_F(HostTests, StartsTheApplicationForAnOfferAlone) {
    isRunning = false;
    host.receive(R"({"type":"status"})");
    host.receive(R"({"type":"withdraw","offer":"a1"})");
    host.receive(R"({"type":"verdict","offer":"a1","token":"t","canceled":false})");
    EXPECT_FALSE(host.isWaiting());
    EXPECT_EQ(launches, 0);
    EXPECT_THAT(heard(), ElementsAre("status "));
    host.receive(anOffer);
    wait(2s);
    EXPECT_EQ(launches, 1);
    isRunning = true;
    wait(200ms);
    EXPECT_THAT(asked.at(0), ElementsAre("--offer", itsRequest));
    wait(1s);
    EXPECT_THAT(heard(), ElementsAre("asking a1t"));
}

TEST_F(HostTests, StartsTheApplicationForAFileThatNobodyElseHas) {
    agree();
    isRunning = false;
    host.receive(R"({"type":"verdict","offer":"a1","token":"t","canceled":true})");
    EXPECT_EQ(launches, 1);
    EXPECT_THAT(heard(), IsEmpty());
    isRunning = true;
    wait(200ms);
    EXPECT_THAT(asked, ElementsAre(ElementsAre("--offer-verdict", "t", "canceled")));
    EXPECT_THAT(heard(), ElementsAre("settled a1"));
}

TEST_F(HostTests, GivesUpAnApplicationThatDoesNotAnswer) {
    struct Row {
        const char* how;
        std::function<void()> before, after;
    };
    const Row rows[] = {{"can't be started", [&] { canLaunch = isRunning = false; }, [] {}},
                        {"doesn't come up", [&] { isRunning = false; }, [&] { wait(15s + 200ms); }},
                        {"ended meanwhile", [] {}, [&] { isRunning = false, wait(3s + 200ms); }},
                        {"hangs", [] {}, [&] { isHanging = true, wait(5s); }}};
    for (const auto& [how, before, after] : rows) {
        canLaunch = isRunning = true;
        isHanging = false;
        before();
        host.receive(anOffer);
        after();
        EXPECT_THAT(ended(), ElementsAre("declined a1unavailable")) << how;
        EXPECT_FALSE(host.isWaiting()) << how;
    }
}

TEST_F(HostTests, TakesSoManyAtOnce) {
    for (std::size_t i = 0; i <= Host::mostAtOnce; ++i) {
        host.receive(R"({"type":"offer","offer":"n)" + std::to_string(i) +
                     R"(","by":"menu","links":["http://h.org/"]})");
    }
    host.receive(R"({"type":"offer","offer":"n0","by":"menu","links":["http://h.org/"]})");
    EXPECT_THAT(ended(), ElementsAre("declined n32unavailable"));
    EXPECT_EQ(std::ranges::count(asked, "--offer", [](const auto& one) { return one[0]; }), 32);
}

} // namespace
