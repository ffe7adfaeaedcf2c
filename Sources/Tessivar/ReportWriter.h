// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tessivar {

/// Writes a report's lines to an open file. Everything here is async-signal-safe: no memory is taken, no lock
/// is waited for, and what can't be written is lost without a word. The format is told in Report.h.
class ReportWriter {
public:
    explicit ReportWriter(int descriptor) : descriptor_(descriptor) {}
    ~ReportWriter() { flush(); }
    ReportWriter(const ReportWriter&) = delete;
    ReportWriter& operator=(const ReportWriter&) = delete;

    ReportWriter& text(const char* text);
    ReportWriter& decimal(std::int64_t number);
    ReportWriter& hexadecimal(std::uint64_t number);
    /// A line of one frame: where the address is, as module, offset and build id. `program` is what the
    /// executable is called, since its file may have any name.
    void frame(std::size_t index, const void* address, const char* program);
    void flush();

private:
    ReportWriter& bytes(std::span<const unsigned char> bytes);

    std::array<char, 512> buffer_{};
    std::size_t used_ = 0;
    int descriptor_;
};

/// Where the interrupted code was, from a handler's third argument; null where the machine isn't known.
const void* interruptedAt(const void* context);

/// The addresses of an interrupted thread's stack, innermost first, taken in the signal's handler on that
/// thread. Async-signal-safe once it has been captured before.
class StackTrace {
public:
    static constexpr std::size_t most = 64;

    /// Of the code that the handler's third argument tells of; null: of the caller. May crash itself where
    /// the stack is damaged; what it has found until then is there after settle().
    void capture(const void* context);
    /// In the handler of a crash within capture(), on the same thread.
    void settle();
    /// From the frame of that number on.
    void write(ReportWriter& writer, const char* program, std::size_t from = 0) const;

private:
    void walk();
    bool add(const void* address);

    std::array<const void*, most> addresses_{};
    const void* interrupted_ = nullptr;
    const void* caller_ = nullptr; ///< What is sure without a walk; null when it isn't.
    bool isNowhere_ = false;       ///< Interrupted where no code is, by a call of a wild address.
    std::size_t first_ = 0;
    std::size_t count_ = 0;
};

/// "main" or "another": threads' names may come from the executable's file.
const char* threadKind();

} // namespace tessivar
