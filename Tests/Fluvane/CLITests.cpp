// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Client/CLI.h"
#include "Fluvane/Client/DataFolders.h"
#include "Fluvane/Client/Usage.h"
#include "Support/Rows.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace fluvane {
namespace {

using support::TemporaryFolder;
using Arguments = std::vector<std::string>;

/// A world in which nobody answers until told otherwise.
struct World {
    std::vector<Arguments> sent{};
    std::optional<cli::Answer> answer{};
    std::size_t answersFrom = 0; ///< The number of tries that nobody answers.
    bool launches = false;
    int launched = 0;
    int slept = 0;
    std::string output{}, error{};
    std::error_code lost{}; ///< What became of the output.

    int run(const Arguments& arguments) {
        const auto send = [this](const Arguments& list) {
            sent.push_back(list);
            return sent.size() > answersFrom ? answer : std::nullopt;
        };
        const auto launch = [this] { return ++launched > 0 && launches; };
        return cli::run(arguments, {send, launch, [this](auto) { ++slept; },
                                    [this](auto text) { return output += text, lost; },
                                    [this](auto text) { error += text; }});
    }
};

TEST(CLI, AnswersDecideOutputAndStatus) {
    using Answer = std::optional<cli::Answer>;
    const std::string full = "Couldn't write the output: No space left on device\n";
    const std::tuple<Answer, std::errc, int, std::string, std::string> rows[] = {
        {cli::Answer{true, "[]"}, {}, 0, "[]\n", ""},
        {cli::Answer{true, ""}, {}, 0, "", ""},
        {cli::Answer{false, "No."}, {}, 1, "", "No.\n"},
        {cli::Answer{true, "[]"}, std::errc::no_space_on_device, 1, "[]\n", full},
        {cli::Answer{true, "[]"}, std::errc::broken_pipe, 1, "[]\n", ""},
    };
    for (const auto& [answer, lost, status, output, error] : rows) {
        World world{.answer = answer, .lost = make_error_code(lost)};
        EXPECT_EQ(world.run({"list"}), status) << output << error;
        EXPECT_EQ(world.output, output);
        EXPECT_EQ(world.error, error);
        EXPECT_EQ(world.launched, 0);
    }
}

TEST(CLI, HelpIsNotSent) {
    for (const char* help : {"help", "HELP", "--help", "-h"}) {
        World world;
        EXPECT_EQ(world.run({help}), 0);
        EXPECT_EQ(world.output, usageText() + "\n") << help;
        EXPECT_TRUE(world.sent.empty());
    }
}

TEST(CLI, StartsTheApplicationOnlyForWhatOpensSomething) {
    for (const char* command : {"add", "show", "settings", "welcome", "whats-new"}) {
        World world{.answer = cli::Answer{true, "there"}, .answersFrom = 3, .launches = true};
        EXPECT_EQ(world.run({command}), 0) << command;
        EXPECT_EQ(world.launched, 1) << command;
        EXPECT_EQ(world.slept, 3) << command;
    }
    World silent{.launches = true};
    EXPECT_EQ(silent.run({"add", "x"}), 1);
    EXPECT_EQ(silent.sent.size(), 51u);
}

TEST(CLI, MakesPathsAbsolute) {
    const TemporaryFolder folder;
    support::writeFile(folder / "part.txt", "x");
    std::filesystem::create_directory(folder / "sub");
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    const std::string here = folder / "";
    const std::string home = dataFolders::home();
    const support::NamedRows<Arguments, Arguments> rows = {
        {"command", {"LiSt", "X"}, {"list", "X"}},
        {"dots", {"add", "sub/.././part.txt"}, {"add", here + "part.txt"}},
        {"link", {"add", "http://h/part.txt"}, {"add", "http://h/part.txt"}},
        {"folder", {"add", "x", "--to", "new/"}, {"add", "x", "--to", here + "new"}},
        {"home", {"add", "--to", "~/d"}, {"add", "--to", home + "/d"}},
        {"values",
         {"add", "--header", "part.txt", "--md5", "sub"},
         {"add", "--header", "part.txt", "--md5", "sub"}},
        {"import", {"import", "../x", "y"}, {"import", before.root_path().string() + "tmp/x", "y"}},
        {"others", {"link", "1", "part.txt"}, {"link", "1", "part.txt"}},
    };
    support::expectRows(rows, cli::rewritten);
    std::filesystem::current_path(before);
}

TEST(CLI, WhatIsSecretIsReadFromFiles) {
    const TemporaryFolder folder;
    support::writeFile(folder / "h", "A: b\r\n\nC: d");
    support::writeFile(folder / "big", std::string(600'000, 'x'));
    support::writeFile(folder / "bytes", "\xe4");
    const std::string headers = folder / "h";
    World world{.answer = cli::Answer{true, ""}};
    EXPECT_EQ(world.run({"add", "u", "--header", "@" + headers, "--cookies", headers, "--header"}), 0);
    EXPECT_EQ(world.sent.at(0), (Arguments{"add", "u", "--header", "A: b", "--header", "C: d", "--cookies",
                                           "A: b\r\n\nC: d", "--header"}));
    for (const auto& [name, why] : {std::pair("none", "No such file or directory"),
                                    {"", "Is a directory"},
                                    {"big", "It is longer than 512 KiB"},
                                    {"bytes", "It isn't text in UTF-8"}}) {
        World strict{.answer = cli::Answer{true, ""}};
        const std::string file = folder / name;
        EXPECT_EQ(strict.run({"add", "u", "--cookies", file}), 1);
        EXPECT_EQ(strict.error, "Couldn't read “" + file + "”: " + why + ".\n");
        EXPECT_TRUE(strict.sent.empty());
    }
}

TEST(CLI, WhatCannotBeSentIsNot) {
    EXPECT_FALSE(cli::canBeSent({"add", "--to", "\xe4"}));
    EXPECT_FALSE(cli::send({"list"}, "/" + std::string(103, 'x')));
}

} // namespace
} // namespace fluvane
