// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/ReportWriter.h"

#include "Tessivar/BuildID.h"
#include "TessivarBase/ASCII.h"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <ucontext.h>
#include <unistd.h>
#include <unwind.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>

namespace tessivar {

namespace {

constexpr const char* digits = "0123456789abcdef";
constexpr std::size_t longestModuleName = 80;

bool isPlain(char c) {
    return ascii::isLetterOrDigit(c) || std::strchr("._+-", c) != nullptr;
}

/// The library's name without folders. Anything that doesn't look like one might be somebody's words.
const char* libraryName(const char* path) {
    const char* slash = std::strrchr(path, '/');
    const char* name = slash ? slash + 1 : path;
    const std::size_t length = std::strlen(name);
    const bool plain = length <= longestModuleName && std::all_of(name, name + length, isPlain);
    return plain && std::strstr(name, ".so") ? name : "?";
}

/// From the module's own headers, as they are mapped.
std::span<const unsigned char> buildIDOf(const dl_find_object& module) {
    const auto* start = static_cast<const unsigned char*>(module.dlfo_map_start);
    if (std::memcmp(start, ELFMAG, SELFMAG) != 0) {
        return {};
    }
    const auto* header = reinterpret_cast<const ElfW(Ehdr)*>(start);
    const auto* segments = reinterpret_cast<const ElfW(Phdr)*>(start + header->e_phoff);
    return buildID(module.dlfo_link_map->l_addr, {segments, header->e_phnum});
}

bool isCode(const void* address) {
    dl_find_object module{};
    return _dl_find_object(const_cast<void*>(address), &module) == 0;
}

/// The return address that a call has just left: null when it can't be read, or is none.
const void* callerOf(const void* context) {
    const auto& machine = static_cast<const ucontext_t*>(context)->uc_mcontext;
#if defined(__x86_64__)
    const void* caller = nullptr;
    const iovec into{&caller, sizeof caller};
    const iovec from{reinterpret_cast<void*>(machine.gregs[REG_RSP]), sizeof caller};
    const bool isRead = ::process_vm_readv(::getpid(), &into, 1, &from, 1, 0) == sizeof caller;
    return isRead && isCode(caller) ? caller : nullptr;
#elif defined(__aarch64__)
    const auto* caller = reinterpret_cast<const void*>(machine.regs[30]);
    return isCode(caller) ? caller : nullptr;
#else
    static_cast<void>(machine);
    return nullptr;
#endif
}

/// The place of the call that returns there: behind it there may be another function.
const void* callBefore(const void* returnAddress) {
    return reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(returnAddress) - 1);
}

/// The code as it will be when the call of nowhere has returned, so that the walk begins at its caller. Puts
/// all back in the end.
class AsIfReturned {
public:
    AsIfReturned(const ucontext_t& context, const void* to)
        : machine_(const_cast<ucontext_t&>(context).uc_mcontext), before_(machine_) {
#if defined(__x86_64__)
        machine_.gregs[REG_RIP] = reinterpret_cast<greg_t>(to);
        machine_.gregs[REG_RSP] += static_cast<greg_t>(sizeof(void*));
#elif defined(__aarch64__)
        machine_.pc = reinterpret_cast<std::uintptr_t>(to);
#else
        static_cast<void>(to);
#endif
    }
    ~AsIfReturned() {
        machine_ = before_;
    }
    AsIfReturned(const AsIfReturned&) = delete;
    AsIfReturned& operator=(const AsIfReturned&) = delete;

private:
    mcontext_t& machine_;
    mcontext_t before_;
};

} // namespace

void ReportWriter::flush() {
    std::size_t done = 0;
    while (done < used_) {
        const ssize_t written = ::write(descriptor_, buffer_.data() + done, used_ - done);
        if (written < 0 && errno != EINTR) {
            break;
        }
        done += static_cast<std::size_t>(std::max<ssize_t>(written, 0));
    }
    used_ = 0;
}

ReportWriter& ReportWriter::text(const char* text) {
    for (; *text != '\0'; ++text) {
        if (used_ == buffer_.size()) {
            flush();
        }
        buffer_[used_++] = *text;
    }
    return *this;
}

