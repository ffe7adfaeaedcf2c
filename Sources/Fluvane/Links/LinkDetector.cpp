// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Links/LinkDetector.h"

#include "Fluvane/Links/QuotedPrintable.h"
#include "FluvaneCore/Text.h"
#include "TessivarBase/ASCII.h"

#include <algorithm>
#include <array>
#include <optional>

namespace fluvane::links {

namespace {

using namespace std::string_view_literals;
namespace ascii = tessivar::ascii;

bool startsIgnoringCase(std::string_view text, std::string_view prefix) {
    return text::equalIgnoringASCIICase(text.substr(0, prefix.size()), prefix);
}

bool contains(std::string_view characters, char32_t scalar) {
    return scalar < 0x80 && characters.find(static_cast<char>(scalar)) != std::string_view::npos;
}

bool isBetween(char32_t scalar, char32_t first, char32_t last) {
    return scalar >= first && scalar <= last;
}

/// What no link goes beyond, wherever it stands.
bool alwaysEnds(char32_t scalar) {
    if (scalar < 0x80) {
        return scalar <= U' ' || scalar == 0x7F || contains("<>\"`", scalar);
    }
    const bool invisible = scalar == 0x200B || isBetween(scalar, 0x200E, 0x200F) ||
                           isBetween(scalar, 0x202A, 0x202E) || isBetween(scalar, 0x2060, 0x2069) ||
                           scalar == 0xFEFF;
    const bool quote = isBetween(scalar, 0x201C, 0x201F) || isBetween(scalar, 0x2039, 0x203A) ||
                       scalar == 0xAB || scalar == 0xBB || scalar == 0x2026;
    const bool widePunctuation = isBetween(scalar, 0x3001, 0x3003) || isBetween(scalar, 0x3008, 0x301F) ||
                                 isBetween(scalar, 0xFF01, 0xFF0F) || isBetween(scalar, 0xFF1A, 0xFF20) ||
                                 isBetween(scalar, 0xFF3B, 0xFF40) || isBetween(scalar, 0xFF5B, 0xFF65);
    return invisible || quote || widePunctuation || text::isControl(scalar) || text::isWhitespace(scalar);
}

/// What ends a link because of the character in front of it.
bool endsBehind(char32_t opener, char32_t scalar) {
    switch (opener) {
    case U',': // a field of a table
    case U';':
    case U'\'':
        return scalar == opener;
    case 0x2018:
        return scalar == 0x2019;
    case U'|':
    case U'<':
    case U'[': // <link|label> in chats, [[link|label]] in wikis
        return scalar == U'|';
    default:
        return false;
    }
}

/// Where a second link begins inside a run of characters, what stands before it tells whether it belongs to
/// the first (an archive's or a redirector's address) or was merely glued on.
bool belongsTogether(char before) {
    return "/=:?&#@!+-~%"sv.find(before) != std::string_view::npos;
}

/// Whether an entity that quotes the link in escaped HTML stands here.
bool isQuotingEntity(std::string_view text) {
    constexpr std::array entities = {"&lt;"sv,  "&gt;"sv,  "&quot;"sv, "&apos;"sv,
                                     "&#34;"sv, "&#39;"sv, "&nbsp;"sv};
    return std::any_of(entities.begin(), entities.end(),
                       [&](std::string_view entity) { return startsIgnoringCase(text, entity); });
}

/// The bytes of an escaped "&", 0 for none.
std::size_t ampersand(std::string_view text) {
    for (const std::string_view entity : {"&amp;"sv, "&#38;"sv, "&#x26;"sv, "&#038;"sv}) {
        if (startsIgnoringCase(text, entity)) {
            return entity.size();
        }
    }
    return 0;
}

/// The bytes of "http://" or "https://" in any letter case, also as JSON writes it (http:\/\/); 0 for none.
std::size_t webScheme(std::string_view text) {
    if (!startsIgnoringCase(text, "http")) {
        return 0;
    }
    const std::size_t name = text.size() > 4 && (text[4] | 0x20) == 's' ? 5 : 4;
    text.remove_prefix(name);
    return text.starts_with("://") ? name + 3 : text.starts_with(":\\/\\/") ? name + 5 : 0;
}

/// A character escaped by a backslash: "\&" of a shell, "\/" and "\u0026" of JSON.
struct Unescaped {
    char character;
    std::size_t length;
};

std::optional<Unescaped> unescaped(std::string_view text) {
    if (text.starts_with("\\u00") && text.size() >= 6) {
        const auto byte = text::hexByte(text[4], text[5]);
        const bool plain = byte && *byte < 0x7F && !alwaysEnds(*byte);
        return plain ? std::optional(Unescaped{static_cast<char>(*byte), 6}) : std::nullopt;
    }
    const bool known = text.size() >= 2 && "/?&=#()[]_*~%!$;,.-+@"sv.find(text[1]) != std::string_view::npos;
    return known ? std::optional(Unescaped{text[1], 2}) : std::nullopt;
}

/// What a link stands in.
struct LinkContext {
    char32_t opener = U' ';  ///< The character in front of it.
    bool inMarkup = false;   ///< Of HTML or XML, where "&" is escaped.
    bool inTemplate = false; ///< Of a wiki: "|" separates {{name|url=…|title=…}}.
};

/// Collects the characters of one link and finds its right end.
class Run {
public:
    Run(std::string_view text, const LinkContext& around) : rest_(text), around_(around) {}

