#pragma once

#include "Fluvane/Linux/MainQueue.h"
#include "Fluvane/Linux/Services/NetworkWatch.h"
#include "FluvaneEngine/Platform.h"

#include <functional>
#include <utility>

/// What stands at the engine's ports to the desktop while there is nothing behind them.
namespace fluvane {

/// Reports once that all is well: with nobody to ask there is nothing to wait for.
class QuietNetworkWatch final : public NetworkWatch {
public:
    /// The queue must outlive it.
    explicit QuietNetworkWatch(MainQueue& queue) : queue_(queue) {}
    void start(std::function<void(Report)> handler) override {
        queue_.post([handler = std::move(handler)] { handler({}); });
    }

private:
    MainQueue& queue_;
};

class QuietPower final : public PowerAssertion {
public:
    void keepAwake(bool /*on*/) override {}
};

class QuietNotifier final : public Notifier {
public:
    void finished(const DownloadRecord& /*record*/) override {}
    void failed(const DownloadRecord& /*record*/, const std::string& /*reason*/) override {}
    void linkExpired(const DownloadRecord& /*record*/) override {}
};

} // namespace fluvane
