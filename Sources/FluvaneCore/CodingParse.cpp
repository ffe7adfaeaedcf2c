// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Coding.h"

#include <algorithm>
#include <iterator>

namespace fluvane::coding {

namespace {

/// No value of ours nests deeper than a handful; the limit keeps later recursion over the value harmless.
constexpr std::size_t deepest = 64;

/// Builds the value from the reader's events. Elements wait on flat stacks until their container ends, which
/// then takes exactly the room it needs: with the library's own builder an object that grows copies every
/// member it has, nested ones included.
class Builder {
public:
    bool null() { return add(nullptr); }
    bool boolean(bool value) { return add(value); }
    bool number_integer(Json::number_integer_t value) { return add(value); }
    bool number_unsigned(Json::number_unsigned_t value) { return add(value); }
    bool number_float(Json::number_float_t value, const std::string& /*text*/) { return add(value); }
    bool string(std::string& value) { return add(std::move(value)); }
    bool binary(Json::binary_t& /*value*/) { return false; }

    bool key(std::string& name) {
        keys_.push_back(std::move(name));
        return true;
    }
    bool start_object(std::size_t /*size*/) { return open(); }
    bool start_array(std::size_t /*size*/) { return open(); }

    bool end_object() {
        const std::size_t first = close();
        const std::size_t count = values_.size() - first;
        auto name = keys_.end() - static_cast<std::ptrdiff_t>(count);
        Json::object_t object;
        object.reserve(count);
        for (std::size_t i = first; i < values_.size(); ++i, ++name) {
            object.emplace_back(std::move(*name), std::move(values_[i]));
        }
        keys_.resize(keys_.size() - count);
        values_.resize(first);
        return add(std::move(object));
    }

    bool end_array() {
        const auto first = values_.begin() + static_cast<std::ptrdiff_t>(close());
        Json::array_t array(std::make_move_iterator(first), std::make_move_iterator(values_.end()));
        values_.erase(first, values_.end());
        return add(std::move(array));
    }

    bool parse_error(std::size_t position, const std::string& /*token*/, const Json::exception& /*error*/) {
        position_ = position;
        return false;
    }

    [[nodiscard]] bool tooDeep() const { return opened_.size() > deepest; }
    [[nodiscard]] std::size_t errorPosition() const { return position_; }
    [[nodiscard]] Json take() { return std::move(values_.front()); }

private:
    template <class Value>
    bool add(Value&& value) {
        values_.emplace_back(std::forward<Value>(value));
        return true;
    }
    bool open() {
        opened_.push_back(values_.size());
        return !tooDeep();
    }
    std::size_t close() {
        const std::size_t first = opened_.back();
        opened_.pop_back();
        return first;
    }

    std::vector<Json> values_;
    std::vector<std::string> keys_;
    std::vector<std::size_t> opened_; ///< Where the values of each open container begin.
    std::size_t position_ = 0;        ///< Bytes read when the text stopped being JSON.
};

std::string place(std::string_view text, std::size_t bytesRead) {
    const std::string_view read = text.substr(0, std::max<std::size_t>(bytesRead, 1) - 1);
    const auto line = std::count(read.begin(), read.end(), '\n') + 1;
    const std::size_t column = read.size() - (read.rfind('\n') + 1) + 1; // npos + 1 is 0
    return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

} // namespace

Json parse(std::string_view text) {
    Builder builder;
    if (Json::sax_parse(text.begin(), text.end(), &builder)) {
        return builder.take();
    }
    throw DecodingError(DecodingError::Kind::dataCorrupted,
                        builder.tooDeep()
                            ? "The JSON is nested too deeply."
                            : "The text is no JSON at " + place(text, builder.errorPosition()) + ".");
}

} // namespace fluvane::coding
