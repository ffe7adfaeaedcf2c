#pragma once

#include "Fluvane/UI/Inspector/DownloadDialog.h"

class QLabel;
class QLineEdit;
class QPushButton;

namespace fluvane {

/// Takes, changes or takes away the checksum that a download's file is checked against. For one window of
/// its own: call `show`, and it deletes itself once closed, also when the download is removed meanwhile.
class ChecksumDialog : public DownloadDialog {
    Q_OBJECT

public:
    ChecksumDialog(WindowContext& context, std::int64_t id);

protected:
    void accept() override;

private:
    bool stillApplies(const Download& download) const override;
    void refresh(const Download& download) override;
    void typed();
    void takeAway();

    QLineEdit* field_;
    QLabel* note_;
    QPushButton* check_;
};

} // namespace fluvane
