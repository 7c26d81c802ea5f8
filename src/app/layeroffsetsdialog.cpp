#include "app/layeroffsetsdialog.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QScreen>
#include <QScrollArea>
#include <QVBoxLayout>

#include "app/numberfield.h"
#include "qtbase/apptext.h"

namespace tarnvale {

LayerOffsetsDialog::LayerOffsetsDialog(Simulator& simulator, QWidget* parent, const UserUnit& unit)
    : QDialog(parent), simulator_(simulator) {
    setObjectName(QStringLiteral("LayerOffsetsDialog"));
    setWindowTitle(TextOf("layer_offsets"));
    auto* const rows = new QWidget(this);
    auto* const form = new QFormLayout;
    rows->setLayout(form);
    QString layer;
    const std::vector<LayerOffset> offsets = simulator.LayerOffsets();
    for (const LayerOffset& offset : offsets) {
        // One heading for all textures of a terrain.
        if (const QString name = QString::fromStdString(offset.layer);
            fields_.empty() || name != layer) {
            layer = name;
            auto* const heading = new QLabel(rows);
            heading->setTextFormat(Qt::PlainText);
            heading->setText(layer);
            QFont bold = heading->font();
            bold.setBold(true);
            heading->setFont(bold);
            form->addRow(heading);
        }
        auto* const field = new NumberField(rows);
        field->setObjectName(QStringLiteral("offset%1").arg(fields_.size()));
        const QString name = QString::fromStdString(offset.name);
        field->setAccessibleName(layer + QStringLiteral(", ") + name);
        auto* const unitLabel = new QLabel(rows);
        field->SetUnitLabel(unitLabel);
        field->SetLook({{-1'000'000, 1'000'000},
                        QString::fromStdString(unit.symbol),
                        unit.factor,
                        DecimalsFor(unit.factor)});
        field->Load(offset.offset);
        auto* const label = new QLabel(rows);
        label->setTextFormat(Qt::PlainText);  // names come from files
        label->setText(name);
        label->setIndent(fontMetrics().height());
        auto* const beside = new QHBoxLayout;
        beside->addWidget(field);
        beside->addWidget(unitLabel);
        beside->addStretch();
        form->addRow(label, beside);
        fields_.push_back(field);
    }
    if (offsets.empty()) form->addRow(new QLabel(TextOf("no_layers"), rows));

    auto* const scroller = new QScrollArea(this);
    scroller->setWidgetResizable(true);
    scroller->setFrameShape(QFrame::NoFrame);
    scroller->setFocusPolicy(Qt::NoFocus);
    scroller->setWidget(rows);
    auto* const buttons =
        new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &LayerOffsetsDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &LayerOffsetsDialog::reject);
    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(scroller);
    layout->addWidget(buttons);
    const QSize around(4 * fontMetrics().height(), 6 * fontMetrics().height());
    resize((rows->sizeHint() + around)
               .expandedTo(QSize(280, 0))
               .boundedTo(screen()->availableSize() - QSize(40, 80)));
    if (!fields_.empty()) fields_.front()->setFocus();
}

void LayerOffsetsDialog::accept() {
    std::vector<float> offsets;
    for (NumberField* const field : fields_) {
        field->interpretText();
        offsets.push_back(static_cast<float>(field->Kept()));
    }
    if (!offsets.empty() && simulator_.SetLayerOffsets(offsets).Good()) emit settingsChanged();
    QDialog::accept();
}

}  // namespace tarnvale
