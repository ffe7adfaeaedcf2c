// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QFileDialog>
#include <QFileIconProvider>

namespace tessivar {

/// Asks for a folder: with the desktop's own window where there is a portal for it, else with Qt's, which
/// then has only what choosing a folder needs. `open` or `show` it once and take `fileSelected`; it deletes
/// itself.
class FolderDialog : public QFileDialog {
    Q_OBJECT

public:
    FolderDialog(QWidget* parent, const QString& title, const QString& folder);
    ~FolderDialog() override;

    void setVisible(bool visible) override;

private:
    class Icons : public QFileIconProvider {
    public:
        [[nodiscard]] QIcon icon(IconType type) const override;
        [[nodiscard]] QIcon icon(const QFileInfo& info) const override;
    };

    void askPortal();
    void showOwn();
    void simplify();

    Icons icons_;
    bool asks_ = false;  ///< The portal, whose window stands for this one.
    bool isOwn_ = false; ///< It is this one that is shown.
};

} // namespace tessivar