    /// The link's text without what merely follows it; `length()` is what it took with that.
    std::string take() {
        const std::size_t size = rest_.size();
        while (!rest_.empty() && step()) {
        }
        length_ = size - rest_.size();
        cutUnclosed();
        trimEnd();
        cutLabel();
        return std::move(out_);
    }
    [[nodiscard]] std::size_t length() const { return length_; }

private:
    bool step() {
        const text::Scalar scalar = text::firstScalar(rest_);
        if (alwaysEnds(scalar.value) || endsBehind(around_.opener, scalar.value) || beginsAnother() ||
            (around_.inTemplate && scalar.value == U'|')) {
            return false;
        }
        switch (rest_[0]) {
        case '\\':
            return takeEscaped();
        case '&':
            return takeAmpersand();
        case '(':
        case '[':
        case '{':
        case ')':
        case ']':
        case '}':
            return takeBracket();
        default:
            take(scalar.length);
            return true;
        }
    }

    bool beginsAnother() const {
        return webScheme(rest_) > 0 && (out_.empty() || !belongsTogether(out_.back()));
    }

    void take(std::size_t bytes) {
        out_ += rest_.substr(0, bytes);
        rest_.remove_prefix(bytes);
    }

    bool takeEscaped() {
        const auto character = unescaped(rest_);
        if (character) {
            out_ += character->character;
            rest_.remove_prefix(character->length);
        }
        return character.has_value();
    }

    bool takeAmpersand() {
        if (isQuotingEntity(rest_)) {
            return false;
        }
        const std::size_t entity = around_.inMarkup ? ampersand(rest_) : 0;
        out_ += '&';
        rest_.remove_prefix(std::max<std::size_t>(entity, 1));
        return true;
    }

    /// A closing square or curly bracket without its opening one is never a link's own; a round one may be,
    /// unless the link stands in round brackets.
    bool takeBracket() {
        const char c = rest_[0];
        auto& open = c == '(' || c == ')' ? round_ : c == '[' || c == ']' ? square_ : curly_;
        if (rest_.starts_with("[/")) { // [url]…[/url]
            return false;
        }
        if (c == '(' || c == '[' || c == '{') {
            open.push_back(out_.size());
        } else if (!open.empty()) {
            label_ = c == ']' ? open.back() : label_;
            open.pop_back();
        } else if (c == ')' && around_.opener != U'(') {
            ++unopened_;
        } else {
            return false;
        }
        take(1);
        return true;
    }

    /// What follows a bracket that the link's end leaves open is a remark: "https://host/a(see there)".
    void cutUnclosed() {
        for (const auto& open : {round_, square_, curly_}) {
            if (!open.empty()) {
                out_.resize(std::min(out_.size(), open.front()));
            }
        }
    }

    /// Square brackets at the very end of a name hold a footnote's number or the text to show.
    void cutLabel() {
        if (!label_ || *label_ == 0 || *label_ >= out_.size() || !out_.ends_with(']')) {
            return;
        }
        const auto before = std::string_view(out_).substr(0, *label_);
        const bool inPath = before.find('/') != std::string_view::npos &&
                            before.find_first_of("?#") == std::string_view::npos;
        if (inPath && !before.ends_with('/')) {
            out_.resize(*label_);
        }
    }

