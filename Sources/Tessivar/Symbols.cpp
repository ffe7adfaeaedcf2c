// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Symbols.h"

#include "Tessivar/BuildID.h"
#include "TessivarCore/FileSystem.h"

#include <fmt/format.h>

#include <cxxabi.h>
#include <fcntl.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>

namespace tessivar {

namespace {

using Bytes = std::span<const std::byte>;

/// A file's contents without taking memory for them: they may be large, and little of them is looked at.
class MappedFile {
public:
    explicit MappedFile(const std::string& path) {
        const Descriptor file = openRegular(path, O_RDONLY);
        struct stat status {};
        if (fstat(file.get(), &status) == 0 && status.st_size > 0) {
            size_ = static_cast<std::size_t>(status.st_size);
            memory_ = mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, file.get(), 0);
        }
    }
    ~MappedFile() {
        if (memory_ != MAP_FAILED) {
            munmap(memory_, size_);
        }
    }
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    [[nodiscard]] Bytes bytes() const {
        return memory_ == MAP_FAILED ? Bytes() : Bytes(static_cast<const std::byte*>(memory_), size_);
    }

private:
    void* memory_ = MAP_FAILED;
    std::size_t size_ = 0;
};

Bytes part(Bytes all, std::uint64_t offset, std::uint64_t size) {
    return offset <= all.size() && size <= all.size() - offset ? all.subspan(offset, size) : Bytes();
}

/// The records in the bytes, as copies: nothing says that they are aligned.
template <class Record>
std::vector<Record> records(Bytes bytes) {
    std::vector<Record> all(bytes.size() / sizeof(Record));
    if (!all.empty()) {
        std::memcpy(all.data(), bytes.data(), all.size() * sizeof(Record));
    }
    return all;
}

std::vector<ElfW(Shdr)> sectionsOf(Bytes file) {
    const auto headers = records<ElfW(Ehdr)>(part(file, 0, sizeof(ElfW(Ehdr))));
    if (headers.empty() || std::memcmp(headers[0].e_ident, ELFMAG, SELFMAG) != 0) {
        return {};
    }
    return records<ElfW(Shdr)>(part(file, headers[0].e_shoff, headers[0].e_shnum * sizeof(ElfW(Shdr))));
}

std::string textAt(Bytes bytes, std::size_t offset) {
    const auto rest = offset < bytes.size() ? bytes.subspan(offset) : Bytes();
    const auto end = std::ranges::find(rest, std::byte{0});
    return {reinterpret_cast<const char*>(rest.data()), static_cast<std::size_t>(end - rest.begin())};
}

/// A return address lies behind its call, which may have been a function's last instruction.
std::uint64_t lookedUp(const Report& report, std::size_t index) {
    return report.frames[index].offset - (index == 0 ? 0 : 1);
}

void nameFrames(Report& report, const std::string& buildID, Bytes file, const ElfW(Shdr) & table,
                const ElfW(Shdr) & names) {
    const Bytes texts = part(file, names.sh_offset, names.sh_size);
    for (const auto& symbol : records<ElfW(Sym)>(part(file, table.sh_offset, table.sh_size))) {
        for (std::size_t at = 0; at < report.frames.size(); ++at) {
            auto& frame = report.frames[at];
            const bool within = lookedUp(report, at) - symbol.st_value < symbol.st_size;
            if (within && frame.symbol.empty() && frame.buildID == buildID && symbol.st_shndx != SHN_UNDEF &&
                ELF64_ST_TYPE(symbol.st_info) == STT_FUNC) {
                frame.symbol = textAt(texts, symbol.st_name);
            }
        }
    }
}

void nameFramesFrom(Report& report, const std::string& buildID, const std::string& path) {
    const MappedFile file(path);
    const auto sections = sectionsOf(file.bytes());
    // The full table first; a stripped file has only the other.
    for (const auto kind : {SHT_SYMTAB, SHT_DYNSYM}) {
        for (const auto& section : sections) {
            if (section.sh_type == static_cast<ElfW(Word)>(kind) && section.sh_link < sections.size()) {
                nameFrames(report, buildID, file.bytes(), section, sections[section.sh_link]);
            }
        }
    }
}

struct Module {
    std::filesystem::path path;
    std::string buildID;
};

std::vector<Module> loadedModules() {
    std::vector<Module> all;
    dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* list) {
            std::error_code unknown;
            const bool isProgram = info->dlpi_name[0] == '\0';
            const auto id = buildID(info->dlpi_addr, {info->dlpi_phdr, info->dlpi_phnum});
            static_cast<std::vector<Module>*>(list)->push_back(
                {isProgram ? std::filesystem::read_symlink("/proc/self/exe", unknown) : info->dlpi_name,
                 fmt::format("{:02x}", fmt::join(id, ""))});
            return 0;
        },
        &all);
    return all;
}

} // namespace

void findSymbols(Report& report) {
    for (const Module& module : loadedModules()) {
        const bool wanted =
            std::ranges::find(report.frames, module.buildID, &Report::Frame::buildID) != report.frames.end();
        try {
            if (wanted && !module.buildID.empty()) {
                nameFramesFrom(report, module.buildID, module.path.string());
            }
        } catch (const SystemError&) {
            continue; // replaced or out of reach: addresses have to do
        }
    }
}

// A short symbol such as "f" of a C function would be taken for a type's name.
std::string demangled(const std::string& symbol) {
    return symbol.starts_with("_Z") ? demangledType(symbol) : symbol;
}

std::string demangledType(const std::string& symbol) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> text(
        abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &status), &std::free);
    return status == 0 && text ? text.get() : symbol;
}

} // namespace tessivar
