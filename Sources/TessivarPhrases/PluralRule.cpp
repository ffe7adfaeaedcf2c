// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "TessivarPhrases/PluralRule.h"

#include <algorithm>
#include <array>

namespace tessivar {

namespace {

struct Operator {
    std::string_view sign;
    int strength; ///< Of two, the stronger binds first.
};

/// Longer signs before those that they begin with.
constexpr std::array<Operator, 13> operators = {{{"||", 1},
                                                 {"&&", 2},
                                                 {"==", 3},
                                                 {"!=", 3},
                                                 {"<=", 4},
                                                 {">=", 4},
                                                 {"<", 4},
                                                 {">", 4},
                                                 {"+", 5},
                                                 {"-", 5},
                                                 {"*", 6},
                                                 {"/", 6},
                                                 {"%", 6}}};

std::uint64_t applied(std::string_view sign, std::uint64_t a, std::uint64_t b) {
    switch (sign[0]) {
    case '|':
        return a || b ? 1 : 0;
    case '&':
        return a && b ? 1 : 0;
    case '=':
        return a == b ? 1 : 0;
    case '!':
        return a != b ? 1 : 0;
    case '<':
        return (sign.size() > 1 ? a <= b : a < b) ? 1 : 0;
    case '>':
        return (sign.size() > 1 ? a >= b : a > b) ? 1 : 0;
    case '+':
        return a + b;
    case '-':
        return a - b;
    case '*':
        return a * b;
    case '/':
        return b == 0 ? 0 : a / b;
    default:
        return b == 0 ? 0 : a % b;
    }
}

/// Counts while it reads: a rule is short and is read for one count at a time.
class Reader {
public:
    Reader(std::string_view rule, std::uint64_t count) : rest_(rule), count_(count) {}

    std::uint64_t whole() {
        const std::uint64_t value = choice();
        skipBlanks();
        return isBroken_ || !rest_.empty() ? 0 : value;
    }

private:
    void skipBlanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\n"), rest_.size())); }
    bool take(std::string_view sign) {
        skipBlanks();
        const bool isThere = rest_.starts_with(sign);
        rest_.remove_prefix(isThere ? sign.size() : 0);
        return isThere;
    }
    void need(std::string_view sign) { isBroken_ = !take(sign) || isBroken_; }

    std::uint64_t choice() {
        constexpr int deepest = 100;
        if (++depth_ > deepest) {
            isBroken_ = true;
            return 0;
        }
        std::uint64_t value = joined(1);
        if (take("?")) {
            const std::uint64_t yes = choice();
            need(":");
            const std::uint64_t no = choice();
            value = value != 0 ? yes : no;
        }
        --depth_;
        return value;
    }

    const Operator* next(int weakest) {
        skipBlanks();
        for (const auto& one : operators) {
            if (rest_.starts_with(one.sign)) {
                return one.strength >= weakest ? &one : nullptr;
            }
        }
        return nullptr;
    }

    std::uint64_t joined(int weakest) {
        std::uint64_t value = single();
        while (const Operator* found = next(weakest)) {
            rest_.remove_prefix(found->sign.size());
            value = applied(found->sign, value, joined(found->strength + 1));
        }
        return value;
    }

    std::uint64_t single() {
        if (take("(")) {
            const std::uint64_t value = choice();
            need(")");
            return value;
        }
        if (take("n")) {
            return count_;
        }
        return number();
    }

    std::uint64_t number() {
        skipBlanks();
        isBroken_ = isBroken_ || rest_.empty() || rest_[0] < '0' || rest_[0] > '9';
        std::uint64_t value = 0;
        while (!rest_.empty() && rest_[0] >= '0' && rest_[0] <= '9') {
            value = value * 10 + static_cast<std::uint64_t>(rest_[0] - '0');
            rest_.remove_prefix(1);
        }
        return value;
    }

    std::string_view rest_;
    std::uint64_t count_;
    int depth_ = 0;
    bool isBroken_ = false;
};

} // namespace

std::uint64_t pluralForm(std::string_view rule, std::uint64_t count) {
    return Reader(rule, count).whole();
}

} // namespace tessivar
