#pragma once

#include <QCoreApplication>

#include <memory>

namespace tessivar {
class HangWatch;
}

namespace fluvane {

/// The application object that the surroundings allow: with windows where there is a display that answers,
/// else without. One that only looks like a display never ends the program.
class Display {
public:
    /// The arguments, and the watch, must outlive it. `wanted` is false for `--headless`.
    Display(int& count, char** arguments, tessivar::HangWatch& watch, bool wanted);
    ~Display();
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    [[nodiscard]] bool hasWindows() const { return hasWindows_; }

private:
    std::unique_ptr<QCoreApplication> application_;
    bool hasWindows_ = false;
};

} // namespace fluvane
