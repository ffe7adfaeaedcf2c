// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/Headers.h"

#include "Support/Rows.h"

#include <gmock/gmock.h>

#include <string>

using namespace fluvane;
using namespace support;

namespace {

TEST(ContentRange, ReadsSatisfiedRangesAndTheTotalOfRefusedOnes) {
    const Rows<const char*, std::optional<ContentRange>> rows = {
        {"bytes 0-499/1234", ContentRange{0, 499, 1234}},
        {" \tBytes 500-999/* ", ContentRange{500, 999, std::nullopt}},
        {"bytes +0-+9 / +100", ContentRange{0, 9, 100}},
        {"bytes 0-9223372036854775806/9223372036854775807", ContentRange{0, INT64_MAX - 1, INT64_MAX}},
    };
    expectRows(rows, ContentRange::parse);
    for (const char* unreadable :
         {"bytes 0-9223372036854775808/*", "bytes 5-4/10", "bytes 0-10/10", "bytes */10", "items 0-9/100",
          "bytes 0-9", "bytes -9/100", "bytes 0-/100", "bytes 0-9/100/1", "bytes 0--9/100", ""}) {
        EXPECT_FALSE(ContentRange::parse(unreadable)) << unreadable;
    }
    EXPECT_EQ(ContentRange::unsatisfiedTotal(" BYTES */4096 "), 4096);
    for (const char* unreadable : {"bytes */", "bytes */*", "bytes * /5", "bytes 0-1/5"}) {
        EXPECT_FALSE(ContentRange::unsatisfiedTotal(unreadable)) << unreadable;
    }
}

TEST(ContentDisposition, FindsTheSuggestedName) {
    const NamedRows<const char*, std::optional<std::string>> rows = {
        {"token with blanks", "attachment;\tFileName = my file.zip ; x=y", "my file.zip"},
        {"escaped quote", R"(attachment; filename="a \"b\" \\c.zip")", R"(a "b" \c.zip)"},
        {"extended last", "attachment; filename=euro.txt; FILENAME*=utf-8'en'%E2%82%AC%20x.txt", "€ x.txt"},
        {"Latin-1", "a; filename*=ISO-8859-1''caf%E9%2.txt", "café%2.txt"},
        {"broken extended, plain stays", "a; filename*=UTF-8''%zz; filename=b", "b"},
        {"no UTF-8 in the extended", "a; filename*=UTF-8''%E9; filename=b", "b"},
        {"foreign charset", "a; filename*=UTF-16''a", {}},
        {"empty extended hides the plain", "a; filename=b; filename*=UTF-8''", {}},
        {"name in front of any semicolon", "filename=a.zip", {}},
    };
    expectRows(rows, contentDisposition::fileName);
}

TEST(RetryAfter, TakesSecondsAndDates) {
    const Date now = Date(std::chrono::seconds(784111777)); // Sun, 06 Nov 1994 08:49:37 GMT
    const Rows<std::string, std::optional<double>> rows = {
        {" 120 ", 120.0},
        {"nan", 0.0},
        {"Infinity", retryAfter::longest},
        {std::string(400, '9'), retryAfter::longest},
        {"Sun, 06 Nov 1994 08:49:38 GMT", 1.0},
    };
    expectRows(rows, [&](const auto& value) { return retryAfter::delay(value, now); });
    for (const char* unreadable :
         {"Wed, 29 Feb 1995 00:00:00 GMT", "Sun, 06 Okt 1994 08:49:38 GMT", "Sun, 06 Nov 1994 24:00:00 GMT",
          "Sun, 06 Nov 1994 08:49:38 CET", "Sun, 06 Nov 1994 08:49:38 GMT!", "soon", "5 s", ""}) {
        EXPECT_FALSE(retryAfter::delay(unreadable, now)) << unreadable;
    }
}

TEST(Validators, ChooseIfRangeAndCompare) {
    const Validators strong{"\"a\"", "Mon"};
    EXPECT_EQ(strong.ifRange(), "\"a\"");
    EXPECT_EQ((Validators{"W/\"a\"", "Mon"}.ifRange()), "Mon");
    EXPECT_EQ((Validators{"W/\"a\"", {}}.ifRange()), std::nullopt);
    EXPECT_FALSE(strong.differ({"\"a\"", "Tue"})) << "the tag decides";
    EXPECT_TRUE(strong.differ({"\"A\"", "Mon"}));
    EXPECT_TRUE(strong.differ({{}, "Tue"}));
    EXPECT_FALSE((Validators{"\"a\"", {}}.differ({{}, "Mon"})));
}

} // namespace
