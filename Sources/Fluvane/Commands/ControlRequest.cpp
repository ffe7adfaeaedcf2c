// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "Fluvane/Commands/ControlRequest.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace fluvane {

namespace {

/// Takes strings inside one array and stops at anything else, so no request makes the parser build or nest.
class ArgumentReader final : public nlohmann::json_sax<nlohmann::json> {
public:
    std::vector<std::string> arguments;

    bool string(string_t& value) override {
        // An argument list can't hold a zero byte; in a path it would name another file than the one shown.
        if (depth_ != 1 || value.find('\0') != string_t::npos) {
            return false;
        }
        arguments.push_back(std::move(value));
        return true;
    }
    bool start_array(std::size_t /*elements*/) override { return ++depth_ == 1; }
    bool end_array() override { return true; }

    bool null() override { return false; }
    bool boolean(bool /*value*/) override { return false; }
    bool number_integer(number_integer_t /*value*/) override { return false; }
    bool number_unsigned(number_unsigned_t /*value*/) override { return false; }
    bool number_float(number_float_t /*value*/, const string_t& /*text*/) override { return false; }
    bool binary(binary_t& /*value*/) override { return false; }
    bool start_object(std::size_t /*elements*/) override { return false; }
    bool key(string_t& /*value*/) override { return false; }
    bool end_object() override { return false; }
    bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                     const nlohmann::detail::exception& /*error*/) override {
        return false;
    }

private:
    int depth_ = 0;
};

} // namespace

std::optional<std::vector<std::string>> parseRequest(std::string_view text) {
    ArgumentReader reader;
    if (!nlohmann::json::sax_parse(text, &reader)) {
        return std::nullopt;
    }
    return std::move(reader.arguments);
}

} // namespace fluvane
