// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneEngine/Config.h"
#include "FluvaneEngine/Download.h"

#include <QWidget>

#include <array>

class QGridLayout;
class QLabel;

namespace fluvane {

/// What is known about a download, as labels and values. A row with nothing to say isn't there.
class DetailRows : public QWidget {
    Q_OBJECT

public:
    explicit DetailRows(QWidget* parent = nullptr);
    void follow(const Download& download, const Config& config, Date now);
    /// Whether the file that is named isn't there anymore.
    void setGone(bool gone);

private:
    enum Row {
        Link,
        FinalLink,
        Referrer,
        Folder,
        File,
        Gone,
        Size,
        TimeLeft,
        Added,
        Completed,
        LastModified,
        ETag,
        Resumable,
        Rule,
        Checksum,
        ChecksumStanding,
        Computed,
        rows
    };
    using Make = QWidget* (*)(QWidget* parent);
    void addRow(Row row, const QString& label, const char* name, Make make);
    void set(Row row, const std::string& text, const std::string& toolTip = {});
    void followPlaces(const DownloadRecord& record);
    void followProgress(const Download& download, Date now);
    void followServer(const DownloadRecord& record, Date now);
    void followChecksum(const DownloadRecord& record);

    /// Not a form layout: rows it hides and shows again lose their places where a value's lines wrap.
    QGridLayout* grid_;
    std::array<QLabel*, rows> titles_{};
    std::array<QWidget*, rows> values_{};
};

} // namespace fluvane
