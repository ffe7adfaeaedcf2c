#pragma once

#include "Fluvane/UI/Models/WindowContext.h"

#include <QDialog>

#include <cstdint>

namespace fluvane {

/// A question about one download, in a window that blocks nothing. It deletes itself once closed, and closes
/// by itself when the question no longer applies. The main queue's.
class DownloadDialog : public QDialog {
    Q_OBJECT

public:
    [[nodiscard]] std::int64_t id() const { return id_; }

protected:
    DownloadDialog(WindowContext& context, std::int64_t id);
    /// Null once it is removed.
    [[nodiscard]] const Download* download() const { return context_.manager.download(id_); }
    [[nodiscard]] WindowContext& context() const { return context_; }

private:
    [[nodiscard]] virtual bool stillApplies(const Download& download) const = 0;
    /// After every change of the list, while the question applies.
    virtual void refresh(const Download& download) = 0;
    void follow();

    WindowContext& context_;
    std::int64_t id_;
};

} // namespace fluvane
