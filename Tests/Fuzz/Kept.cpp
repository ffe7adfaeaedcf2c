// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What earlier runs left: reports of crashes and hangs, and what servers refused.

#include "FluvaneEngine/ServerCounts.h"
#include "Fuzz/Fuzz.h"
#include "Support/TemporaryFolder.h"
#include "Tessivar/CrashNote.h"
#include "Tessivar/RunID.h"
#include <array>

using namespace fluvane;

const fuzz::Inputs fuzz::seeds = {
    "Report 1\nProgram: fluvane\nVersion: 0.1.0\nBegan: 1767225600\nTime: 1767229200\nLasted: 2600\nSignal: "
    "SIGSEGV\n"
    "Exception: St13runtime_error\nStack:\n0 fluvane 1a2b 00ff\n1 ? 0 -\nEnd\nSection:\nx: 1\n",
    R"({"a.example":[4,6,1767225600],"b":[1,2,-9223372036854775808],"c":[1,9,9223372036854775807]})",
    "00ff-18446744073709551615-2147483647"};

/// What is kept after the text was read and one more refusal came.
static std::string refused(const std::string& text) {
    std::string saved;
    ServerCounts counts({[&] { return text; }, [&](const std::string& kept) { saved = kept; }},
                        [] { return Date(std::chrono::hours(24 * 20'454)); });
    counts.refused("a.example", 8, 4);
    const auto most = counts.most("a.example").value_or(0);
    fuzz::require(most >= 1 && most <= 4, "no more are asked for than were served");
    return saved;
}

void fuzz::check(std::string_view input) {
    static const std::array<support::TemporaryFolder, 2> folders;
    if (input.starts_with("Report ")) {
        const bool isHang = input.size() % 2 == 1;
        const auto& folder = folders[isHang ? 1 : 0];
        support::writeFile(folder / (isHang ? "hang-ff-1-1.report" : "crash-ff-1-1.report"), input);
        require(!tessivar::CrashNote(folder.path(), {}).latest().empty(), "a note says something");
        return;
    }
    const auto once = refused(std::string(input));
    require(refused(once) == once, "counts read back");
    const auto run = tessivar::RunID::fromName(input);
    require(!run || tessivar::RunID::fromName(run->name()) == run, "a run's name reads back");
}
