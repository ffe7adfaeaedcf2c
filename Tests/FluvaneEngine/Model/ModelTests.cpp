// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Model/World.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <random>

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
std::optional<std::string> play(const Schedule& steps, std::string* told) {
    World world;
    const auto tell = [&](const std::string& words) {
        if (told) {
            *told += words + "\n" + world.picture() + "\n";
        }
    };
    for (const auto step : steps) {
        tell(world.happen(step));
        if (auto found = world.isAtRest ? broken(world) : std::nullopt) {
            return found;
        }
    }
    constexpr int last = 5; // a file may have to be begun anew, and its link asked again
    for (int round = 0; round <= last; ++round) {
        world.recover();
        tell("all faults end");
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
    try {
        return play(steps, told);
    } catch (const std::exception& error) {
        return fmt::format("Nothing is thrown. ({})", error.what());
    }
}

Schedule without(Schedule steps, std::size_t at, std::size_t count) {
    const auto begin = steps.begin() + static_cast<std::ptrdiff_t>(at);
    steps.erase(begin, begin + static_cast<std::ptrdiff_t>(count));
    return steps;
}

/// The same failure with fewer steps.
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
    const auto wanted = number("FLUVANE_MODEL_STEPS", 300'000);
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
