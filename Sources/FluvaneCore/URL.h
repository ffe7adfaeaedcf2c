#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace fluvane {

/// One absolute link or file location. The text is kept as given (escapes are never rewritten; characters
/// that may not stand in a link, such as blanks and non-ASCII letters, are percent-encoded in path, query
/// and fragment). Parsing is the transfer library's own, so that a link is never read in two ways.
class URL {
public:
    /// Absent when the text is no absolute link: no scheme, broken host, port or brackets.
    [[nodiscard]] static std::optional<URL> parse(std::string_view text);
    /// A file location for an absolute path; a folder's text ends in "/".
    [[nodiscard]] static URL file(std::string_view absolutePath);
    [[nodiscard]] static URL folder(std::string_view absolutePath);

    [[nodiscard]] const std::string& absoluteString() const { return text_; }
    [[nodiscard]] const std::string& scheme() const { return scheme_; } ///< Lower case.
    [[nodiscard]] const std::optional<std::string>& host() const { return host_; } ///< Lower case.
    [[nodiscard]] bool isWeb() const { return scheme_ == "http" || scheme_ == "https"; }
    [[nodiscard]] bool isFile() const { return scheme_ == "file"; }

    /// Percent-decoded path without a trailing "/" (except the root); empty when escapes are broken.
    [[nodiscard]] std::string path() const;
    /// The last component of the path, percent-encoded as it stands; empty for a path ending in "/".
    [[nodiscard]] std::string lastPathComponent() const;
    /// The items of the query in order, names and values percent-decoded ("+" stays "+").
    [[nodiscard]] std::vector<std::pair<std::string, std::string>> queryItems() const;

    /// This folder's location with one more component.
    [[nodiscard]] URL appending(std::string_view component) const;
    /// Without user name and password.
    [[nodiscard]] URL withoutCredentials() const;
    /// Host and port, by which two links go to the same server; empty without a host.
    [[nodiscard]] std::string server() const;

    friend bool operator==(const URL& a, const URL& b) { return a.text_ == b.text_; }

private:
    URL() = default;
    std::string text_;
    std::string scheme_;
    std::optional<std::string> host_;
};

} // namespace fluvane
