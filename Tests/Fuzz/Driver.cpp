// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fuzz/Fuzz.h"

#include <algorithm>
#include <fstream>
#include <random>
#include <span>
#include <string>

namespace fuzz = fluvane::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    fuzz::check({reinterpret_cast<const char*>(data), size});
    return 0;
}

#ifdef FLUVANE_FUZZ

/// A corpus that is new begins with the seeds: the folder of inputs is the first argument without a dash.
extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments) {
    const std::span given(*arguments, static_cast<std::size_t>(*count));
    const auto folder =
        std::find_if(given.begin() + 1, given.end(), [](const char* one) { return *one != '-'; });
    for (std::size_t i = 0; folder != given.end() && i < fuzz::seeds.size(); ++i) {
        std::ofstream(std::string(*folder) + "/seed-" + std::to_string(i), std::ios::binary)
            << fuzz::seeds[i];
    }
    return 0;
}

#else

static std::string input;

/// Puts in a byte or a part that stands elsewhere, takes bytes away, or goes on as another input does.
static void mutate(std::mt19937& random) {
    static constexpr char characters[] = "\0\n\x7F\xFF\xC3\xA9%[]{}\"'<>()-+*/\\:;,.=?#& 019ae";
    constexpr std::string_view bytes(characters, sizeof characters - 1);
    const std::string other(fuzz::seeds[random() % fuzz::seeds.size()]);
    const std::pair<std::size_t, std::string> changes[] = {
        {0, std::string(1, bytes[random() % bytes.size()])},
        {0, input.substr(random() % (input.size() + 1), 1 + random() % 40)},
        {1 + random() % 9, ""},
        {std::string::npos, other.substr(random() % (other.size() + 1))}};
    const auto& [count, with] = changes[random() % 4];
    input.replace(random() % (input.size() + 1), count, with);
}

/// Stands in for a fuzzer: the same mutations every time.
int main() {
    std::mt19937 random(1);
    for (std::size_t run = 0; run < 30'000; ++run) {
        input = fuzz::seeds[run % fuzz::seeds.size()];
        for (auto changes = run < fuzz::seeds.size() ? 0 : 1 + random() % 6; changes > 0; --changes) {
            mutate(random);
        }
        fuzz::check(input);
    }
}
#endif
