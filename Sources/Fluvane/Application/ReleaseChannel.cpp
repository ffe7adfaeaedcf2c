// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Application/ReleaseChannel.h"

#include "Fluvane/Client/DataFolders.h"
#include "Fluvane/Linux/Transport/CertificateStore.h"

namespace fluvane {

tessivar::Updates::Options releaseChannel() {
    auto certificates = CertificateStore::find();
    return {.feed = FLUVANE_RELEASE_FEED,
            .key = FLUVANE_RELEASE_KEY,
            .stateFile = dataFolders::state() + "/updates.json",
            .certificateFile = std::move(certificates.file),
            .certificateFolder = std::move(certificates.folder)};
}

} // namespace fluvane
