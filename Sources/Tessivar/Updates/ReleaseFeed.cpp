// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Tessivar/Updates/ReleaseFeed.h"

#include "Tessivar/Version.h"

#include <nlohmann/json.hpp>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

namespace tessivar {

namespace {

using Json = nlohmann::json;
using Bytes = std::vector<unsigned char>;
using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;

constexpr std::size_t keyLength = 32;
constexpr std::size_t longestText = 1000;
constexpr int deepest = 8;

constexpr const char* unusable = "The release feed isn't one that this version can read.";
constexpr const char* notSigned = "The release feed isn't signed by this build's publisher.";

std::optional<Bytes> fromBase64(std::string_view text) {
    std::string compact;
    std::ranges::copy_if(text, std::back_inserter(compact),
                         [](char c) { return c != '\n' && c != '\r' && c != ' ' && c != '\t'; });
    if (compact.empty() || compact.size() % 4 != 0) {
        return std::nullopt;
    }
    Bytes bytes(compact.size() / 4 * 3);
    const int length = EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(compact.data()),
                                       static_cast<int>(compact.size()));
    const auto padding = std::min<std::size_t>(compact.size() - compact.find_last_not_of('=') - 1, 2);
    if (length < 0 || static_cast<std::size_t>(length) < padding) {
        return std::nullopt;
    }
    bytes.resize(static_cast<std::size_t>(length) - padding);
    return bytes;
}

EVP_PKEY* parseKey(std::string_view text) {
    const auto bytes = fromBase64(text);
    if (!bytes) {
        return nullptr;
    }
    if (bytes->size() == keyLength) {
        return EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr, bytes->data(), bytes->size());
    }
    const unsigned char* position = bytes->data();
    return d2i_PUBKEY(nullptr, &position, static_cast<long>(bytes->size()));
}

Key publicKey(std::string_view text) {
    Key key(parseKey(text), EVP_PKEY_free);
    if (!key || EVP_PKEY_get_base_id(key.get()) != EVP_PKEY_ED25519) {
        throw ReleaseFeed::Refused("This build's key for releases can't be used.");
    }
    return key;
}

bool isSigned(const std::string& feed, const Bytes& signature, EVP_PKEY* key) {
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    return context && EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, key) == 1 &&
           EVP_DigestVerify(context.get(), signature.data(), signature.size(),
                            reinterpret_cast<const unsigned char*>(feed.data()), feed.size()) == 1;
}

Json object(std::string_view text) {
    const auto withinDepth = [](int depth, Json::parse_event_t, Json&) { return depth <= deepest; };
    auto json = Json::parse(text, withinDepth, /* allow_exceptions */ false);
    if (!json.is_object()) {
        throw ReleaseFeed::Refused(unusable);
    }
    return json;
}

/// Fit to be shown in a line: without control characters, and not too long.
bool isLine(const std::string& text) {
    return text.size() <= longestText && std::ranges::none_of(text, [](char c) {
               return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
           });
}

std::string line(const Json& json, const char* key) {
    const auto found = json.find(key);
    if (found == json.end() || found->is_null()) {
        return {};
    }
    if (!found->is_string() || !isLine(found->get_ref<const std::string&>())) {
        throw ReleaseFeed::Refused(unusable);
    }
    return found->get<std::string>();
}

bool isWebLink(std::string_view text) {
    return (text.starts_with("https://") || text.starts_with("http://")) &&
           text.find(' ') == std::string_view::npos;
}

} // namespace

ReleaseFeed ReleaseFeed::read(std::string_view text, const Publisher& publisher) {
    const auto key = publicKey(publisher.key);
    const auto envelope = object(text);
    const auto contents = envelope.find("feed");
    const auto signature = envelope.find("signature");
    if (contents == envelope.end() || !contents->is_string()) {
        throw Refused(unusable);
    }
    const auto& feedText = contents->get_ref<const std::string&>();
    const auto bytes = signature != envelope.end() && signature->is_string()
                           ? fromBase64(signature->get_ref<const std::string&>())
                           : std::nullopt;
    if (!bytes || !isSigned(feedText, *bytes, key.get())) {
        throw Refused(notSigned);
    }
    const auto json = object(feedText);
    if (line(json, "application") != publisher.application) {
        throw Refused("The release feed is another application's.");
    }
    ReleaseFeed feed;
    const auto serial = json.find("serial");
    feed.serial = serial != json.end() && serial->is_number_integer() ? serial->get<std::int64_t>() : 0;
    feed.version = line(json, "version");
    feed.summary = line(json, "summary");
    feed.page = line(json, "page");
    if (feed.serial < 1 || !Version::parse(feed.version) || (!feed.page.empty() && !isWebLink(feed.page))) {
        throw Refused(unusable);
    }
    return feed;
}

} // namespace tessivar
