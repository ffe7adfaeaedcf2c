// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// The release feed, as anybody may write it and as its publisher signs it.

#include "Fuzz/Fuzz.h"
#include "Tessivar/Updates/ReleaseFeed.h"
#include "Tessivar/Version.h"

#include <nlohmann/json.hpp>
#include <openssl/evp.h>

#include <array>

using namespace fluvane;
using Bytes = const unsigned char*;

const fuzz::Inputs fuzz::seeds = {
    R"({"application":"a","serial":3,"version":"v1.2.0-rc.1+x","summary":"New.","page":"https://h.org/x"})",
    R"({"feed":"{\"application\":\"a\",\"serial\":1,\"version\":\"2\"}","signature":"AAAA AA=="})"};

/// Signed by the publisher, whose secret key is 32 zeros.
static std::string published(std::string_view feed) {
    static const std::array<unsigned char, 32> secret{};
    static EVP_PKEY* const key =
        EVP_PKEY_new_raw_private_key(EVP_PKEY_ED25519, nullptr, secret.data(), secret.size());
    static EVP_MD_CTX* const context = EVP_MD_CTX_new();
    std::array<unsigned char, 64> signature{};
    std::array<char, 89> text{};
    std::size_t size = signature.size();
    EVP_DigestSignInit(context, nullptr, nullptr, nullptr, key);
    EVP_DigestSign(context, signature.data(), &size, reinterpret_cast<Bytes>(feed.data()), feed.size());
    EVP_MD_CTX_reset(context);
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), signature.data(), 64);
    return nlohmann::json{{"feed", feed}, {"signature", text.data()}}.dump(
        -1, ' ', false, nlohmann::json::error_handler_t::replace);
}

static bool isTaken(const std::string& text) {
    try {
        const auto feed = tessivar::ReleaseFeed::read(
            text, {.key = "O2onvM62pC1io6jQKm8Nc2UyFXcd4kOmOsBIoYtZ2ik=", .application = "a"});
        fuzz::require(feed.serial >= 1 && tessivar::Version::parse(feed.version), "a feed names a release");
        fuzz::require(feed.page.empty() || feed.page.starts_with("http"), "a page is on the web");
        fuzz::require((feed.summary + feed.page).find_first_of("\n\r\x1B") == std::string::npos,
                      "a feed is told in a line");
        return true;
    } catch (const tessivar::ReleaseFeed::Refused& error) {
        fuzz::require(std::string_view(error.what()).size() > 1, "a refusal says why");
        return false;
    }
}

void fuzz::check(std::string_view input) {
    require(!isTaken(std::string(input)), "what isn't signed isn't taken");
    if (!nlohmann::json::accept(input)) {
        return; // a signature costs as much as a hundred such
    }
    auto file = published(input);
    if (isTaken(file)) {
        file[file.find(R"("feed":")") + 8] ^= 1;
        require(!isTaken(file), "what was changed isn't taken");
    }
}
