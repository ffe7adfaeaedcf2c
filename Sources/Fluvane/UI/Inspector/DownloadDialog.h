// SPDX-FileCopyrightText: The Fluvane developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Fluvane/UI/Models/WindowContext.h"

#include <QDialog>

#include <cstdint>

class QLabel;
class QGridLayout;
class QVBoxLayout;

namespace fluvane {

class ElidedLabel;

/// A question about one download, in a window that blocks nothing. It deletes itself once closed, and closes
/// by itself when the question no longer applies. The main queue's.
class DownloadDialog : public QDialog {
    Q_OBJECT

public:
    [[nodiscard]] DownloadID id() const { return id_; }

protected:
    /// Begins with the download's name and an explanation; content and buttons follow.
    struct Texts {
        QString title;
        QString explanation;
    };
    DownloadDialog(WindowContext& context, DownloadID id, const Texts& texts);

    /// Null once it is removed.
    [[nodiscard]] const Download* download() const { return context_.manager.download(id_); }
    [[nodiscard]] WindowContext& context() const { return context_; }
    [[nodiscard]] QVBoxLayout& content() const { return *content_; }
    /// A label for plain words, which may be long.
    [[nodiscard]] QLabel* addWords(const QString& name);

    /// A field with its label, their middles on one line. The label says its key.
    void addField(const QString& label, QWidget* field);

    void showEvent(QShowEvent* event) override;

private:
    [[nodiscard]] virtual bool stillApplies(const Download& download) const = 0;
    /// When it is shown and after every change of the list, while the question applies.
    virtual void refresh(const Download& download) = 0;
    void follow();

    WindowContext& context_;
    DownloadID id_;
    QVBoxLayout* content_;
    QGridLayout* fields_ = nullptr;
    ElidedLabel* name_;
};

} // namespace fluvane