ReportWriter& ReportWriter::decimal(std::int64_t number) {
    std::array<char, 24> text_{};
    std::size_t at = text_.size() - 1;
    auto rest = number < 0 ? 0 - static_cast<std::uint64_t>(number) : static_cast<std::uint64_t>(number);
    do {
        text_[--at] = digits[rest % 10];
        rest /= 10;
    } while (rest != 0);
    if (number < 0) {
        text_[--at] = '-';
    }
    return text(text_.data() + at);
}

ReportWriter& ReportWriter::hexadecimal(std::uint64_t number) {
    std::array<char, 24> text_{};
    std::size_t at = text_.size() - 1;
    do {
        text_[--at] = digits[number % 16];
        number /= 16;
    } while (number != 0);
    return text(text_.data() + at);
}

ReportWriter& ReportWriter::bytes(std::span<const unsigned char> bytes) {
    for (const unsigned char byte : bytes) {
        const std::array<char, 3> pair{digits[byte / 16], digits[byte % 16], '\0'};
        text(pair.data());
    }
    return *this;
}

void ReportWriter::frame(std::size_t index, const void* address, const char* program) {
    decimal(static_cast<std::int64_t>(index));
    dl_find_object module{};
    if (_dl_find_object(const_cast<void*>(address), &module) != 0) {
        text(" ? 0 -\n"); // an address of no module may be bytes of anything
        return;
    }
    const char* const path = module.dlfo_link_map->l_name;
    text(" ").text(path[0] == '\0' ? program : libraryName(path)).text(" ");
    hexadecimal(reinterpret_cast<std::uintptr_t>(address) - module.dlfo_link_map->l_addr).text(" ");
    const auto id = buildIDOf(module);
    (id.empty() ? text("-") : bytes(id)).text("\n");
}

const void* interruptedAt(const void* context) {
    const auto& machine = static_cast<const ucontext_t*>(context)->uc_mcontext;
#if defined(__x86_64__)
    return reinterpret_cast<const void*>(machine.gregs[REG_RIP]);
#elif defined(__aarch64__)
    return reinterpret_cast<const void*>(machine.pc);
#else
    static_cast<void>(machine);
    return nullptr;
#endif
}

void StackTrace::capture(const void* context) {
    interrupted_ = context ? interruptedAt(context) : nullptr;
    caller_ = context ? callerOf(context) : nullptr;
    first_ = 0;
    count_ = 0;
    // Where no code is, the unwinder would look for instructions all the same.
    isNowhere_ = context && !isCode(interrupted_);
    if (!isNowhere_) {
        walk();
    } else if (caller_) {
        const AsIfReturned returned(*static_cast<const ucontext_t*>(context), callBefore(caller_));
        walk();
    }
    if (context) {
        settle();
    }
}

/// Takes one frame after the other, as the walk may end with a crash: at a return address that has been
/// overwritten, the unwinder looks for instructions where there is no memory.
void StackTrace::walk() {
    _Unwind_Backtrace(
        [](_Unwind_Context* frame, void* trace) {
            const auto address = _Unwind_GetIP(frame);
            const bool goesOn = static_cast<StackTrace*>(trace)->add(reinterpret_cast<const void*>(address));
            return goesOn ? _URC_NO_REASON : _URC_END_OF_STACK;
        },
        this);
}

bool StackTrace::add(const void* address) {
    if (address && count_ < addresses_.size()) {
        addresses_[count_++] = address;
        return true;
    }
    return false;
}

/// Leaves the handler's own frames out. Where the walk didn't get past them, there is what the call has left.
void StackTrace::settle() {
    const auto all = std::span(addresses_).first(count_);
    const void* sought = isNowhere_ ? callBefore(caller_) : interrupted_;
    first_ = static_cast<std::size_t>(std::ranges::find(all, sought) - all.begin());
    if (first_ + 1 >= count_) {
        first_ = 0;
        count_ = caller_ ? 2 : 1;
        addresses_[0] = interrupted_;
        addresses_[1] = caller_;
    } else if (isNowhere_) {
        addresses_[first_] = caller_;
        addresses_[--first_] = interrupted_; // in place of the handler's last one
    }
}

void StackTrace::write(ReportWriter& writer, const char* program, std::size_t from) const {
    for (std::size_t at = first_ + from; at < count_; ++at) {
        writer.frame(at - first_, addresses_[at], program);
    }
}

const char* threadKind() {
    return ::syscall(SYS_gettid) == ::getpid() ? "main" : "another";
}

} // namespace tessivar