    void trimEnd() {
        while (true) {
            const std::size_t length = trailing();
            if (length == 0) {
                return;
            }
            unopened_ -= out_.ends_with(')') ? 1 : 0;
            out_.resize(out_.size() - length);
        }
    }

    /// The bytes of a last character that belongs to the sentence, not to the link.
    [[nodiscard]] std::size_t trailing() const {
        if (out_.empty()) {
            return 0;
        }
        const char last = out_.back();
        const bool emphasis =
            contains("*_~|", around_.opener) && static_cast<char32_t>(last) == around_.opener;
        if (".,;:!?'"sv.find(last) != std::string_view::npos || emphasis || (last == ')' && unopened_ > 0)) {
            return 1;
        }
        const auto [scalar, length] = lastScalar();
        return scalar >= 0x80 && !text::mayStandInHostName(scalar) ? length : 0; // dashes, quotes, full stops
    }

    [[nodiscard]] std::pair<char32_t, std::size_t> lastScalar() const {
        std::size_t at = out_.size() - 1;
        while (at > 0 && (static_cast<unsigned char>(out_[at]) & 0xC0) == 0x80) {
            --at;
        }
        return {text::firstScalar(std::string_view(out_).substr(at)).value, out_.size() - at};
    }

    std::string_view rest_;
    LinkContext around_;
    std::string out_;
    std::size_t length_ = 0;
    std::vector<std::size_t> round_{}, square_{}, curly_{}; ///< Where the brackets open so far stand.
    std::optional<std::size_t> label_{};                    ///< Where the last closed square bracket began.
    int unopened_ = 0;                                      ///< Closing round brackets without opening ones.
};

/// The length of a host's characters in any script. Looks no further than a host can be long, so that many
/// attempts in one endless word stay cheap.
std::size_t hostLength(std::string_view text) {
    constexpr std::size_t longest = 1024;
    text = text.substr(0, longest);
    std::size_t at = 0;
    while (at < text.size()) {
        const text::Scalar scalar = text::firstScalar(text.substr(at));
        if (scalar.value != U'-' && scalar.value != U'.' &&
            (alwaysEnds(scalar.value) || !text::mayStandInHostName(scalar.value))) {
            break;
        }
        at += scalar.length;
    }
    return at;
}

/// Whether the labels of a host are such as names have; gives the last one.
std::optional<std::string_view> lastLabel(std::string_view host) {
    std::string_view label;
    while (true) {
        label = host.substr(0, host.find('.'));
        if (label.empty() || label.starts_with('-') || label.ends_with('-')) {
            return std::nullopt;
        }
        if (label.size() == host.size()) {
            return label;
        }
        host.remove_prefix(label.size() + 1);
    }
}

bool isPort(std::string_view text) {
    return !text.empty() && text.size() <= 5 && std::all_of(text.begin(), text.end(), ascii::isDigit);
}

/// Four numbers with dots, which are an address where a path follows that is no network's length ("/24").
bool isAddress(std::string_view host, std::string_view path) {
    const auto isNumber = [](std::string_view part) {
        const auto value = part.size() <= 3 ? text::wholeNumber(part) : std::nullopt;
        return value && ascii::isDigit(part[0]) && *value <= 255;
    };
    for (int part = 0; part < 3; ++part) {
        const std::size_t dot = host.find('.');
        if (dot == std::string_view::npos || !isNumber(host.substr(0, dot))) {
            return false;
        }
        host.remove_prefix(dot + 1);
    }
    return isNumber(host) && path.size() > 1 && !ascii::isDigit(path[1]) && path[1] > ' ';
}

/// Whether a text begins with a host that is a link without its scheme.
bool beginsBareLink(std::string_view text) {
    std::string_view host = text.substr(0, hostLength(text));
    std::string_view behind = text.substr(host.size());
    while (host.ends_with('.') || host.ends_with('-')) { // the end of a sentence
        host.remove_suffix(1);
        behind = {};
    }
    if (behind.starts_with(':')) {
        const std::string_view port = behind.substr(1, behind.find_first_not_of("0123456789", 1) - 1);
        behind = isPort(port) ? behind.substr(port.size() + 1) : std::string_view();
    }
    const auto label = lastLabel(host);
    if (!label || behind.starts_with('@')) {
        return false;
    }
    if (startsIgnoringCase(host, "www.")) {
        const std::string_view name = host.substr(4);
        return name.find('.') != std::string_view::npos && label->size() >= 2 &&
               !ascii::isDigit(label->back());
    }
    const bool local = text::equalIgnoringASCIICase(host, "localhost");
    const bool known = label->size() < host.size() && hasHostEnding(host);
    return behind.starts_with('/') && (local || known || isAddress(host, behind)) &&
           host.find("www.") == std::string_view::npos;
}

/// Whether an element of HTML or XML begins or ends here: "<a ", "<link>", "</p>".
bool beginsTag(std::string_view text) {
    const std::size_t name = text.starts_with("</") ? 2 : 1;
    std::size_t at = name;
    while (at < text.size() && (ascii::isLetterOrDigit(text[at]) || text[at] == '-')) {
        ++at;
    }
    return at > name && at < text.size() &&
           (contains(">/", static_cast<unsigned char>(text[at])) ||
            text::isWhitespace(static_cast<unsigned char>(text[at])));
}

class Scanner {
public:
    explicit Scanner(std::string_view text) : rest_(text) {}

