// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/BuildID.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace tessivar {

namespace {

constexpr std::size_t longest = 32;

std::size_t padded(std::size_t size) {
    return (size + 3U) & ~std::size_t{3};
}

std::span<const unsigned char> buildIDIn(const unsigned char* notes, std::size_t size) {
    std::size_t at = 0;
    while (at + sizeof(ElfW(Nhdr)) <= size) {
        ElfW(Nhdr) note;
        std::memcpy(&note, notes + at, sizeof note);
        const std::size_t name = at + sizeof note;
        const std::size_t contents = name + padded(note.n_namesz);
        const std::size_t next = contents + padded(note.n_descsz);
        if (next > size || next <= at) {
            break;
        }
        if (note.n_type == NT_GNU_BUILD_ID && note.n_namesz == 4 && !std::memcmp(notes + name, "GNU", 4)) {
            return {notes + contents, std::min<std::size_t>(note.n_descsz, longest)};
        }
        at = next;
    }
    return {};
}

} // namespace

std::span<const unsigned char> buildID(ElfW(Addr) base, std::span<const ElfW(Phdr)> segments) {
    for (const auto& segment : segments) {
        if (segment.p_type == PT_NOTE) {
            const auto* notes = reinterpret_cast<const unsigned char*>(base + segment.p_vaddr);
            if (const auto id = buildIDIn(notes, segment.p_filesz); !id.empty()) {
                return id;
            }
        }
    }
    return {};
}

} // namespace tessivar
