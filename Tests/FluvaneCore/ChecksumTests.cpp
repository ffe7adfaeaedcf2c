// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Checksum.h"

#include "Support/Rows.h"

#include <gtest/gtest.h>

using namespace fluvane;
using Algorithm = Checksum::Algorithm;
using namespace support;

namespace {

const std::string md5 = "d41d8cd98f00b204e9800998ecf8427e";
const std::string sha1 = "da39a3ee5e6b4b0d3255bfef95601890afd80709";
const std::string sha256 = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

TEST(Checksum, IsRecognisedInPastedText) {
    const NamedRows<std::string, std::optional<Checksum>> rows = {
        {"BSD style", "SHA256 (disc.iso) = " + sha256, Checksum(Algorithm::sha256, sha256)},
        {"the length decides, not the label", "sha256 " + sha1 + "\n", Checksum(Algorithm::sha1, sha1)},
        {"the first known length wins", "sha256 " + md5 + " " + sha256, Checksum(Algorithm::md5, md5)},
        {"broken bytes around it", "\xFF\xC3" + md5 + "\xE2\x80", Checksum(Algorithm::md5, md5)},
        {"one digit more", sha256 + "0", {}},
        {"label run into the value", "sha256" + sha256, {}},
    };
    expectRows(rows, Checksum::recognise);
    EXPECT_TRUE(Checksum(Algorithm::md5, "D41D8CD98F00B204E9800998ECF8427E").matches(md5));
}

} // namespace
