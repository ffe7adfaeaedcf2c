// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Admission.h"

#include "Support/Engine.h"

#include <gtest/gtest.h>

#include <sstream>

namespace fluvane::admission {
namespace {

using State = DownloadState;

/// Downloads drawn as words: a letter for the server and one for the state, q(ueued), d(ownloading), p(aused)
/// or v(erifying), then the number of connections, and "!" for a prioritized one: "aq", "bd4", "aq!".
DownloadList listOf(const std::string& picture) {
    std::istringstream words(picture);
    DownloadList list;
    for (std::string word; words >> word;) {
        DownloadRecord record(list.nextID(), support::link("http://" + word.substr(0, 1) + ".example/f"),
                              URL::folder("/d"), std::nullopt, Date());
        record.state = word[1] == 'q'   ? State(State::Queued{})
                       : word[1] == 'd' ? State(State::Downloading{})
                       : word[1] == 'v' ? State(State::Verifying{})
                                        : State(State::Paused{});
        if (word.ends_with('!')) {
            record.prioritized = true;
        }
        auto& download = list.append(std::move(record));
        const int connections = word.size() > 2 && word[2] != '!' ? word[2] - '0' : 0;
        for (std::int64_t start = 0; start < connections; ++start) {
            download.transfers[start] = {.start = start};
        }
    }
    return list;
}

/// "4 5; 6 noSlot" are two that start and one that waits.
std::string told(const Plan& plan) {
    static constexpr const char* reasons[] = {"offline", "limitedNetwork", "noSlot", "fullServer"};
    std::string text;
    for (const Download* download : plan.starts) {
        text += std::to_string(number(download->id())) + " ";
    }
    for (const auto& [download, reason] : plan.waits) {
        text += "; " + std::to_string(number(download->id())) + " " + reasons[static_cast<int>(reason)];
    }
    return text;
}

TEST(Admission, NamesWhoStartsWhoWaitsAndWhy) {
    struct {
        const char* name;
        const char* list;
        const char* expected;
    } const rows[] = {
        {"in the order of the line", "aq bq cq dq", "1 2 3 ; 4 noSlot"},
        {"verifying takes a slot", "av bd1 cq dq", "3 ; 4 noSlot"},
        {"prioritized first, past the limit", "ad1 bd1 cd1 dq eq!", "5 ; 4 noSlot"},
        {"prioritized takes a slot from the next", "ad1 bd1 cq dq!", "4 ; 3 noSlot"},
        {"a full server holds back its own only", "ad1 ad1 ad1 aq bq", "; 4 noSlot; 5 noSlot"},
        {"full, one has a connection to spare", "ad2 aq aq", "2 ; 3 fullServer"},
        {"prioritized needs no room", "ad1 ad1 aq!", "3 "},
        {"a start fills the server", "aq aq aq", "1 2 ; 3 fullServer"},
    };
    for (const auto& row : rows) {
        Conditions conditions;
        conditions.config.connectionsPerServer = 2;
        EXPECT_EQ(told(plan(listOf(row.list), conditions)), row.expected) << row.name;
    }
}

TEST(Admission, ConditionsOfTheNetwork) {
    const auto list = listOf("aq bq! cq");
    list.find(DownloadID{3})->allowedOnLimitedNetwork = true;
    Conditions conditions;
    conditions.online = false;
    EXPECT_EQ(told(plan(list, conditions)), "; 1 offline; 2 offline; 3 offline");
    conditions.online = true;
    conditions.limitedNetwork = LimitedNetwork::hotspot;
    EXPECT_EQ(told(plan(list, conditions)), "3 ; 1 limitedNetwork; 2 limitedNetwork");
}

TEST(DownloadList, GivesSenselessAndRepeatedNumbersNewOnes) {
    const auto numbered = [](std::int64_t id) {
        return DownloadRecord(DownloadID{id}, support::link("http://a.example/f"), URL::folder("/d"),
                              std::nullopt, Date());
    };
    DownloadList list;
    list.load({numbered(5), numbered(0), numbered(5), numbered(std::numeric_limits<std::int64_t>::max()),
               numbered(2), numbered(-3)});
    std::string numbers;
    for (const auto& download : list) {
        numbers += std::to_string(number(download->id())) + " ";
        EXPECT_EQ(list.find(download->id()), download.get()) << "in whatever order";
    }
    EXPECT_EQ(numbers, "5 6 7 8 2 9 ");
    EXPECT_EQ(list.nextID(), DownloadID{10});
    EXPECT_EQ(list.find(DownloadID{1}), nullptr);
}

} // namespace
} // namespace fluvane::admission
