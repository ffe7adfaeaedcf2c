// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#include "FluvaneCore/URL.h"

#include "Support/Rows.h"

#include <gmock/gmock.h>

#include <string>

using namespace fluvane;
using testing::ElementsAre;
using testing::Pair;
using namespace support;

namespace {

URL url(std::string_view text) {
    return URL::parse(text).value();
}

TEST(URL, KeepsTheTextAndEscapesOnlyWhatMayNotStand) {
    const NamedRows<std::string, const char*> rows = {
        {"escapes and dots stay", "http://host/a%2fb/../c%7E?q=%20", "http://host/a%2fb/../c%7E?q=%20"},
        {"blank and quote", "http://h/a b\"c", "http://h/a%20b%22c"},
        {"controls", std::string("http://h/a\x01\x7f\0b", 14), "http://h/a%01%7F%00b"},
        {"non-ASCII", "http://h/é?ü#ß", "http://h/%C3%A9?%C3%BC#%C3%9F"},
        {"percent without digits", "http://h/100%/5%zz%4?%4#%4", "http://h/100%25/5%25zz%254?%254#%254"},
        {"brackets and bars", "http://h/[1]|?a[]=1|2#[3]", "http://h/[1]|?a[]=1|2#[3]"},
        {"credentials", "http://us er:pä[%40@h/@", "http://us%20er:p%C3%A4%5B%40@h/@"},
        {"colon without a port", "http://u@h:/x", "http://u@h/x"},
        {"no host needed", "fluvane:add?url=http://h/x y", "fluvane:add?url=http://h/x%20y"},
    };
    expectRows(rows, [](const auto& given) { return url(given).absoluteString(); });
}

TEST(URL, RefusesWhatIsNoAbsoluteLink) {
    for (const char* text :
         {"", "host/file", "http://[::1", "http://[host]/", "http://", "https:/host/path", "http://user@/x",
          "http://host:65536/", "http://host:80:90/", "http://a@b@host/", "http://evil.example\\@host/",
          "http://ho st/", "http://ho\x01st/", "http://\u202Ehost.example/", "http://ho%2Fst/",
          "http://host/\xC3(", "file://server/share", "file:///a%00b"}) {
        EXPECT_FALSE(URL::parse(text)) << text;
    }
}

TEST(URL, ReadsItsParts) {
    const URL link = url("HTTPS://User:pw@WWW.Example.ORG:8443/a%20b/c%25.zip?x=1&&y=a+b%26&flag&=v&#frag?");
    EXPECT_EQ(link.scheme(), "https");
    EXPECT_EQ(link.host(), "www.example.org");
    EXPECT_EQ(link.path(), "/a b/c%.zip");
    EXPECT_EQ(link.lastPathComponent(), "c%25.zip");
    EXPECT_THAT(link.queryItems(),
                ElementsAre(Pair("x", "1"), Pair("y", "a+b&"), Pair("flag", ""), Pair("", "v")));
    EXPECT_EQ(url("http://h/%FF").path(), "") << "no UTF-8";
    for (const char* text : {"fluvane:add?url=http%3A%2F%2Fh%2F", "fluvane:///add?url=http%3A%2F%2Fh%2F"}) {
        EXPECT_FALSE(url(text).host()) << text;
        EXPECT_EQ(url(text).path(), "/add");
        EXPECT_THAT(url(text).queryItems(), ElementsAre(Pair("url", "http://h/")));
    }
}

TEST(URL, LosesItsCredentialsAndNothingElse) {
    const Rows<const char*, const char*> rows = {
        {"HTTPS://U:p@WWW.H.org:0443/a%20b?x#f?", "HTTPS://WWW.H.org:0443/a%20b?x#f?"},
        {"http://me%40h.org:p%40w@h", "http://h"},
        {"http://h/a@b?c@d#e@f", "http://h/a@b?c@d#e@f"},
    };
    expectRows(rows, [](const auto& text) { return url(text).withoutCredentials().absoluteString(); });
}

TEST(URL, TellsSitesApart) {
    const Rows<const char*, const char*> rows = {
        {"http://WWW.Host:80/", "www.host"},
        {"https://[::1]:81/", "[::1]"},
        {"http://Bücher.example/", "xn--bcher-kva.example"},
        {"http://bu\u0308cher.example/", "xn--bcher-kva.example"},
        {"http://xn--999999999.\u0301ü/", "xn--999999999.\u0301ü"},
    };
    expectRows(rows, [](const auto& text) { return url(text).site(); });
}

TEST(URL, FileLocationsCarryAnyPath) {
    for (const std::string path :
         {"/a%20b/50% off?#1;v=2[x] \"q\"\\", "/Téléchargements/old\xE9/\xFF", "/"}) {
        const URL file = URL::file(path);
        EXPECT_EQ(file.path(), path);
        EXPECT_EQ(URL::folder(path).path(), path);
    }
    EXPECT_EQ(URL::folder("/a/b"), URL::folder("/a/b/"));
    EXPECT_EQ(URL::folder("/a").appending("50% x?#é.zip").absoluteString(),
              "file:///a/50%25%20x%3F%23%C3%A9.zip");
    EXPECT_EQ(URL::file(std::string_view("/a\0b", 4)).path(), "/a") << "as the system reads a path";
}

} // namespace
