// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <sys/un.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

/// What the two sides of the control socket share.
namespace fluvane::controlSocket {

/// The longest socket path in bytes, its terminating zero included.
inline constexpr std::size_t longestPath = 104;
inline constexpr std::size_t readChunk = 65536;
/// A server reads this many bytes of a request and no more.
inline constexpr std::size_t requestLimit = 1024 * 1024;
/// A client reads no further once it has this many bytes of a reply.
inline constexpr std::size_t replyLimit = 16 * 1024 * 1024;

/// Absent when the path is too long for a socket.
[[nodiscard]] std::optional<sockaddr_un> address(const std::string& path);

/// Writes all the bytes to a blocking socket; gives up silently when it can't.
void writeAll(int descriptor, std::string_view bytes);

/// A file descriptor that is closed with its owner; -1 when it holds none.
class Descriptor {
public:
    explicit Descriptor(int descriptor = -1) : descriptor_(descriptor) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        reset(std::exchange(other.descriptor_, -1));
        return *this;
    }
    void reset(int descriptor = -1);
    [[nodiscard]] int get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }

private:
    int descriptor_;
};

} // namespace fluvane::controlSocket
