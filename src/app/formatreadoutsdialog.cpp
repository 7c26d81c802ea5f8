#include "app/formatreadoutsdialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QListWidget>
#include <QVBoxLayout>
#include <cstdint>

#include "app/formrows.h"
#include "base/settings.h"
#include "geom/degtext.h"
#include "geom/units.h"
#include "qtbase/apptext.h"
#include "simulator/readoutscale.h"

namespace tarnvale {

namespace {

struct FormatChoice {
    const char* key;
    std::int32_t flags;
};
constexpr std::array<FormatChoice, 6> kFormats = {{
    {"D_XXX_XX_XXpXX", DegreeFlag::kSeconds},
    {"D_XXXpXXXXX", DegreeFlag::kDegrees},
    {"D_XXX_XXpXXX", DegreeFlag::kMinutes},
    {"XXX_XX_XXpXX_D", DegreeFlag::kSeconds | DegreeFlag::kDirectionBehind},
    {"XXXpXXXXX_D", DegreeFlag::kDegrees | DegreeFlag::kDirectionBehind},
    {"XXX_XXpXXX_D", DegreeFlag::kMinutes | DegreeFlag::kDirectionBehind},
}};
constexpr double kExample = 47.371389;  // degrees north, with other digits in each place

struct UnitRow {
    const char* key;
    ReadoutQuantity quantity;
    UnitClass unitClass;
};
constexpr std::array<UnitRow, 4> kUnits = {{
    {"distance_c", ReadoutQuantity::Distance, UnitClass::Length},
    {"elevation_c", ReadoutQuantity::Elevation, UnitClass::Length},
    {"angle_c", ReadoutQuantity::Angle, UnitClass::Angle},
    {"velocity_c", ReadoutQuantity::Velocity, UnitClass::Velocity},
}};

int ChoiceOf(std::int32_t flags) {
    const int base = (flags & DegreeFlag::kSeconds) != 0   ? 0
                     : (flags & DegreeFlag::kDegrees) != 0 ? 1
                                                           : 2;
    return (flags & DegreeFlag::kDirectionBehind) != 0 ? base + 3 : base;
}

}  // namespace

FormatReadoutsDialog::FormatReadoutsDialog(ReadoutScale& scale, QWidget* parent)
    : QDialog(parent), scale_(scale), formats_(new QListWidget(this)) {
    setObjectName(QStringLiteral("FormatReadoutsDialog"));
    setWindowTitle(TextOf("readouts_format"));
    formats_->setObjectName(QStringLiteral("formats"));
    for (const FormatChoice& format : kFormats) {
        const QString example =
            QString::fromStdString(ConvertDegsToString(kExample, format.flags | 1));
        formats_->addItem(QStringLiteral("%1   (%2)").arg(TextOf(format.key), example));
    }
    formats_->setCurrentRow(ChoiceOf(settings::Format.Get()));
    // All six are seen without scrolling.
    const int rows = formats_->sizeHintForRow(0) * static_cast<int>(kFormats.size());
    formats_->setFixedHeight(rows + 2 * formats_->frameWidth() + 4);
    formats_->setMinimumWidth(formats_->sizeHintForColumn(0) + 2 * formats_->frameWidth() + 8);
    formats_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto* const formatLabel = new QLabel(TextOf("position_format_c"), this);
    formatLabel->setBuddy(formats_);
    formats_->setAccessibleName(Spoken(formatLabel->text()));  // a list doesn't ask its label

    auto* const form = new QFormLayout;
    for (std::size_t i = 0; i < kUnits.size(); ++i) {
        auto* const box = new QComboBox(this);
        box->setObjectName(QLatin1String(kUnits[i].key));
        for (const UnitInfo& unit : GetUnitList(kUnits[i].unitClass)) {
            const QString name = QString::fromStdString(unit.name);
            const QString symbol = QString::fromStdString(unit.symbol);
            box->addItem(name == symbol ? name : QStringLiteral("%1 (%2)").arg(name, symbol),
                         unit.number);
        }
        box->setCurrentIndex(std::max(box->findData(scale_.Unit(kUnits[i].quantity)), 0));
        form->addRow(TextOf(kUnits[i].key), box);
        units_[i] = box;
    }

    auto* const buttons =
        new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &FormatReadoutsDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(formats_, &QListWidget::itemDoubleClicked, this, &FormatReadoutsDialog::accept);
    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(formatLabel);
    layout->addWidget(formats_);
    layout->addLayout(form);
    layout->addStretch();
    layout->addWidget(buttons);
}

void FormatReadoutsDialog::accept() {
    settings::Format.Set(kFormats[static_cast<std::size_t>(formats_->currentRow())].flags);
    for (std::size_t i = 0; i < kUnits.size(); ++i)
        (void)scale_.SetUnit(kUnits[i].quantity, units_[i]->currentData().toInt(),
                             UnitChoice::Keep);
    QDialog::accept();
}

}  // namespace tarnvale
