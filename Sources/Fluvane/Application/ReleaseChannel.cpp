// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Application/ReleaseChannel.h"

#ifdef FLUVANE_RELEASE_FEED
#include "Fluvane/Client/DataFolders.h"
#include "Fluvane/Linux/Transport/CertificateStore.h"
#include "Tessivar/Updates/Updates.h"

#include <memory>
#endif

namespace fluvane {

#ifdef FLUVANE_RELEASE_FEED
ReleaseChannel releaseChannel(const tessivar::MainContext& context) {
    auto certificates = CertificateStore::find();
    const tessivar::Updates::Options options{.feed = FLUVANE_RELEASE_FEED,
                                             .key = FLUVANE_RELEASE_KEY,
                                             .stateFile = dataFolders::state() + "/updates.json",
                                             .certificateFile = std::move(certificates.file),
                                             .certificateFolder = std::move(certificates.folder)};
    const auto updates = std::make_shared<tessivar::Updates>(options, context);
    return {.check = [updates](auto told) { updates->check(std::move(told)); },
            .start = [updates](auto news) { updates->start(std::move(news)); }};
}
#else
ReleaseChannel releaseChannel(const tessivar::MainContext& /*context*/) {
    return {};
}
#endif

} // namespace fluvane
