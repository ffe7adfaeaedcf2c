// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneEngine/Turns.h"

#include "FluvaneCore/CheckedMath.h"

namespace fluvane {

Turns::Turn::~Turn() noexcept(false) {
    turns_.close();
}

Turns::Turn Turns::open() {
    assertContext();
    ++depth_;
    return Turn(*this);
}

void Turns::assertContext() const {
    if (std::this_thread::get_id() != context_) {
        fatal("the download manager was used off the main queue");
    }
}

void Turns::changed() {
    if (depth_ == 0) {
        fatal("the list of downloads changed outside of a turn");
    }
    ends_.listChanged();
    conditionsChanged();
}

void Turns::conditionsChanged() {
    changed_ = true;
    shown_ = true;
}

void Turns::set(Download& download, DownloadState state) {
    download.record.state = std::move(state);
    changed();
}

void Turns::progressed() {
    shown_ = true;
}

void Turns::close() {
    struct Closing {
        int& depth;
        ~Closing() { --depth; }
    };
    {
        const Closing closing{depth_};
        while (depth_ == 1 && alive_ && std::exchange(changed_, false)) {
            ends_.settle();
        }
    }
    if (depth_ == 0 && std::exchange(shown_, false)) {
        ends_.shown();
    }
}

} // namespace fluvane
