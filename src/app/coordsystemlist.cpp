#include "app/coordsystemlist.h"

#include <utility>

#include "qtbase/apptext.h"

namespace tarnvale {

CoordSystemList::CoordSystemList()
    : reader_([this] {
          std::vector<CoordRefSysEntry> entries = ReadCoordRefSystems();
          QMetaObject::invokeMethod(
              this,
              [this, entries = std::move(entries)]() mutable {
                  entries_ = std::move(entries);
                  loaded_ = true;
                  emit Loaded();
              },
              Qt::QueuedConnection);
      }) {}

CoordSystemModel::CoordSystemModel(const CoordSystemList& list,
                                   const std::optional<GeographicPlace>& place, QObject* parent)
    : QAbstractTableModel(parent), list_(list), place_(place) {}

void CoordSystemModel::SetFilter(const QString& text) {
    beginResetModel();
    shown_ = FindCoordRefSystems(list_.Entries(), text.toStdString(), place_);
    endResetModel();
}

void CoordSystemModel::ShowNone() {
    beginResetModel();
    shown_.clear();
    endResetModel();
}

const CoordRefSysEntry& CoordSystemModel::Entry(int row) const {
    return list_.Entries()[shown_[static_cast<std::size_t>(row)]];
}

int CoordSystemModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(shown_.size());
}

int CoordSystemModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : kColumns;
}

QVariant CoordSystemModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rowCount()) return {};
    const CoordRefSysEntry& entry = Entry(index.row());
    if (role == Qt::DisplayRole)
        return QString::fromStdString(index.column() == kCode ? entry.code : entry.name);
    if (role == Qt::ToolTipRole) return QString::fromStdString(entry.area);
    return {};
}

QVariant CoordSystemModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    return TextOf(section == kCode ? "coordinate_system_code" : "coordinate_system_name");
}

}  // namespace tarnvale
