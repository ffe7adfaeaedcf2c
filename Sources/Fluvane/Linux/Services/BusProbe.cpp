// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Linux/Services/BusProbe.h"

#include "TessivarBase/Descriptor.h"

#include <systemd/sd-bus.h>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

namespace fluvane {

namespace {

using Clock = std::chrono::steady_clock;
using BusPointer = std::unique_ptr<sd_bus, decltype(&sd_bus_close_unref)>;

/// Readable from the moment of a stop.
class StopEvent {
public:
    explicit StopEvent(const std::stop_token& stop)
        : callback_(std::in_place, stop, Signal{descriptor_.get()}) {}
    [[nodiscard]] int descriptor() const { return descriptor_.get(); }

private:
    struct Signal {
        int descriptor;
        void operator()() const noexcept { eventfd_write(descriptor, 1); }
    };
    tessivar::Descriptor descriptor_{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    std::optional<std::stop_callback<Signal>> callback_; ///< Gone first: it writes to what is closed next.
};

int startConnecting(BusPointer& bus, const std::string& address) {
    sd_bus* made = nullptr;
    if (const int result = sd_bus_new(&made); result < 0) {
        return result;
    }
    bus.reset(made);
    if (const int result = sd_bus_set_address(made, address.c_str()); result < 0) {
        return result;
    }
    sd_bus_set_bus_client(made, 1);
    return sd_bus_start(made);
}

/// Until the bus has something to do, or time is up.
int waitFor(sd_bus* bus, int stopDescriptor, Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) {
        return -ETIMEDOUT;
    }
    const int events = sd_bus_get_events(bus);
    if (events < 0) {
        return events;
    }
    std::array<pollfd, 2> waiting{pollfd{sd_bus_get_fd(bus), static_cast<short>(events), 0},
                                  pollfd{stopDescriptor, POLLIN, 0}};
    if (poll(waiting.data(), waiting.size(), static_cast<int>(left)) < 0 && errno != EINTR) {
        return -errno;
    }
    return waiting[1].revents != 0 ? -ECANCELED : 0;
}

int sayHello(const std::string& address, Clock::time_point deadline, int stopDescriptor) {
    BusPointer bus(nullptr, &sd_bus_close_unref);
    int result = startConnecting(bus, address);
    while (result >= 0 && sd_bus_is_ready(bus.get()) <= 0) {
        result = sd_bus_process(bus.get(), nullptr);
        if (result == 0) {
            result = waitFor(bus.get(), stopDescriptor, deadline);
        }
    }
    return result;
}

} // namespace

std::optional<std::string> probeBus(const std::string& address, std::chrono::milliseconds patience,
                                    const std::stop_token& stop) {
    const StopEvent stopped(stop);
    const int result = sayHello(address, Clock::now() + patience, stopped.descriptor());
    return result < 0 ? std::optional<std::string>(std::strerror(-result)) : std::nullopt;
}

} // namespace fluvane
