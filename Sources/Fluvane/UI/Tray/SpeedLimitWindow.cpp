#include "Fluvane/UI/Tray/SpeedLimitWindow.h"

#include "Tessivar/Windows/Spacing.h"

#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QVBoxLayout>

#include <cmath>

namespace fluvane {

namespace {

namespace Spacing = tessivar::Spacing;

constexpr double megabyte = 1'000'000;
constexpr double lowest = 0.016; ///< What the settings allow.
constexpr double highest = 100'000;
constexpr std::int64_t usual = 1'000'000;

/// Shows no more decimals than there are.
class SpeedField : public QDoubleSpinBox {
public:
    [[nodiscard]] QString textFromValue(double value) const override {
        return locale().toString(value, 'f', QLocale::FloatingPointShortest);
    }
};

} // namespace

SpeedLimitWindow::SpeedLimitWindow(std::optional<std::int64_t> limit) : speed_(new SpeedField) {
    setObjectName("speed-limit");
    setWindowTitle("Speed Limit");
    speed_->setObjectName("speed");
    speed_->setAccessibleName("Speed limit in megabytes per second");
    speed_->setDecimals(3);
    speed_->setRange(lowest, highest);
    speed_->setSingleStep(0.5);
    speed_->setSuffix(" MB/s");
    speed_->setValue(static_cast<double>(limit.value_or(usual)) / megabyte);
    speed_->selectAll();

    auto* const label = new QLabel("Most that all downloads &together may take:");
    label->setBuddy(speed_);
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    auto* const set = buttons->addButton("&Set Limit", QDialogButtonBox::AcceptRole);
    set->setObjectName("set");
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(this, &QDialog::accepted, this,
            [this] { Q_EMIT chosen(std::llround(speed_->value() * megabyte)); });

    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(Spacing::margin, Spacing::margin, Spacing::margin, Spacing::margin);
    layout->setSpacing(Spacing::medium);
    layout->addWidget(label);
    layout->addWidget(speed_);
    layout->addSpacing(Spacing::medium);
    layout->addWidget(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    set->setDefault(true); // once it has a dialog to be the default of
}

} // namespace fluvane
