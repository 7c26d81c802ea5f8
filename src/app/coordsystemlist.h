#pragma once

#include <QAbstractTableModel>
#include <QObject>
#include <cstdint>
#include <optional>
#include <thread>
#include <vector>

#include "geom/crslist.h"

namespace tarnvale {

/// All coordinate systems of the database, read once by a thread of its own, since that takes a
/// noticeable time. Thread: the user interface's.
class CoordSystemList final : public QObject {
    Q_OBJECT

public:
    CoordSystemList();
    [[nodiscard]] bool IsLoaded() const noexcept { return loaded_; }
    /// Empty until loaded; stays as it is from then on.
    [[nodiscard]] const std::vector<CoordRefSysEntry>& Entries() const noexcept { return entries_; }

signals:
    void Loaded();

private:
    std::vector<CoordRefSysEntry> entries_;
    bool loaded_ = false;
    std::jthread reader_;  // last, so that it has ended before the rest goes
};

/// The entries that match what the user typed, best first.
class CoordSystemModel final : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column { kCode, kName, kColumns };

    /// @param list   has to outlive the model
    /// @param place  what is meant for it is shown first
    CoordSystemModel(const CoordSystemList& list, const std::optional<GeographicPlace>& place,
                     QObject* parent);
    void SetFilter(const QString& text);
    void ShowNone();
    [[nodiscard]] const CoordRefSysEntry& Entry(int row) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation,
                                      int role) const override;

private:
    const CoordSystemList& list_;
    std::optional<GeographicPlace> place_;
    std::vector<std::uint32_t> shown_;
};

}  // namespace tarnvale
