// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

// What is dropped and pasted, and the folders chosen last.

#include "Fluvane/UI/Models/DroppedData.h"
#include "Fluvane/UI/Models/RecentFolders.h"
#include "Fluvane/UI/NewDownload/LinksEdit.h"
#include "Support/TemporaryFolder.h"

#include <QMimeData>
#include <QTest>
#include <QUrl>

#include <gmock/gmock.h>

namespace fluvane::support {

using namespace testing;

namespace {

std::vector<std::string> texts(const std::vector<URL>& links) {
    std::vector<std::string> all;
    for (const URL& link : links) {
        all.push_back(link.absoluteString());
    }
    return all;
}

QByteArray utf16(const char16_t* text) {
    const QString string = QString::fromUtf16(text);
    return {reinterpret_cast<const char*>(string.utf16()), string.size() * 2};
}

} // namespace

TEST(DroppedData, holdsLinksInTheFormatsOfBrowsersAndFileManagers) {
    const TemporaryFolder folder;
    writeFile(folder / "www.trap.example", "http://file.example/[1-2]");
    const QByteArray file = ("file://" + (folder / "www.trap.example").string()).c_str();
    using Formats = std::vector<std::pair<const char*, QByteArray>>;
    const char* const plain = "text/plain";
    const char* const list = "text/uri-list";
    const char* const html = "text/html";
    const struct {
        const char* name;
        Formats formats;
        std::vector<std::string> links;
    } cases[] = {
        {"a dragged link keeps its escapes",
         {{list, "# one\r\nhttp://a.example/a%2Fb\r\n"}},
         {"http://a.example/a%2Fb"}},
        {"a link and its title",
         {{list, "http://a.example/a"},
          {plain, "http://a.example/a"},
          {html, "<a href='http://a.example/a'>www.title.example/b</a>"}},
         {"http://a.example/a"}},
        {"only a browser's own format",
         {{"text/x-moz-url", utf16(u"http://a.example/a\nTitle")}},
         {"http://a.example/a"}},
        {"a file whose path is repeated as text",
         {{list, file + "\r\n"}, {plain, file}},
         {"http://file.example/1", "http://file.example/2"}},
        {"a piece of a page",
         {{plain, "Get it here"},
          {html, "<html xmlns='http://www.w3.org/x'><a class=b HREF=\"http://a.example/a?b&amp;c\">"
                 "<img src='http://a.example/thumbnail.png'>Get it</a> here</html>"}},
         {"http://a.example/a?b&c"}},
        {"a folder", {{list, "file:///"}}, {}},
    };
    for (const auto& [name, formats, links] : cases) {
        QMimeData data;
        for (const auto& [format, content] : formats) {
            data.setData(format, content);
        }
        EXPECT_TRUE(mayHoldLinks(data)) << name;
        EXPECT_EQ(texts(linksIn(data)), links) << name;
    }
    QMimeData picture;
    picture.setData("image/png", "…");
    EXPECT_FALSE(mayHoldLinks(picture));
}

TEST(DroppedData, isReadElsewhereAndToldOnlyToWhoIsStillThere) {
    const TemporaryFolder folder;
    writeFile(folder / "list.txt", "http://a.example/a");
    std::optional<std::vector<URL>> found;
    QObject here;
    {
        QMimeData data;
        data.setUrls({QUrl::fromLocalFile((folder / "list.txt").c_str())});
        QObject gone;
        findLinks(data, &gone, [](const auto&) { ADD_FAILURE() << "Nobody is there any more."; });
        findLinks(data, &here, [&](const auto& links) { found = links; });
    }
    EXPECT_FALSE(found) << "The call must not wait.";
    ASSERT_TRUE(QTest::qWaitFor([&] { return found.has_value(); }));
    EXPECT_THAT(texts(*found), ElementsAre("http://a.example/a"));
}

TEST(LinksEdit, breaksLongLinesBetweenLinks) {
    const QString link = "\"http://a.example/" + QString(1500, 'a') + "\",";
    const QString text = withShortLines(link.repeated(100));
    EXPECT_GT(text.count('\n'), 10) << "It would take the editor minutes.";
    EXPECT_EQ(text.count(link.mid(1, 1500)), 100) << "No link may be cut.";
}

TEST(RecentFolders, remembersTheLatestFirst) {
    const TemporaryFolder folder;
    const auto path = folder / "state/recent.json";
    {
        RecentFolders recent(path);
        for (const char name : std::string("abcdefgd")) {
            recent.add(URL::folder("/" + std::string(1, name)));
        }
    }
    std::string names;
    const RecentFolders again(path);
    for (const URL& url : again.folders()) {
        names += url.path().back();
    }
    EXPECT_EQ(names, "dgfecb");
    for (const char* const text : {"", "{\"a\":1}", "[1]", "[\"relative\", \"http://a.example/\"]"}) {
        writeFile(path, text);
        EXPECT_TRUE(RecentFolders(path).folders().empty()) << text;
    }
    RecentFolders unwritable("/proc/none/recent.json");
    unwritable.add(URL::folder("/a"));
    EXPECT_THAT(unwritable.folders(), ElementsAre(URL::folder("/a")));
}

} // namespace fluvane::support
