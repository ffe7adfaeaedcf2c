// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/Linux/Transport/CertificateStore.h"

namespace fluvane {

struct TransportOptions {
    /// Seconds without a byte after which a transfer fails, and within which a connection must come about.
    double patience = 30;
    CertificateStore certificates = CertificateStore::find();
};

} // namespace fluvane
