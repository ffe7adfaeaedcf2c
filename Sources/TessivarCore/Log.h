// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <atomic>
#include <concepts>
#include <exception>
#include <functional>
#include <string>
#include <string_view>

namespace tessivar {

/// A logger for one category. Usable from any thread; a message that isn't kept is never built.
class Log {
public:
    enum class Level { debug, standard, error };
    using Sink = std::function<void(Level, std::string_view category, std::string_view message)>;

    constexpr explicit Log(const char* category) : category_(category) {}

    /// An ordinary message: kept when `detailed` is on, else only where debug messages are asked for.
    /// `message` is a function returning the text.
    template <std::invocable Message>
    void operator()(Message&& message) const {
        if (detailed.load(std::memory_order_relaxed)) {
            write(Level::standard, message());
        } else if (debug.load(std::memory_order_relaxed)) {
            write(Level::debug, message());
        }
    }
    void operator()(const char* message) const {
        (*this)([message] { return std::string(message); });
    }

    /// A failure; always kept.
    void error(std::string_view message) const { write(Level::error, message); }
    /// The same with its reason behind: plain when it is the system's own text (SystemError), else hidden.
    void error(std::string_view message, const std::exception& reason) const;

    [[nodiscard]] const char* category() const { return category_; }

    /// The user's detailed-logging setting.
    static std::atomic<bool> detailed;
    /// Whether debug messages are asked for (the environment's FLUVANE_LOG=debug).
    static std::atomic<bool> debug;

    /// Replaces where messages go, with what is marked in them; an empty one means nowhere. For start-up and
    /// tests, before other threads log.
    static void setSink(Sink sink);

private:
    void write(Level level, std::string_view message) const;
    const char* category_;
};

namespace log {

inline constexpr Log lifecycle{"lifecycle"};

/// Marks what only the user may see of a message: links, hosts, names and paths, and sentences of others that
/// may hold such. The log shows it as ever; reports that go to others leave it out.
///
///     log::files([&] { return "moved to " + log::hidden(path); });
[[nodiscard]] std::string hidden(std::string_view part);

/// The message as the user sees it, without marks.
[[nodiscard]] std::string shown(std::string_view message);

/// The message as others see it: "…" stands for what was hidden. One line: what isn't closed goes up to the
/// end.
[[nodiscard]] std::string withoutHidden(std::string_view message);

/// The marks around what is hidden. No message has them otherwise, nor needs them escaped.
inline constexpr char hiddenBegins = '\x02';
inline constexpr char hiddenEnds = '\x03';

} // namespace log

} // namespace tessivar