    std::vector<std::string> run() {
        while (!rest_.empty()) {
            step();
        }
        return std::move(found_);
    }

private:
    void step() {
        const bool otherScheme = rest_.starts_with("://") && (text::isLetterOrDigit(around_.opener));
        const bool wordStart = !text::isLetterOrDigit(around_.opener);
        if (const std::size_t scheme = webScheme(rest_)) {
            takeWithScheme(scheme);
        } else if (otherScheme) { // ftp://… and what it holds are no web links
            pass(3);
            takeRun();
        } else if (wordStart &&
                   (startsIgnoringCase(rest_, "magnet:") || startsIgnoringCase(rest_, "mailto:"))) {
            takeRun();
        } else if (mayBeginBareLink() && beginsBareLink(rest_)) {
            found_.push_back("http://" + takeRun());
        } else {
            noteMarkup();
            pass(text::firstScalar(rest_).length);
        }
    }

    void takeWithScheme(std::size_t length) {
        const std::string_view scheme = rest_.substr(0, rest_.find(':'));
        const char32_t opener = around_.opener;
        pass(length);
        around_.opener = opener;
        found_.push_back(std::string(scheme) + "://" + takeRun());
    }

    std::string takeRun() {
        Run run(rest_, around_);
        std::string link = run.take();
        pass(run.length());
        return link;
    }

    /// Moves on, by at least one character of the text unless `bytes` is 0.
    void pass(std::size_t bytes) {
        if (bytes == 0) {
            return;
        }
        std::size_t last = bytes - 1;
        while (last > 0 && (static_cast<unsigned char>(rest_[last]) & 0xC0) == 0x80) {
            --last;
        }
        around_.opener = text::firstScalar(rest_.substr(last)).value;
        rest_.remove_prefix(bytes);
    }

    [[nodiscard]] bool mayBeginBareLink() const {
        const text::Scalar first = text::firstScalar(rest_);
        if (!text::isLetterOrDigit(first.value)) {
            return false;
        }
        const bool www = startsIgnoringCase(rest_, "www.");
        if (text::isLetterOrDigit(around_.opener)) { // scripts without blanks between words
            return www && around_.opener >= 0x2E80;
        }
        return !contains(www ? "@/.-\\"sv : "@/.-_:\\%&+~#$"sv, around_.opener);
    }

    void noteMarkup() {
        if (rest_[0] == '<') {
            around_.inMarkup = around_.inMarkup || beginsTag(rest_);
        } else if (rest_.starts_with("{{")) {
            around_.inTemplate = true;
        } else if (rest_.starts_with("}}")) {
            around_.inTemplate = false;
        }
    }

    std::string_view rest_;
    LinkContext around_;
    std::vector<std::string> found_;
};

} // namespace

std::vector<std::string> detect(std::string_view text) {
    return isQuotedPrintable(text) ? Scanner(decodedQuotedPrintable(text)).run() : Scanner(text).run();
}

} // namespace fluvane::links
