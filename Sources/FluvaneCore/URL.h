// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace fluvane {

/// One absolute link or file location. The text is kept as given, without white space at its ends: escapes
/// are never rewritten, and characters that may not stand in a link (blanks, controls, non-ASCII letters, a
/// "%" that begins no escape) are percent-encoded in user name, path, query and fragment. A host in another
/// script stays as it is. Every part is read by the transfer library itself, so that a link is never read in
/// two ways.
///
/// Never changes once it is made: copies share what it holds, on any thread. Moving one copies it, so that
/// none is ever without.
class URL {
public:
    /// Absent when the text is no absolute link: no scheme, broken host, port or brackets, invalid UTF-8, a
    /// web link without a host, a file on another machine. Other schemes may do without a host
    /// (app:add?url=…).
    [[nodiscard]] static std::optional<URL> parse(std::string_view text);
    /// A file location for an absolute path of any bytes, which end at a NUL; a folder's text ends in "/".
    [[nodiscard]] static URL file(std::string_view absolutePath);
    [[nodiscard]] static URL folder(std::string_view absolutePath);

    [[nodiscard]] const std::string& absoluteString() const { return parts_->text; }
    [[nodiscard]] const std::string& scheme() const { return parts_->origin->scheme; } ///< Lower case.
    /// Lower case, escapes decoded, an IPv6 address in its brackets.
    [[nodiscard]] const std::optional<std::string>& host() const { return parts_->origin->host; }
    /// The host in the one form by which sites are told apart: a name in another script as the name system
    /// knows it (xn--…). For comparing, not for showing.
    [[nodiscard]] const std::optional<std::string>& site() const {
        return parts_->origin->site ? parts_->origin->site : parts_->origin->host;
    }
    /// The same form of a host's name in lower case; as it is when the name system has no such name.
    [[nodiscard]] static std::string siteName(const std::string& host);
    /// Scheme, site and port of a web link, the usual port written out: whom a secret may go to. Empty for
    /// other links.
    [[nodiscard]] std::string origin() const;
    [[nodiscard]] bool isWeb() const { return scheme() == "http" || scheme() == "https"; }
    [[nodiscard]] bool isFile() const { return scheme() == "file"; }

    /// Percent-decoded path without a trailing "/" (except the root). Of a file location exactly the path's
    /// bytes; of any other link empty when they are no UTF-8.
    [[nodiscard]] std::string path() const;
    /// The last component of the path, percent-encoded as it stands; empty for a path ending in "/".
    [[nodiscard]] std::string lastPathComponent() const;
    /// The items of the query in order, names and values percent-decoded ("+" stays "+"; as they stand when
    /// the result would be no UTF-8).
    [[nodiscard]] std::vector<std::pair<std::string, std::string>> queryItems() const;

    /// This folder's location with one more component, of which no character is taken for a separator. Query
    /// and fragment are dropped.
    [[nodiscard]] URL appending(std::string_view component) const;
    /// Without user name and password.
    [[nodiscard]] URL withoutCredentials() const;

    friend bool operator==(const URL& a, const URL& b) {
        return a.parts_ == b.parts_ || a.absoluteString() == b.absoluteString();
    }

    URL(const URL&) = default;
    URL& operator=(const URL&) = default;
    ~URL() = default;

private:
    struct Origin {
        std::string scheme{};
        std::optional<std::string> host{};
        std::optional<std::string> site{}; ///< Only where it differs from the host.
        friend bool operator==(const Origin&, const Origin&) = default;
    };
    struct Parts {
        std::string text{};
        std::shared_ptr<const Origin> origin{}; ///< Never null once it is made.
    };
    explicit URL(Parts parts) : parts_(std::make_shared<const Parts>(std::move(parts))) {}
    [[nodiscard]] static std::shared_ptr<const Origin> shared(Origin origin);
    [[nodiscard]] std::string readable() const;

    std::shared_ptr<const Parts> parts_; ///< Never null.
};

} // namespace fluvane
