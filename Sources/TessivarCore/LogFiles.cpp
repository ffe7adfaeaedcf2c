// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "TessivarCore/LogFiles.h"

#include "TessivarBase/Misleading.h"
#include "TessivarCore/FileSystem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <syslog.h>
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <systemd/sd-journal.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <vector>

namespace tessivar {

namespace {

constexpr const char* journalSocket = "/run/systemd/journal/socket";
constexpr std::size_t mostRecent = 8UL * 1024UL * 1024UL;
constexpr std::size_t timeLength = std::string_view("2026-03-01T09:15:42.123Z").size();

using Sink = spdlog::sinks::rotating_file_sink_st;

spdlog::level::level_enum levelOf(Log::Level level) {
    switch (level) {
    case Log::Level::debug:
        return spdlog::level::debug;
    case Log::Level::standard:
        return spdlog::level::info;
    case Log::Level::error:
        return spdlog::level::err;
    }
    return spdlog::level::info;
}

int priorityOf(Log::Level level) {
    switch (level) {
    case Log::Level::debug:
        return LOG_DEBUG;
    case Log::Level::standard:
        return LOG_INFO;
    case Log::Level::error:
        return LOG_ERR;
    }
    return LOG_INFO;
}

/// Of what may mislead whoever reads it every byte.
std::string escaped(std::string_view message) {
    std::string text;
    text.reserve(message.size());
    while (!message.empty()) {
        const char first = message.front();
        const bool isMark = first == log::hiddenBegins || first == log::hiddenEnds;
        const auto length = isMark ? 0 : misleading::lengthAtStart(message);
        for (const char character : message.substr(0, length)) {
            text +=
                character == '\n' ? "\\n" : fmt::format("\\x{:02x}", static_cast<unsigned char>(character));
        }
        text += message.substr(0, length == 0 ? 1 : 0);
        message.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return text;
}

/// Creates the file for our eyes only, before the library opens it.
void createPrivate(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    if (file.isOpen()) {
        ::fchmod(file.get(), 0600);
    }
}

std::shared_ptr<Sink> openSink(const LogFiles::Options& options) {
    createFolders(options.file.parent_path(), 0700);
    const Descriptor probe = openRegular(options.file.string(), O_WRONLY | O_CREAT, 0600);
    spdlog::file_event_handlers handlers;
    handlers.before_open = createPrivate;
    const auto older = std::max<std::size_t>(options.files, 2) - 1;
    auto sink = std::make_shared<Sink>(options.file.string(), options.bytesPerFile, older, false, handlers);
    sink->set_formatter(std::make_unique<spdlog::pattern_formatter>("%Y-%m-%dT%H:%M:%S.%eZ %l %n %v",
                                                                    spdlog::pattern_time_type::utc, "\n"));
    return sink;
}

void tellJournal(const std::string& identifier, Log::Level level, std::string_view category,
                 std::string_view message) {
    std::array<std::string, 4> fields = {
        fmt::format("MESSAGE={}", log::shown(message)), fmt::format("PRIORITY={}", priorityOf(level)),
        fmt::format("SYSLOG_IDENTIFIER={}", identifier), fmt::format("CATEGORY={}", category)};
    std::array<iovec, 4> vectors{};
    std::ranges::transform(fields, vectors.begin(), [](std::string& field) {
        return iovec{field.data(), field.size()};
    });
    sd_journal_sendv(vectors.data(), static_cast<int>(vectors.size()));
}

/// Not open when there is no such file.
Descriptor openToRead(const std::string& path) {
    try {
        return openRegular(path, O_RDONLY);
    } catch (const SystemError&) {
        return {};
    }
}

/// The file's last `most` bytes.
std::string tail(int descriptor, std::size_t most) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) {
        return {};
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    ::lseek(descriptor, static_cast<off_t>(size - std::min(size, most)), SEEK_SET);
    std::string text(std::min(size, most), '\0');
    try {
        text.resize(readFully(descriptor, reinterpret_cast<std::byte*>(text.data()), text.size()));
    } catch (const SystemError&) { // a bad disk: without these lines then
        text.clear();
    }
    return text;
}

void appendSince(std::string& to, std::string_view lines, const std::string& since) {
    while (!lines.empty()) {
        const auto end = lines.find('\n');
        if (end == std::string_view::npos) {
            return; // half a line
        }
        const auto line = lines.substr(0, end + 1);
        if (line.size() > timeLength && line.substr(0, timeLength) >= since) {
            to += line;
        }
        lines.remove_prefix(end + 1);
    }
}

} // namespace

struct LogFiles::Files {
    std::mutex mutex;
    std::shared_ptr<Sink> sink;
};

LogFiles::LogFiles(Options options) : files_(std::make_unique<Files>()), options_(std::move(options)) {
    journal_ = !options_.journalIdentifier.empty() && ::access(journalSocket, W_OK) == 0;
    try {
        files_->sink = openSink(options_);
    } catch (const std::exception& error) {
        problem_ = fmt::format("Couldn't keep a log in {}: {}", options_.file.string(), error.what());
    }
}

LogFiles::~LogFiles() = default;

// NOLINTNEXTLINE(bugprone-easily-swappable-parameters): as the port has it
void LogFiles::write(Log::Level level, std::string_view category, std::string_view message) noexcept {
    try {
        const auto text = escaped(message);
        if (journal_) {
            tellJournal(options_.journalIdentifier, level, category, text);
        }
        const std::lock_guard lock(files_->mutex);
        if (files_->sink) {
            files_->sink->log({{category.data(), category.size()}, levelOf(level), text});
            files_->sink->flush();
        }
    } catch (const std::exception&) { // a full disk, most likely: nobody is left to tell
    }
}

std::string LogFiles::recent(std::chrono::minutes last) const {
    return log::shown(recentMarked(last));
}

std::string LogFiles::recentMarked(std::chrono::minutes last) const {
    // Opened together, so that a rotation in between loses nothing.
    std::vector<Descriptor> newestFirst;
    {
        const std::lock_guard lock(files_->mutex);
        for (std::size_t index = 0; index < options_.files; ++index) {
            const auto path = Sink::calc_filename(options_.file.string(), index);
            newestFirst.push_back(openToRead(path));
        }
    }
    const auto since = std::chrono::system_clock::now() - last;
    const auto sinceText = fmt::format("{:%Y-%m-%dT%H:%M:%S}.000Z", fmt::gmtime(since));
    std::vector<std::string> texts;
    std::size_t room = mostRecent;
    for (const auto& file : newestFirst) {
        texts.push_back(file.isOpen() ? tail(file.get(), room) : std::string());
        room -= texts.back().size();
    }
    std::string lines;
    std::ranges::reverse(texts);
    for (const auto& text : texts) {
        appendSince(lines, text, sinceText);
    }
    return lines;
}

} // namespace tessivar
