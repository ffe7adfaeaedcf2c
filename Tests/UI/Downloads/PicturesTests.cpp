#include "Fluvane/UI/Downloads/DownloadsWindow.h"
#include "SampleList.h"

#include <gtest/gtest.h>

#include <QListView>
#include <QPalette>

using namespace fluvane;
using namespace fluvane::support;

namespace {

QPalette dark() {
    QPalette palette(QColor(0x35, 0x35, 0x35));
    palette.setColor(QPalette::Base, QColor(0x23, 0x23, 0x23));
    palette.setColor(QPalette::Text, Qt::white);
    palette.setColor(QPalette::WindowText, Qt::white);
    palette.setColor(QPalette::ButtonText, Qt::white);
    palette.setColor(QPalette::Highlight, QColor(0x2A, 0x82, 0xDA));
    return palette;
}

/// Not a test: writes pictures of the window into the folder that FLUVANE_PICTURES names, to be looked at.
TEST(DownloadsPictures, ToLookAt) {
    const QString folder = qEnvironmentVariable("FLUVANE_PICTURES");
    if (folder.isEmpty()) {
        GTEST_SKIP() << "FLUVANE_PICTURES names no folder";
    }
    for (const bool isDark : {false, true}) {
        const QPalette before = QApplication::palette();
        if (isDark) {
            QApplication::setPalette(dark());
        }
        for (const QSize size : {QSize(640, 400), QSize(1100, 700), QSize(2560, 1440)}) {
            SampleList list;
            list.engine.add("http://a.example/" + std::string(30, 'n') +
                            "-a-very-long-name-of-a-file-that-never-seems-to-end-at-all-and-goes-on-and-on-"
                            "until-it-does.tar.gz");
            list.engine.add("http://a.example/%D7%A9%D7%9C%D7%95%D7%9D-%D7%A2%D7%95%D7%9C%D7%9D.zip");
            list.engine.add("http://a.example/%D9%85%D9%84%D9%81.pdf");
            list.engine.add("http://a.example/%F0%9F%8E%89%F0%9F%91%A9%E2%80%8D%F0%9F%92%BB.png");
            list.run();
            DownloadsWindow window(list.context);
            window.resize(size);
            window.show();
            list.refresh();
            window.select({7}, true);
            list.refresh();
            const QString name =
                QString("%1/downloads-%2-%3.png").arg(folder, isDark ? "dark" : "light").arg(size.width());
            EXPECT_TRUE(window.grab().save(name));
            if (size.width() == 1100) {
                window.findChild<QListView*>("list")->selectAll();
                list.refresh();
                window.grab().save(QString("%1/all-%2.png").arg(folder, isDark ? "dark" : "light"));
            }
        }
        WindowBench none;
        none.engine.manager->start();
        DownloadsWindow window(none.context);
        window.resize(640, 400);
        window.show();
        none.refresh();
        window.grab().save(QString("%1/empty-%2.png").arg(folder, isDark ? "dark" : "light"));
        QApplication::setPalette(before);
    }
}

} // namespace
