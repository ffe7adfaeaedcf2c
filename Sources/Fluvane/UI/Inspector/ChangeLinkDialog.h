#pragma once

#include "Fluvane/UI/Inspector/DownloadDialog.h"

#include <optional>

class QLabel;
class QLineEdit;
class QPushButton;

namespace fluvane {

/// Asks for a fresh link to a download's file; offers the clipboard's. For one window of its own: call
/// `show`, and it deletes itself once closed, also when the download is removed or finishes meanwhile.
class ChangeLinkDialog : public DownloadDialog {
    Q_OBJECT

public:
    ChangeLinkDialog(WindowContext& context, std::int64_t id);

protected:
    void accept() override;

private:
    bool stillApplies(const Download& download) const override;
    void refresh(const Download& download) override;
    void typed();
    void offerClipboard();
    [[nodiscard]] std::optional<URL> link() const;

    QLineEdit* field_;
    QLabel* note_;
    QPushButton* change_;
};

} // namespace fluvane
