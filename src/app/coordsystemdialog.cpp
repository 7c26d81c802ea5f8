#include "app/coordsystemdialog.h"

#include <QDialogButtonBox>
#include <QFontMetrics>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QTableView>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>
#include <vector>

#include "app/formrows.h"
#include "base/inistore.h"
#include "qtbase/apptext.h"
#include "simulator/readoutscale.h"

namespace tarnvale {

namespace {

constexpr int kWkt = Qt::UserRole + 1;       // of a system in the list of those used lately
constexpr int kLongestDefinition = 100'000;  // characters; no description comes near

std::string RecentKey(int i) {
    return "RecentCoordinateSystem" + std::to_string(i + 1);
}

std::vector<std::string> ReadRecent() {
    std::vector<std::string> definitions;
    for (int i = 0; i < CoordSystemDialog::kRecentSystems; ++i) {
        std::string definition;
        if (_iniRead(RecentKey(i).c_str(), definition) && !definition.empty())
            definitions.push_back(std::move(definition));
    }
    return definitions;
}

void AddRecent(const std::string& definition) {
    std::vector<std::string> definitions = ReadRecent();
    std::erase(definitions, definition);
    definitions.insert(definitions.begin(), definition);
    for (int i = 0; i < CoordSystemDialog::kRecentSystems; ++i) {
        if (static_cast<std::size_t>(i) < definitions.size())
            _iniWrite(RecentKey(i).c_str(), definitions[static_cast<std::size_t>(i)]);
    }
}

// Words of names hold none of these signs, definitions do.
bool LooksLikeADefinition(const QString& text) {
    return std::ranges::any_of(text, [](QChar c) {
        return c == QLatin1Char('+') || c == QLatin1Char('=') || c == QLatin1Char('[') ||
               c == QLatin1Char('{');
    });
}

// What the libraries write where a definition gives no name.
bool IsNoName(const QString& name) {
    return name.isEmpty() || name.compare(QLatin1String("unknown"), Qt::CaseInsensitive) == 0 ||
           name.compare(QLatin1String("unnamed"), Qt::CaseInsensitive) == 0;
}

// For a label: not longer than two lines, with blanks where WKT can be broken.
QString Shortened(const QString& definition) {
    constexpr qsizetype kHead = 100, kTail = 40;  // characters
    QString line = definition.simplified();
    if (line.contains(QLatin1Char('['))) line.replace(QLatin1String(","), QLatin1String(", "));
    if (line.size() <= kHead + kTail) return line;
    return line.left(kHead) + QStringLiteral("…") + line.right(kTail);
}

// A name with the code that the definition is, if it is one: finding out whether the registry has a
// code for any other definition takes long. Without a name, the definition tells which it is.
QString NameAndCode(const COORDREFSYS& system, const std::string& definition) {
    const QString name = QString::fromStdString(system.Name());
    const QString code = QString::fromStdString(definition);
    if (IsNoName(name))
        return Shortened(code.isEmpty() ? QString::fromStdString(system.Wkt()) : code);
    static const QRegularExpression kCode(QStringLiteral("^[A-Za-z0-9_]+:[A-Za-z0-9_]+$"));
    return kCode.match(code).hasMatch() ? QStringLiteral("%1 (%2)").arg(name, code.toUpper())
                                        : name;
}

}  // namespace

CoordSystemDialog::CoordSystemDialog(ReadoutScale& scale, const CoordSystemList& list,
                                     const std::optional<GeographicPlace>& landscape,
                                     QWidget* parent)
    : QDialog(parent),
      scale_(scale),
      list_(list),
      search_(new QLineEdit(this)),
      model_(new CoordSystemModel(list, landscape, this)),
      table_(new QTableView(this)),
      recent_(new QListWidget(this)),
      message_(new QLabel(this)),
      area_(new QPlainTextEdit(this)) {
    setObjectName(QStringLiteral("CoordSystemDialog"));
    setWindowTitle(TextOf("coordinate_system"));
    Build();
    FillRecent();
    connect(search_, &QLineEdit::textChanged, this, &CoordSystemDialog::Search);
    connect(&list_, &CoordSystemList::Loaded, this, &CoordSystemDialog::Search);
    connect(recent_, &QListWidget::currentItemChanged, this,
            [this](const QListWidgetItem* item) { TakeRecent(item); });
    connect(recent_, &QListWidget::itemDoubleClicked, this, &CoordSystemDialog::accept);
    connect(table_, &QTableView::doubleClicked, this, &CoordSystemDialog::accept);
    connect(table_->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &CoordSystemDialog::TakeTableRow);
    Search();
    search_->setFocus();
}

void CoordSystemDialog::Build() {
    search_->setObjectName(QStringLiteral("search"));
    search_->setPlaceholderText(TextOf("coordinate_system_hint"));
    search_->setClearButtonEnabled(true);
    for (auto* const button : search_->findChildren<QToolButton*>())
        button->setAccessibleName(TextOf("clear_search"));
    search_->setMaxLength(kLongestDefinition);
    search_->installEventFilter(this);
    table_->setObjectName(QStringLiteral("systems"));
    table_->setModel(model_);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setSelectionMode(QAbstractItemView::SingleSelection);
    table_->setTabKeyNavigation(false);
    table_->setShowGrid(false);
    table_->setWordWrap(false);
    table_->verticalHeader()->hide();
    const QFontMetrics metrics(font());
    table_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table_->verticalHeader()->setDefaultSectionSize(metrics.height() + 6);
    table_->horizontalHeader()->setStretchLastSection(true);
    table_->setColumnWidth(CoordSystemModel::kCode,
                           metrics.horizontalAdvance(QStringLiteral("IAU_2015:0000000")));
    recent_->setObjectName(QStringLiteral("recent"));
    recent_->setFixedHeight((metrics.height() + 4) * 4 + 2 * recent_->frameWidth());
    message_->setObjectName(QStringLiteral("message"));
    message_->setWordWrap(true);
    message_->setTextFormat(Qt::PlainText);
    message_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    message_->setFocusPolicy(Qt::StrongFocus);  // the flags alone leave it to the mouse
    area_->setObjectName(QStringLiteral("area"));
    area_->setReadOnly(true);
    area_->setTabChangesFocus(true);
    area_->setFixedHeight(metrics.lineSpacing() * 3 + 16);

    auto* const layout = new QVBoxLayout(this);
    const auto add = [&](const char* key, QWidget* control, int stretch) {
        auto* const label = new QLabel(TextOf(key), this);
        label->setBuddy(control);
        control->setAccessibleName(Spoken(label->text()));  // lists don't ask their labels
        layout->addWidget(label);
        layout->addWidget(control, stretch);
    };
    add("coordinate_system_search_c", search_, 0);
    add("coordinate_systems_c", table_, 1);
    add("recently_used_c", recent_, 0);
    layout->addWidget(message_);
    add("area_of_use_c", area_, 0);
    auto* const buttons =
        new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    ok_ = buttons->button(QDialogButtonBox::Ok);
    connect(buttons, &QDialogButtonBox::accepted, this, &CoordSystemDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
    resize(metrics.averageCharWidth() * 90, metrics.lineSpacing() * 36);
}

void CoordSystemDialog::FillRecent() {
    const auto add = [this](const QString& text, const QString& definition) {
        auto* const item = new QListWidgetItem(text, recent_);
        item->setData(Qt::UserRole, definition);
        return item;
    };
    if (const COORDREFSYS& own = scale_.LandscapeSystem(); own.Valid())
        add(TextOf("coordinate_system_of_landscape")
                .replace(QLatin1String("{}"), NameAndCode(own, {})),
            {});
    for (const std::string& definition : ReadRecent()) {
        COORDREFSYS system;
        if (!COORDREFSYS::FromText(definition, system).Good()) continue;
        add(NameAndCode(system, definition), QString::fromStdString(definition))
            ->setData(kWkt, QString::fromStdString(system.Wkt()));
    }
}

std::string CoordSystemDialog::DefinitionInForce() const {
    const QString wkt = QString::fromStdString(scale_.System().Wkt());
    for (int i = 0; i < recent_->count(); ++i) {
        if (recent_->item(i)->data(kWkt).toString() == wkt && !wkt.isEmpty())
            return recent_->item(i)->data(Qt::UserRole).toString().toStdString();
    }
    return {};
}

void CoordSystemDialog::Search() {
    const QString text = search_->text().trimmed();
    const bool definition = LooksLikeADefinition(text);
    if (definition)
        model_->ShowNone();
    else
        model_->SetFilter(text);
    recent_->setCurrentItem(nullptr);
    if (text.isEmpty()) {
        Show(scale_.System(), DefinitionInForce());
        ok_->setEnabled(false);
        if (!list_.IsLoaded()) message_->setText(TextOf("coordinate_systems_loading"));
        return;
    }
    if (definition) {
        if (!TakeDefinition(text.toStdString())) ShowNothing("coordinate_system_unknown");
    } else if (model_->rowCount() > 0) {
        table_->selectRow(0);
    } else if (!list_.IsLoaded()) {
        ShowNothing("coordinate_systems_loading");
    } else if (!TakeDefinition(text.toStdString())) {  // a code that is out of use isn't listed
        ShowNothing("coordinate_system_not_found");
    }
}

void CoordSystemDialog::TakeTableRow() {
    const QModelIndex row = table_->currentIndex();
    if (!row.isValid()) return;
    recent_->setCurrentItem(nullptr);
    if (!TakeDefinition(model_->Entry(row.row()).code)) ShowNothing("coordinate_system_unknown");
}

void CoordSystemDialog::TakeRecent(const QListWidgetItem* item) {
    if (item == nullptr) return;
    table_->clearSelection();
    const std::string definition = item->data(Qt::UserRole).toString().toStdString();
    if (definition.empty())
        TakeLandscapeSystem();
    else if (!TakeDefinition(definition))
        ShowNothing("coordinate_system_unknown");
}

bool CoordSystemDialog::TakeDefinition(const std::string& text) {
    COORDREFSYS system;
    if (!COORDREFSYS::FromText(text, system).Good()) return false;
    chosen_ = system;
    definition_ = text;
    Show(system, text);
    return true;
}

void CoordSystemDialog::TakeLandscapeSystem() {
    chosen_ = COORDREFSYS();
    definition_.clear();
    Show(scale_.LandscapeSystem(), {});
}

void CoordSystemDialog::Show(const COORDREFSYS& system, const std::string& definition) {
    if (!scale_.LandscapeSystem().Valid()) {
        ShowNothing("coordinate_system_no_georeference");
        return;
    }
    message_->setText(TextOf("coordinate_system_chosen")
                          .replace(QLatin1String("{}"), NameAndCode(system, definition)));
    area_->setPlainText(QString::fromStdString(system.AreaOfUse()));
    ok_->setEnabled(true);
}

void CoordSystemDialog::ShowNothing(const char* reason) {
    message_->setText(TextOf(reason));
    area_->clear();
    ok_->setEnabled(false);
}

void CoordSystemDialog::accept() {
    if (!ok_->isEnabled()) return;
    if (!scale_.ChooseSystem(chosen_).Good()) {
        ShowNothing("coordinate_system_no_way");
        return;
    }
    if (!definition_.empty()) AddRecent(definition_);
    QDialog::accept();
}

bool CoordSystemDialog::eventFilter(QObject* watched, QEvent* event) {
    // From what is typed the arrow leads to what was found.
    if (watched == search_ && event->type() == QEvent::KeyPress) {
        const auto* const key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_Down && model_->rowCount() > 0) {
            table_->setFocus();
            const int row = table_->currentIndex().isValid() ? table_->currentIndex().row() + 1 : 0;
            table_->selectRow(std::min(row, model_->rowCount() - 1));
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}

}  // namespace tarnvale
