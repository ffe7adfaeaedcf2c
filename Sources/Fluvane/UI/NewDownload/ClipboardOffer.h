// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "FluvaneCore/URL.h"

#include <QWidget>

#include <vector>

class QLabel;
class QPushButton;

namespace fluvane {

/// A quiet row that offers the links on the clipboard. Hidden without any.
class ClipboardOffer : public QWidget {
    Q_OBJECT

public:
    explicit ClipboardOffer(QWidget* parent = nullptr);

    /// Looks at the clipboard, and tells what is there on a later turn.
    void look();
    void offer(const std::vector<URL>& links);

    Q_SIGNAL void found(const std::vector<URL>& links);
    Q_SIGNAL void accepted(const std::vector<URL>& links);

private:
    void accept();

    QLabel* text_;
    QPushButton* add_;
    std::vector<URL> links_;
    std::uint64_t looks_ = 0; ///< A clipboard that was slow to read is not told after a later one.
};

} // namespace fluvane
