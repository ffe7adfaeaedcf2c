// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Model/World.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <random>

#include <fmt/format.h>

namespace fluvane::model {

namespace {

using Schedule = std::vector<Step>;

std::uint64_t number(const char* variable, std::uint64_t otherwise) {
    const char* const text = std::getenv(variable);
    return text ? std::strtoull(text, nullptr, 10) : otherwise;
}

Schedule random(std::uint64_t seed) {
    std::mt19937_64 numbers(seed);
    Schedule steps(std::size_t{1} << numbers() % 10);
    steps.resize(steps.size() + numbers() % steps.size());
    for (auto& step : steps) {
        step = static_cast<Step>(numbers());
        step = numbers() % 4 == 0 ? step : step & 0x7fffffff;
    }
    return steps;
}

/// What a step breaks; `told`, if any, gets every step in words.
std::optional<std::string> play(World& world, const Schedule& steps, std::string& told) {
    for (const auto step : steps) {
        told += world.happen(step) + "\n";
        if (auto found = world.isAtRest ? broken(world) : std::nullopt) {
            return found;
        }
    }
    constexpr int last = 5; // a file may have to be begun anew, and its link asked again
    for (int round = 0; round <= last; ++round) {
        told += "all faults end\n";
        world.recover();
        if (auto found = brokenAtEnd(world, round == last)) {
            return found;
        }
        for (const auto* const download : world.manager().downloads()) {
            world.manager().resume(download->id());
        }
    }
    return std::nullopt;
}

std::optional<std::string> played(const Schedule& steps, std::string* told = nullptr) {
    World world;
    std::string words;
    std::optional<std::string> found;
    try {
        found = play(world, steps, words);
    } catch (const std::exception& error) {
        found = fmt::format("Nothing is thrown. ({})", error.what());
    }
    if (told) {
        *told = words + world.picture();
    }
    return found;
}

Schedule without(Schedule steps, std::size_t at, std::size_t count) {
    const auto begin = steps.begin() + static_cast<std::ptrdiff_t>(at);
    steps.erase(begin, begin + static_cast<std::ptrdiff_t>(count));
    return steps;
}

/// The same failure with fewer steps, and smaller ones.
Schedule shrunk(Schedule steps) {
    const auto isTaken = [&](Schedule fewer) {
        const bool fails = played(fewer).has_value();
        if (fails) {
            steps = std::move(fewer);
        }
        return fails;
    };
    for (auto count = steps.size(); count > 0; count /= 2) {
        for (std::size_t at = 0; at + count <= steps.size();) {
            at += isTaken(without(steps, at, count)) ? 0 : count;
        }
    }
    for (std::size_t at = 0; at < steps.size(); ++at) { // a fault and its end go together
        for (std::size_t other = at + 1; other < steps.size();) {
            other += isTaken(without(without(steps, other, 1), at, 1)) ? 0 : 1;
        }
    }
    for (std::size_t at = 0; at < steps.size(); ++at) {
        for (const Step mask : {0x7fffffffU, 0xffffffU, 0xff00ffffU, 0xffff00ffU}) {
            auto smaller = steps;
            smaller[at] &= mask;
            if (smaller != steps) {
                static_cast<void>(isTaken(std::move(smaller)));
            }
        }
    }
    return steps;
}

std::uint64_t playing = 0; // of which the seed is told where a signal ends it

void tellSeed(int signal) {
    std::cerr << "\nended by signal " << signal << " with FLUVANE_MODEL_SEED=" << playing << std::endl;
    std::_Exit(1);
}

} // namespace

/// The engine in a world where anything happens in any order. FLUVANE_MODEL_STEPS says how many steps,
/// FLUVANE_MODEL_SEED where to begin: the seed of a failure with one step repeats it.
TEST(ModelTest, NothingThatHappensBreaksWhatAlwaysHolds) {
    std::signal(SIGABRT, tellSeed);
    std::signal(SIGSEGV, tellSeed);
    const auto wanted = number("FLUVANE_MODEL_STEPS", 100'000);
    playing = number("FLUVANE_MODEL_SEED", 1);
    std::uint64_t done = 0;
    for (; done < wanted; ++playing) {
        const auto steps = random(playing);
        if (played(steps)) {
            std::string told;
            const auto fewer = shrunk(steps);
            const auto found = played(fewer, &told);
            FAIL() << found.value_or("Only sometimes broken.") << "\nseed " << playing << ", after " << done
                   << " steps, shrunk from " << steps.size() << " to " << fewer.size() << ":\n"
                   << told;
        }
        done += steps.size();
    }
}

} // namespace fluvane::model
