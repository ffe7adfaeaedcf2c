// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tessivar {

/// The texts of one language, from a file as msgfmt makes it (.mo). Immutable, so any thread may read it.
/// Whatever is broken in the file counts as not being there.
///
/// Read here and not by the C library, which has catalogues only for locales that the system was set up with,
/// needs the process's locale for it and can't tell which texts there are.
class Catalogue {
public:
    /// Absent when the file can't be read or isn't one.
    [[nodiscard]] static std::shared_ptr<const Catalogue> read(const std::string& path);

    /// Views into the catalogue.
    [[nodiscard]] std::optional<std::string_view> find(std::string_view context, std::string_view text) const;
    [[nodiscard]] std::optional<std::string_view> find(std::string_view one, std::int64_t count) const;
    /// Every text of a context with its translation.
    void each(std::string_view context,
              const std::function<void(std::string_view text, std::string_view translation)>& visit) const;
    [[nodiscard]] bool isRightToLeft() const { return isRightToLeft_; }

private:
    Catalogue() = default;
    [[nodiscard]] std::uint32_t number(std::size_t at) const;
    [[nodiscard]] std::string_view textAt(std::size_t table, std::size_t index) const;
    [[nodiscard]] std::string_view original(std::size_t index) const { return textAt(originals_, index); }
    [[nodiscard]] std::size_t firstFrom(std::string_view key) const;
    [[nodiscard]] std::optional<std::string_view> translationOf(std::string_view key) const;

    std::string bytes_;
    std::size_t count_ = 0;
    std::size_t originals_ = 0;    ///< Where the table of English texts begins, sorted by their bytes.
    std::size_t translations_ = 0; ///< And that of the translations, in the same order.
    std::string pluralRule_;
    bool isRightToLeft_ = false;
};

} // namespace tessivar
